#include <gtest/gtest.h>
#include <json/json.h>

#include <string>

#include "support/log_capture.h"
#include "support/fake_appliance.h"
#include "vexozeph/account_service.h"
#include "vexozeph/user.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_account.h"

namespace {

namespace fake = vexozeph::fake;
using vexozeph::testing::LogCapture;
using AccountSchedule = vexozeph::testing::FakeAppliance;

TEST_F(AccountSchedule, ReportJobCarriesTheStoredScheduleUnchanged) {
  ASSERT_NE(VEXOZEPHAccountRegisterCrond(), 0);
  vexozeph::User().SetReportCronTimestring("7 3~5 */2 * 1,3");
  ASSERT_NE(VEXOZEPHAccountRegisterCrond(), 0);
  auto saves = fake::CronSaves();
  ASSERT_EQ(saves.size(), 2u);
  // The complete one-job list every time.
  Json::Value job;
  job["name"] = "job";
  job["period"] = "crontab";
  job["user"] = "root";
  job["cmd_list"].append("/usr/vexo/bin/vexozeph");
  job["cmd_list"].append("--report_info");
  const char *schedules[] = {"~ 9~16 * * 1~5", "7 3~5 */2 * 1,3"};  // the default, then stored
  for (size_t i = 0; i < 2; ++i) {
    job["crontab"] = schedules[i];
    Json::Value jobs(Json::arrayValue);
    jobs.append(job);
    EXPECT_EQ(saves[i].group, "zeph");
    EXPECT_EQ(saves[i].jobs, jobs) << saves[i].jobs;
  }

  VEXOZEPHErrSet(9);
  fake::FailNext("ConfigManager::Save");
  EXPECT_EQ(VEXOZEPHAccountRegisterCrond(), 0);
  EXPECT_NE(VEXOZEPHAccountUnregisterCrond(), 0);
  EXPECT_EQ(fake::CronRemovals(), std::vector<std::string>{"zeph"});
  EXPECT_EQ(VEXOZEPHErrGet(), 9) << "the schedule functions never touch the last error";
}

TEST_F(AccountSchedule, ServiceInstallsTheJobUnlessTheReportIsSwitchedOff) {
  LogCapture log;
  vexozeph::AccountService service;
  service.SetReportCrontab();
  EXPECT_EQ(fake::ScheduleRemovals(),
            std::vector<std::string>{"/usr/vexo/bin/vexozeph --report_info"});
  EXPECT_EQ(fake::CronSaves().size(), 1u);

  fake::FailNext("ConfigManager::Save");
  service.SetReportCrontab();
  EXPECT_EQ(log.Count("account_service:"), 1u);
  EXPECT_EQ(log.Count("Failed to add crontab for zeph"), 1u);

  root_.WriteFile("/etc/vexoinfo.conf", "zeph_disable_report=\"yes\"\n");
  service.SetReportCrontab();
  EXPECT_EQ(fake::ScheduleRemovals().size(), 3u) << "the legacy entry goes in every case";
  EXPECT_EQ(fake::CronSaves().size(), 1u);
  EXPECT_TRUE(fake::CronRemovals().empty()) << "switching off does not remove an existing job";
}

TEST_F(AccountSchedule, ServiceHostsAreFixedAtConstruction) {
  vexozeph::AccountService defaults;
  vexozeph::AccountService empty("", "");
  EXPECT_EQ(empty.GetAccountHost(), defaults.GetAccountHost());
  EXPECT_EQ(empty.GetIdentityHost(), defaults.GetIdentityHost());
  vexozeph::AccountService mixed("https://account.example.test", "");
  EXPECT_EQ(mixed.GetAccountHost(), "https://account.example.test");
  EXPECT_EQ(mixed.GetIdentityHost(), defaults.GetIdentityHost());

  vexozeph::User().SetIdentityHost("https://identity.example.test");
  EXPECT_EQ(mixed.GetIdentityHost(), defaults.GetIdentityHost()) << "resolved once, not re-read";
  EXPECT_EQ(vexozeph::AccountService().GetIdentityHost(), "https://identity.example.test");
}

TEST_F(AccountSchedule, ScanGroupsFeaturesByAccountInStepOrder) {
  Json::Value accounts(Json::arrayValue);
  EXPECT_EQ(VEXOZEPHAccountScanExisting(accounts), 0);
  EXPECT_TRUE(accounts.isObject());
  EXPECT_EQ(accounts.size(), 0u);

  fake::SetPaymentAccount("owner@example.com");
  root_.WriteFile(
      "/usr/vexo/etc/vexorelayd/vexorelayd.conf",
      R"({"server_alias": {"alias": "home-nas"}, "server_zeph": {"account": "other@example.com"}})");
  fake::SetPopenOutput("--get-vexo-account", "other@example.com\n");
  fake::SetPopenOutput("--get-vexo-hostname", "home.vexoddns.example\n");
  ASSERT_EQ(VEXOZEPHAccountScanExisting(accounts), 0);
  ASSERT_EQ(accounts.size(), 3u);
  ASSERT_EQ(accounts["owner@example.com"]["services"].size(), 1u);
  EXPECT_EQ(accounts["owner@example.com"]["services"][0]["type"], "package");
  // The relay names the account without a line end; DDNS lines keep theirs, as read.
  const Json::Value &relay = accounts["other@example.com"]["services"];
  ASSERT_EQ(relay.size(), 1u);
  EXPECT_EQ(relay[0]["type"], "zipreach");
  EXPECT_EQ(relay[0]["value"], "home-nas");
  const Json::Value &ddns = accounts["other@example.com\n"]["services"];
  ASSERT_EQ(ddns.size(), 1u);
  EXPECT_EQ(ddns[0]["type"], "ddns");
  EXPECT_EQ(ddns[0]["value"], "home.vexoddns.example\n");
  // The first, empty scan asked only for the account; this one asked for both.
  auto commands = fake::Commands();
  ASSERT_EQ(commands.size(), 3u);
  EXPECT_EQ(commands[1].path, "/usr/vexo/sbin/vexoddnsinfo");
  EXPECT_EQ(commands[1].argv.back(), "--get-vexo-account");
  EXPECT_EQ(commands[2].argv.back(), "--get-vexo-hostname");

  // One account used by two features is listed once, relay first.
  root_.WriteFile(
      "/usr/vexo/etc/vexorelayd/vexorelayd.conf",
      R"({"server_alias": {"alias": "nas"}, "server_zeph": {"account": "x@example.com\n"}})");
  fake::SetPopenOutput("--get-vexo-account", "x@example.com\n");
  ASSERT_EQ(VEXOZEPHAccountScanExisting(accounts), 0);
  const Json::Value &both = accounts["x@example.com\n"]["services"];
  ASSERT_EQ(both.size(), 2u);
  EXPECT_EQ(both[0]["type"], "zipreach");
  EXPECT_EQ(both[1]["type"], "ddns");

  // A relay configuration nested far beyond any real one is not JSON to the scan: that one
  // source is skipped and the others are still reported.
  root_.WriteFile("/usr/vexo/etc/vexorelayd/vexorelayd.conf",
                  R"({"server_alias": {"alias": "nas"}, "server_zeph": {"account": "r@x"}, "x": )" +
                      std::string(5000, '[') + std::string(5000, ']') + "}");
  ASSERT_EQ(VEXOZEPHAccountScanExisting(accounts), 0);
  EXPECT_EQ(accounts.size(), 2u);
  EXPECT_FALSE(accounts.isMember("r@x"));

  // Hostile or broken inputs add nothing and crash nothing.
  fake::SetPaymentAccount("");
  root_.WriteFile("/usr/vexo/etc/vexorelayd/vexorelayd.conf",
                  R"({"server_alias": "nas", "server_zeph": {"account": 42}})");
  fake::SetPopenOutput("--get-vexo-account", std::string("\0junk", 5));
  ASSERT_EQ(VEXOZEPHAccountScanExisting(accounts), 0);
  EXPECT_EQ(accounts.size(), 0u);
  EXPECT_EQ(fake::CallsTo("VLIBCPopen").size(), 8u) << "an empty account skips the host-name run";
}

}  // namespace
