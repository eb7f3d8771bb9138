// Runs the built vexozeph tool as a separate process, as a shell or cron would, and
// collects what it printed.
#ifndef VEXOZEPH_TESTS_SUPPORT_CLI_RUN_H_
#define VEXOZEPH_TESTS_SUPPORT_CLI_RUN_H_

#include <json/value.h>
#include <sys/types.h>

#include <string>
#include <vector>

namespace vexozeph {
namespace testing {

struct CliResult {
  int status = -1;  // exit status; 128 + signal when killed
  std::string out;
  std::string err;
  // stdout parsed as one JSON document; fails the current test when it is not one.
  Json::Value Json() const;
};

// The tool running, for a conversation with it: read what it asks, answer on stdin. It
// has no terminal; the environment is the test's own (VEXOZEPH_ROOT included) with `env`
// ("NAME=value") added.
class CliProcess {
 public:
  CliProcess(const std::string &binary, const std::vector<std::string> &args,
             const std::vector<std::string> &env = {});
  // Kills the tool if it still runs.
  ~CliProcess();
  CliProcess(const CliProcess &) = delete;
  CliProcess &operator=(const CliProcess &) = delete;

  // Reads the tool's output until a line of stderr contains `text`, and returns that line
  // (without its end). "" and a test failure when the tool ends or `seconds` pass first.
  std::string WaitForErrorLine(const std::string &text, int seconds);
  void Write(const std::string &input);
  // Closes stdin, reads the rest and waits for the end; kills the tool after `seconds`.
  CliResult Finish(int seconds = 120);

 private:
  // Reads what the tool printed within `timeout_ms`; false once both outputs are closed.
  bool Pump(int timeout_ms);

  pid_t pid_ = -1;
  int in_ = -1;
  int out_ = -1;
  int err_ = -1;
  CliResult result_;
  size_t err_lines_seen_ = 0;  // bytes of stderr already searched, up to a line end
};

// Runs `binary` with `args`, `input` on stdin (then end of input), and waits for it.
CliResult RunCli(const std::string &binary, const std::vector<std::string> &args,
                 const std::string &input = "", const std::vector<std::string> &env = {});

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_CLI_RUN_H_
