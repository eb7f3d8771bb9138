// A device in a throwaway root, wired to a fresh cloud emulator, on which the tool runs.
#ifndef VEXOZEPH_TESTS_CLI_CLI_FIXTURE_H_
#define VEXOZEPH_TESTS_CLI_CLI_FIXTURE_H_

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "cli_run.h"
#include "support/cloud_emulator.h"
#include "support/temp_root.h"

namespace vexozeph {
namespace testing {

class CliAgainstCloud : public ::testing::Test {
 protected:
  static constexpr const char *kSerial = "SN2207CLI0";
  static constexpr const char *kMac = "00:11:32:0c:0d:01";
  static constexpr const char *kAccountFile = "/usr/vexo/etc/vexona-account/private/user.conf";

  void SetUp() override {
    root_.WriteFile("/etc/vexozeph/serial", std::string(kSerial) + "\n");
    root_.WriteFile("/etc/vexozeph/mac", std::string(kMac) + "\n");
    cloud_.reset(new CloudEmulator(ZEPH_CLOUD_BINARY, root_));
  }

  CliResult Run(const std::vector<std::string> &args, const std::string &input = "") {
    return RunCli(VEXOZEPH_CLI_BINARY, args, input);
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

  TempRoot root_;
  std::unique_ptr<CloudEmulator> cloud_;
};

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_CLI_CLI_FIXTURE_H_
