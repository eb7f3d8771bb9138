// The periodic report against the cloud emulator and the generic-Linux platform: what the
// account host receives, and what the appliance is left with for each kind of answer:
// the stored schedule, the cron job, notifications, the sign-out and the session token.
#include <gtest/gtest.h>
#include <json/json.h>

#include <string>
#include <vector>

#include "base/clock.h"
#include "internal/json_utils.h"
#include "support/cloud_steps.h"
#include "support/json_object.h"
#include "support/log_capture.h"
#include "support/signed_in_appliance.h"
#include "vexozeph/account_pkce_service.h"
#include "vexozeph/error_codes.h"
#include "vexozeph/user.h"
#include "vexozeph/vexozeph.h"

namespace vexozeph {
namespace testing {
namespace {

const char kLegacyTasks[] = "/usr/vexo/etc/scheduler/tasks";
const char kZone[] = "Europe/Berlin";
// Every test starts with the device session as a browser sign-in leaves it: account
// file, token file and the report's cron job on the default schedule.
class ReportInfo : public SignedInAppliance {
 protected:
  void SetUp() override {
    root_.WriteFile("/etc/timezone", std::string(kZone) + "\n");
    SignedInAppliance::SetUp();
  }

  // Runs the report with a stale last error, which it must clear.
  int Report() {
    VEXOZEPHErrSet(VEXOZEPH_ERR_ACCOUNT_UNVERIFIED);
    return VEXOZEPHReportInfo();
  }

  void Answer(int status, const std::string &body) {
    ForceAnswer(*cloud_, "account", kReportPath, status, body);
  }
};

TEST_F(ReportInfo, AGoodAnswerStoresTheNewScheduleReinstallsTheJobAndRenewsTheToken) {
  const std::string auth_key = User().GetAuthKey();
  const std::string cron_before = root_.ReadFile(kCronFile);
  const Json::Value tokens_before = TokenFile();
  // A device upgraded from the legacy scheduler still has its entry there.
  root_.WriteFile(kLegacyTasks,
                  "0 3 * * * root /usr/bin/other\n"
                  "0 9 * * 1-5 root /usr/vexo/bin/vexozeph --report_info\n");
  cloud_->UpdateAccount(owner_.id, JsonObject({{"report_cron_timestring", "30 10 * * 2"}}));
  // The session's access token has lapsed: the report is what renews it.
  LapseToken(root_, kSessionTokenFile);

  ASSERT_EQ(Report(), 0);
  EXPECT_EQ(VEXOZEPHErrGet(), 0);

  // The form: the sender's serial and token, then exactly the report's five keys.
  const std::vector<LoggedRequest> reports = Requests(kReportPath);
  ASSERT_EQ(reports.size(), 1u);
  EXPECT_TRUE(SentAs(reports[0], kReportPath,
                     {"bx_sn", kSerial, "bx_token", kAnyValue, "id", owner_.id, "auth_key",
                      auth_key, "timezone", kZone, "serial_no", kSerial, "bx_info", ""}));

  // The new schedule is stored and installed at once; the legacy entry is gone.
  EXPECT_EQ(User().GetReportCronTimestring(), "30 10 * * 2");
  const std::string cron = root_.ReadFile(kCronFile);
  EXPECT_NE(cron, cron_before);
  EXPECT_NE(cron.find("30 10 * * 2 root /usr/vexo/bin/vexozeph --report_info\n"), std::string::npos)
      << cron;
  EXPECT_EQ(root_.ReadFile(kLegacyTasks), "0 3 * * * root /usr/bin/other\n");

  // The token was renewed after the report, not instead of it.
  const std::vector<LoggedRequest> sent = cloud_->Requests();
  ASSERT_EQ(sent.size(), 2u);
  EXPECT_EQ(sent[1].FormValue("grant_type"), "refresh_token");
  const Json::Value tokens_after = TokenFile();
  EXPECT_NE(json::StringOr(tokens_after, "access_token"),
            json::StringOr(tokens_before, "access_token"));
  EXPECT_EQ(tokens_after["created_at"].asInt64(), clock::Now());
  EXPECT_TRUE(Notifications().empty());
  EXPECT_TRUE(User().Exists());
}

TEST_F(ReportInfo, ATokenThatCannotBeRenewedIsLoggedButTheGoodReportStillSucceeds) {
  const Json::Value tokens = TokenFile();
  LapseToken(root_, kSessionTokenFile);
  ForceAnswer(*cloud_, "identity", "/oauth2/token", 500, "down for maintenance", "text/plain");
  LogCapture log;

  EXPECT_EQ(Report(), 0);
  EXPECT_EQ(VEXOZEPHErrGet(), 0);
  EXPECT_EQ(log.Count("zeph_report_info:"), 1u);
  EXPECT_EQ(log.Count("Failed to renew token: "), 1u);
  EXPECT_EQ(cloud_->Requests("identity", "/oauth2/token").size(), 1u);
  EXPECT_EQ(json::StringOr(TokenFile(), "access_token"), json::StringOr(tokens, "access_token"));
  EXPECT_TRUE(User().Exists());
}

TEST_F(ReportInfo, ASignOutTheServerRefusesKeepsTheSessionAndTheRefusalsCode) {
  cloud_->SetAnswer(kReportPath, "badauth", 1,
                    JsonObject({{"report_cron_timestring", "15 11 * * 3"}}));
  cloud_->SetAnswer("device/api/logout", "badsys", 1);
  LogCapture log;

  EXPECT_EQ(Report(), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_AUTH) << "the refusal's code, not the sign-out's";
  EXPECT_EQ(log.Count("Failed to logout"), 1u);
  EXPECT_EQ(Notifications().size(), 1u);
  // Nothing the server did not confirm is undone here; the schedule that came with the
  // refusal was stored before the refusal was judged.
  EXPECT_TRUE(User().Exists());
  EXPECT_TRUE(root_.Exists(kSessionTokenFile));
  EXPECT_EQ(User().GetReportCronTimestring(), "15 11 * * 3");
}

TEST_F(ReportInfo, AnyOtherRefusalStoresTheScheduleButSignsNothingOutAndInstallsNothing) {
  const std::string cron = root_.ReadFile(kCronFile);
  const std::string token_file = root_.ReadFile(kSessionTokenFile);
  cloud_->SetAnswer(kReportPath, "badparam", 1,
                    JsonObject({{"report_cron_timestring", "45 12 * * 4"}}));

  EXPECT_EQ(Report(), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_BAD_PARAMETER);
  EXPECT_EQ(User().GetReportCronTimestring(), "45 12 * * 4");
  EXPECT_EQ(root_.ReadFile(kCronFile), cron) << "only a good report installs the job";
  EXPECT_EQ(root_.ReadFile(kSessionTokenFile), token_file) << "only a good report renews";
  EXPECT_TRUE(Notifications().empty());
  EXPECT_EQ(cloud_->Requests().size(), 1u) << "the report alone";
  EXPECT_TRUE(User().Exists());
}

// Bodies that are no JSON object, and transport failures, are the hostile server's table.
TEST_F(ReportInfo, OnlyAWordStoresTheScheduleBesideItAndOnlyGoodInstallsIt) {
  const std::string account_file = AccountFile();
  const std::string cron = root_.ReadFile(kCronFile);
  Answer(200, R"({"code": null, "report_cron_timestring": "1 1 * * 1"})");
  EXPECT_EQ(Report(), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_NO_REPLY);
  EXPECT_EQ(AccountFile(), account_file);

  // A number is a word no entry of the table matches: an unknown refusal, never "good".
  // It is a word all the same, so the schedule beside it is stored.
  Answer(200, R"({"code": 0, "report_cron_timestring": "1 1 * * 1"})");
  EXPECT_EQ(Report(), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_UNKNOWN);
  EXPECT_EQ(User().GetReportCronTimestring(), "1 1 * * 1");
  EXPECT_EQ(root_.ReadFile(kCronFile), cron);
  EXPECT_TRUE(Notifications().empty());
  EXPECT_TRUE(Requests(kLogoutPath).empty());
}

TEST_F(ReportInfo, AScheduleTheAccountFileCannotHoldIsIgnoredAndTheGoodReportGoesOn) {
  const std::string schedule = User().GetReportCronTimestring();
  const std::string cron = root_.ReadFile(kCronFile);
  LogCapture log;

  Answer(200, R"({"code": "good", "report_cron_timestring": "0 9 * * 1\nzephID=\"x@y\""})");
  EXPECT_EQ(Report(), 0);
  Answer(200,
         "{\"code\": \"good\", \"report_cron_timestring\": \"" + std::string(3000, '1') + "\"}");
  EXPECT_EQ(Report(), 0);
  Answer(200, R"({"code": "good", "report_cron_timestring": ["0 9 * * 1"]})");
  EXPECT_EQ(Report(), 0);

  EXPECT_EQ(User().GetReportCronTimestring(), schedule);
  EXPECT_EQ(User().GetEmail(), owner_.email);
  EXPECT_EQ(root_.ReadFile(kCronFile), cron);
  EXPECT_EQ(log.Count("Ignored a report_cron_timestring that cannot be stored"), 2u);
}

}  // namespace
}  // namespace testing
}  // namespace vexozeph
