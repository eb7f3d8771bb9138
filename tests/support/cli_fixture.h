// The tool run against a device wired to a fresh cloud emulator.
#ifndef VEXOZEPH_TESTS_SUPPORT_CLI_FIXTURE_H_
#define VEXOZEPH_TESTS_SUPPORT_CLI_FIXTURE_H_

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "support/cli_run.h"
#include "support/device_on_cloud.h"

namespace vexozeph {
namespace testing {

class CliAgainstCloud : public DeviceOnCloud {
 protected:
  CliResult Run(const std::vector<std::string> &args, const std::string &input = "") {
    return RunCli(VEXOZEPH_CLI_BINARY, args, input);
  }
  // A run that must succeed: the test fails (showing the arguments and stderr) otherwise.
  CliResult RunOk(const std::vector<std::string> &args, const std::string &input = "") {
    CliResult result = Run(args, input);
    EXPECT_EQ(result.status, 0) << ::testing::PrintToString(args) << "\n" << result.err;
    return result;
  }

  Account MakeAccount(const std::string &email) {
    NewAccount wanted;
    wanted.email = email;
    wanted.password = "Pw-" + email + "-9f3k";
    wanted.full_name = "Ada Owner";
    return cloud_->CreateAccount(wanted);
  }

  // `vexozeph login` by e-mail with the password on stdin, and `extra` options.
  CliResult PasswordLogin(const Account &account, const std::vector<std::string> &extra = {}) {
    std::vector<std::string> args = {"login", "--email", account.email, "--password-stdin"};
    args.insert(args.end(), extra.begin(), extra.end());
    return Run(args, account.password + "\n");
  }

  // The value the account file holds for `key` (key="value"); "" when absent.
  std::string Stored(const std::string &key) const {
    std::istringstream lines(root_.ReadFile(kAccountFile));
    const std::string start = key + "=\"";
    for (std::string line; std::getline(lines, line);) {
      if (line.compare(0, start.size(), start) != 0) continue;
      return line.substr(start.size(), line.find('"', start.size()) - start.size());
    }
    return "";
  }
  std::string StoredAuthKey() const { return Stored("bx_auth_key"); }
};

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_CLI_FIXTURE_H_
