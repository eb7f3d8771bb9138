// An appliance in a throwaway root, wired to a fresh cloud emulator, for the tests of
// the account sign-in and query calls.
#ifndef VEXOZEPH_TESTS_SUPPORT_ACCOUNT_APPLIANCE_H_
#define VEXOZEPH_TESTS_SUPPORT_ACCOUNT_APPLIANCE_H_

#include <gtest/gtest.h>
#include <json/json.h>

#include <string>
#include <vector>

#include "base/clock.h"
#include "support/device_on_cloud.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_account.h"

namespace vexozeph {
namespace testing {

class AccountAppliance : public DeviceOnCloud {
 protected:
  static constexpr const char *kApiKeyFile = "/usr/vexo/etc/cloud_service/apikey";
  static constexpr const char *kLoginPath = "device/api/password_login";
  static constexpr const char *kLaunchPath = "good/user/launch";
  static constexpr const char *kQueryPath = "device/api/user/query";

  void TearDown() override { clock::ResetForTesting(); }

  Account MakeAccount(const std::string &email, NewAccount wanted = NewAccount()) {
    wanted.email = email;
    wanted.password = "pw-" + email;
    return cloud_->CreateAccount(wanted);
  }

  // Signs the appliance in by password and checks that it worked.
  Json::Value SignIn(const Account &account) {
    Json::Value response;
    EXPECT_EQ(
        VEXOZEPHAccountLogin(account.email.c_str(), account.password.c_str(), response, false), 0)
        << "error " << VEXOZEPHErrGet();
    return response;
  }

  std::vector<LoggedRequest> Requests(const std::string &path) {
    return cloud_->Requests("account", path);
  }

  std::string AccountFile() const { return root_.ReadFile(kAccountFile); }
  bool HasAccountFile() const { return root_.Exists(kAccountFile); }
};

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_ACCOUNT_APPLIANCE_H_
