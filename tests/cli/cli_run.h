// Runs the built vexozeph tool as a separate process, as a shell or cron would, and
// collects what it printed.
#ifndef VEXOZEPH_TESTS_CLI_CLI_RUN_H_
#define VEXOZEPH_TESTS_CLI_CLI_RUN_H_

#include <json/value.h>

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

// Runs `binary` with `args`, `input` on stdin (then end of input) and no terminal. The
// environment is the test's own (VEXOZEPH_ROOT included) with `env` ("NAME=value") added.
CliResult RunCli(const std::string &binary, const std::vector<std::string> &args,
                 const std::string &input = "", const std::vector<std::string> &env = {});

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_CLI_CLI_RUN_H_
