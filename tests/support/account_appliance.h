// An appliance in a throwaway root, wired to a fresh cloud emulator, for the tests of
// the account sign-in and query calls.
#ifndef VEXOZEPH_TESTS_SUPPORT_ACCOUNT_APPLIANCE_H_
#define VEXOZEPH_TESTS_SUPPORT_ACCOUNT_APPLIANCE_H_

#include <gtest/gtest.h>
#include <json/json.h>

#include <memory>
#include <string>
#include <vector>

#include "base/clock.h"
#include "internal/json_utils.h"
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

  void TearDown() override {
    step_.reset();
    clock::ResetForTesting();
  }

  // Starts the next step of a story: every failure from here until the next step,
  // including an exception the library lets out, is reported with this name.
  void Step(const std::string &name) {
    step_.reset();
    step_.reset(new ::testing::ScopedTrace(__FILE__, __LINE__, "in step \"" + name + "\""));
    cloud_->ClearRequests();
  }

  Account MakeAccount(const std::string &email, NewAccount wanted = NewAccount()) {
    wanted.email = email;
    wanted.password = "pw-" + email;
    return cloud_->CreateAccount(wanted);
  }

  // Signs the appliance in by password and checks that it worked. A removed account file
  // took the stored hosts with it: they are put back first.
  Json::Value SignIn(const Account &account) {
    if (!HasAccountFile()) cloud_->InstallHosts();
    Json::Value response;
    EXPECT_EQ(
        VEXOZEPHAccountLogin(account.email.c_str(), account.password.c_str(), response, false), 0)
        << "error " << VEXOZEPHErrGet();
    return response;
  }

  std::vector<LoggedRequest> Requests(const std::string &path) {
    return cloud_->Requests("account", path);
  }

  // Names `account` in the account file, as a sign-in would, without asking the cloud:
  // token files are saved for, and handed out to, the account signed in.
  void NameSignedInAccount(const Account &account) {
    root_.WriteFile(kAccountFile, (HasAccountFile() ? AccountFile() : std::string()) +
                                      "zephIDSerial=\"" + account.id + "\"\n");
  }

  std::string AccountFile() const { return root_.ReadFile(kAccountFile); }
  bool HasAccountFile() const { return root_.Exists(kAccountFile); }

  // The account the emulator issued `token` to; "" for one it never issued.
  std::string AccountOf(const std::string &token) {
    return json::StringOr(cloud_->TokenOwner(token), "account_id");
  }

  // Every "*_token.json" in the account's private directory.
  std::vector<std::string> TokenFiles() const {
    std::vector<std::string> names;
    const std::string suffix = "_token.json";
    for (const std::string &name : NamesIn(root_.Path(kAccountPrivateDir))) {
      if (name.size() > suffix.size() &&
          name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0) {
        names.push_back(name);
      }
    }
    return names;
  }

 private:
  std::unique_ptr<::testing::ScopedTrace> step_;
};

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_ACCOUNT_APPLIANCE_H_
