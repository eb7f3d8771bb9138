// The life of a device from its owner's first sign-in to the day its account goes away,
// against the cloud emulator and the generic-Linux platform, through the library's public
// interface alone. Each test is one story; each story is a row of named steps, and a
// failure names the step it happened in.
#include <gtest/gtest.h>
#include <json/json.h>

#include <memory>
#include <string>
#include <vector>

#include "base/clock.h"
#include "support/account_appliance.h"
#include "support/browser_sign_in.h"
#include "support/cloud_steps.h"
#include "support/json_object.h"
#include "vexozeph/account_pkce_service.h"
#include "vexozeph/account_vigilon_service.h"
#include "vexozeph/error_codes.h"
#include "vexozeph/package_pkce_client.h"
#include "vexozeph/user.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_account.h"

namespace vexozeph {
namespace testing {
namespace {

const int64_t kFirstSignIn = 1700000000;
const char kZone[] = "Europe/Berlin";
const char kCronList[] = "/usr/vexo/etc/crond/zeph.json";
const char kReportCommand[] = " root /usr/vexo/bin/vexozeph --report_info\n";
const char kRescueGrantPath[] = "/migration/api/v1/device/core/authorization_code/grant";

class DeviceLife : public AccountAppliance {
 protected:
  void SetUp() override {
    AccountAppliance::SetUp();
    root_.WriteFile("/etc/timezone", std::string(kZone) + "\n");
    owner_ = MakeAccount("ada@example.com");
    clock::SetForTesting(kFirstSignIn);
  }
  // What the management interface does when the owner signs in through the browser.
  Json::Value SignInThroughTheBrowser() const {
    return AccountPkceService().Login(
        SignInWithBrowser(*cloud_, AccountPkceService().GetLoginPkceConfig(), owner_));
  }

  // The cron job's run: the report, with a stale last error that it must replace.
  int ScheduledReport() const {
    VEXOZEPHErrSet(VEXOZEPH_ERR_UNKNOWN);
    return VEXOZEPHReportInfo();
  }

  std::string SessionAccessToken() const {
    return JsonFile(kSessionTokenFile)["access_token"].asString();
  }

  // The one notification sent: `tag`, with the owner's e-mail and, when given, `link`.
  void ExpectNotified(const std::string &tag, const std::string &link = "") const {
    const std::vector<Json::Value> notified = Notifications();
    ASSERT_EQ(notified.size(), 1u) << root_.ReadFile(kNotifications);
    EXPECT_EQ(notified[0]["tag"].asString(), tag);
    Json::Value variables = JsonObject({{"%EMAIL%", owner_.email}});
    if (!link.empty()) variables["%LINK%"] = link;
    EXPECT_EQ(notified[0]["variables"], variables);
  }

  // Nothing of the account is left on the device.
  void ExpectNothingLeft() const {
    EXPECT_FALSE(HasAccountFile()) << AccountFile();
    EXPECT_FALSE(User().Exists());
    EXPECT_TRUE(TokenFiles().empty()) << "left: " << ::testing::PrintToString(TokenFiles());
    EXPECT_FALSE(root_.Exists(kCronFile)) << root_.ReadFile(kCronFile);
    EXPECT_FALSE(root_.Exists(kCronList)) << root_.ReadFile(kCronList);
  }

  Account owner_;
};

TEST_F(DeviceLife, FromTheFirstSignInToTheAccountsDeletionTheDeviceEndsCleanlySignedOut) {
  Step("the owner signs in through the browser");
  const Json::Value profile = SignInThroughTheBrowser();
  EXPECT_EQ(profile["email"].asString(), owner_.email);
  ASSERT_TRUE(User().Exists());
  EXPECT_EQ(User().GetUserId(), owner_.id);
  ASSERT_TRUE(root_.Exists(kSessionTokenFile));
  ASSERT_TRUE(root_.Exists(kCronFile)) << "the sign-in installs the report's job";

  Step("the profile changed elsewhere is queried from the account host");
  cloud_->UpdateAccount(owner_.id, JsonObject({{"full_name", "Ada Renamed"}}));
  clock::SetForTesting(kFirstSignIn + 300);
  Json::Value queried;
  ASSERT_EQ(VEXOZEPHAccountQueryInfo(queried, true, true), 0) << "error " << VEXOZEPHErrGet();
  EXPECT_EQ(Requests(kQueryPath).size(), 1u) << "a five-minute-old profile is asked again";
  EXPECT_EQ(queried["full_name"].asString(), "Ada Renamed");
  EXPECT_EQ(User().GetName(), "Ada Renamed");

  Step("the scheduled report brings a new schedule");
  cloud_->UpdateAccount(owner_.id, JsonObject({{"report_cron_timestring", "30 10 * * 2"}}));
  ASSERT_EQ(ScheduledReport(), 0) << "error " << VEXOZEPHErrGet();
  EXPECT_EQ(VEXOZEPHErrGet(), 0);
  EXPECT_EQ(User().GetReportCronTimestring(), "30 10 * * 2");
  EXPECT_NE(root_.ReadFile(kCronFile).find(std::string("30 10 * * 2") + kReportCommand),
            std::string::npos)
      << root_.ReadFile(kCronFile);

  Step("a package gets tokens of its own on the device session");
  const std::string package_token = PackagePkceClient("vigilon").GetAccessToken();
  EXPECT_FALSE(package_token.empty());
  EXPECT_NE(package_token, SessionAccessToken());
  EXPECT_EQ(PackagePkceClient("vigilon").GetAccessToken(), package_token)
      << "a second reader gets the same token, not a new grant";

  Step("the monitoring service is granted a code");
  const std::string redirect = "https://monitor.example/cb";
  const std::string granted =
      AccountVigilonService().Grant("vigilon-cloud", "monitor", redirect, "m-1");
  const std::string prefix = redirect + "?scope=monitor&state=m-1&code=";
  ASSERT_EQ(granted.rfind(prefix, 0), 0u) << granted;
  EXPECT_GT(granted.size(), prefix.size()) << "the code itself";

  Step("a refresh token revoked at the server is rescued by the auth key");
  const Json::Value old_tokens = JsonFile(kSessionTokenFile);
  ASSERT_EQ(cloud_->RevokeRefreshToken(old_tokens["refresh_token"].asString()), 1);
  LapseToken(root_, kSessionTokenFile);
  const std::string rescued = AccountPkceService().GetAccessToken();
  EXPECT_NE(rescued, old_tokens["access_token"].asString());
  EXPECT_EQ(SessionAccessToken(), rescued);
  EXPECT_EQ(cloud_->Requests("account", kRescueGrantPath).size(), 1u);
  EXPECT_TRUE(User().Exists()) << "a rescued session stays signed in";
  EXPECT_TRUE(AccountPkceService().HasToken());

  Step("the account deleted at the server signs the device out at the next report");
  cloud_->DeleteAccount(owner_.id);
  EXPECT_EQ(ScheduledReport(), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_ACCOUNT_NOT_FOUND);
  ExpectNotified("zeph_deletion_logout");
  EXPECT_EQ(Requests(kLogoutPath).size(), 1u) << "the server is told too";

  Step("nothing of the account is left on the device");
  ExpectNothingLeft();

  Step("the next scheduled run has nothing to report and sends nothing");
  EXPECT_EQ(ScheduledReport(), 0);
  EXPECT_EQ(VEXOZEPHErrGet(), 0);
  EXPECT_TRUE(cloud_->Requests().empty());
  EXPECT_EQ(Notifications().size(), 1u) << "no second notification";
}

TEST_F(DeviceLife, APasswordChangedElsewhereEndsInAForcedSignOutThatTellsTheOwnerWhereToSignIn) {
  Step("the owner signs in through the browser");
  SignInThroughTheBrowser();
  ASSERT_TRUE(User().Exists());
  ASSERT_TRUE(root_.Exists(kCronFile));
  const std::string access_token = SessionAccessToken();

  Step("the password is changed elsewhere and the service refuses the report");
  owner_.password = "changed-on-the-web";
  cloud_->UpdateAccount(owner_.id, JsonObject({{"password", owner_.password}}));
  // The service invalidates the device's credentials on a password change; the emulator
  // does not model that, so its answer is forced.
  cloud_->SetAnswer(kReportPath, "badauth", 1);
  EXPECT_EQ(ScheduledReport(), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_AUTH);
  const std::vector<LoggedRequest> logouts = Requests(kLogoutPath);
  ASSERT_EQ(logouts.size(), 1u) << "the server is told of the sign-out";
  EXPECT_EQ(logouts[0].FormValue("access_token"), access_token);
  EXPECT_EQ(logouts[0].status, 200);

  Step("the owner is told to sign in again, with the e-mail and the address");
  ExpectNotified("zeph_force_logout", cloud_->AccountOrigin());

  Step("nothing of the account is left on the device");
  ExpectNothingLeft();

  Step("the owner signs in again with the new password");
  cloud_->InstallHosts();
  SignInThroughTheBrowser();
  EXPECT_TRUE(User().Exists());
  EXPECT_NE(SessionAccessToken(), access_token);
  EXPECT_TRUE(root_.Exists(kCronFile));
  EXPECT_EQ(ScheduledReport(), 0) << "error " << VEXOZEPHErrGet();
}

}  // namespace
}  // namespace testing
}  // namespace vexozeph
