// A device in a throwaway root, with its serial number and MAC address, wired to a fresh
// cloud emulator: where the tests of the library against the emulator and those of the
// tool begin. The including target defines ZEPH_CLOUD_BINARY.
#ifndef VEXOZEPH_TESTS_SUPPORT_DEVICE_ON_CLOUD_H_
#define VEXOZEPH_TESTS_SUPPORT_DEVICE_ON_CLOUD_H_

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "support/appliance_files.h"
#include "support/cloud_emulator.h"
#include "support/cloud_steps.h"
#include "support/temp_root.h"

namespace vexozeph {
namespace testing {

class DeviceOnCloud : public ::testing::Test {
 protected:
  static constexpr const char *kSerial = "SN2207ACCT";
  static constexpr const char *kMac = "00:11:32:0a:0b:0c";

  void SetUp() override {
    root_.WriteFile("/etc/vexozeph/serial", std::string(kSerial) + "\n");
    root_.WriteFile("/etc/vexozeph/mac", std::string(kMac) + "\n");
    cloud_.reset(new CloudEmulator(ZEPH_CLOUD_BINARY, root_, cloud_options_));
  }

  Json::Value JsonFile(const std::string &absolute) const { return JsonFileIn(root_, absolute); }
  // The device session's token file.
  Json::Value TokenFile() const { return JsonFile(kSessionTokenFile); }
  // What the host was asked to notify its administrator of, one object per notification.
  std::vector<Json::Value> Notifications() const {
    return JsonLines(root_.ReadFile(kNotifications));
  }

  // Set by a derived fixture before SetUp.
  CloudEmulator::Options cloud_options_;
  TempRoot root_;
  std::unique_ptr<CloudEmulator> cloud_;
};

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_DEVICE_ON_CLOUD_H_
