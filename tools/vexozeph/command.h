// One subcommand of vexozeph. The tool builds every command of the table
// (command_table.cc), lets each declare its options on its own CLI11 subcommand, parses
// the command line once, then runs the one that was named.
#ifndef VEXOZEPH_TOOLS_VEXOZEPH_COMMAND_H_
#define VEXOZEPH_TOOLS_VEXOZEPH_COMMAND_H_

#include <memory>
#include <vector>

#include "output.h"

namespace CLI {
class App;
}

namespace vexozeph {
namespace cli {

class Command {
 public:
  virtual ~Command() = default;
  // Declares the command's options and arguments on `app`, its own subcommand, whose
  // --help CLI11 then writes. The values parsed land in the command's members.
  virtual void Define(CLI::App &app) = 0;
  // Runs the command after a successful parse; returns the exit status
  // (exit_status.h). May throw ZephException, which the tool reports as a library failure.
  virtual int Run(const Output &out) = 0;
};

struct CommandEntry {
  const char *name;
  const char *summary;  // one line for `vexozeph --help`
  std::unique_ptr<Command> (*make)();
};

// Every subcommand, in the order `vexozeph --help` lists them.
const std::vector<CommandEntry> &Commands();

}  // namespace cli
}  // namespace vexozeph

#endif  // VEXOZEPH_TOOLS_VEXOZEPH_COMMAND_H_
