// Runs a program in a child process with its output in a file and extra variables in its
// environment, and the words of a space-separated list the build hands a test.
#ifndef VEXOZEPH_TESTS_SUPPORT_RUN_PROGRAM_H_
#define VEXOZEPH_TESTS_SUPPORT_RUN_PROGRAM_H_

#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "support/child_process.h"

namespace vexozeph {
namespace testing {

inline std::vector<std::string> Words(const std::string &text) {
  std::istringstream in(text);
  std::vector<std::string> words;
  for (std::string word; in >> word;) words.push_back(word);
  return words;
}

// The exit code of `argv` run with stdout and stderr in `log`; 126 when the output could
// not be redirected, 127 when the program could not be started.
inline int RunProgram(std::vector<std::string> argv, const std::string &log,
                      const std::vector<std::pair<std::string, std::string>> &environment = {}) {
  return RunInChild([&] {
    std::vector<char *> raw;
    for (auto &arg : argv) raw.push_back(&arg[0]);
    raw.push_back(nullptr);
    if (!std::freopen(log.c_str(), "w", stdout) || ::dup2(STDOUT_FILENO, STDERR_FILENO) < 0) {
      return 126;
    }
    for (const auto &variable : environment) {
      ::setenv(variable.first.c_str(), variable.second.c_str(), 1);
    }
    ::execv(raw[0], raw.data());
    return 127;
  });
}

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_RUN_PROGRAM_H_
