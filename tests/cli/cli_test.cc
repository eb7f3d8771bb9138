// The vexozeph tool run as a program against the cloud emulator: what it prints, what it
// keeps secret, and that its exit status is the library's error code.
#include <gtest/gtest.h>
#include <json/json.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/cli_fixture.h"
#include "vexo_platform/vexo_scheduler.h"

namespace vexozeph {
namespace testing {
namespace {

const char kRelayConfig[] = "/usr/vexo/etc/vexorelayd/vexorelayd.conf";

std::string ReadSourceFile(const std::string &path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

// Every "--name" in a help text.
std::set<std::string> LongOptions(const std::string &help) {
  std::set<std::string> names;
  for (size_t at = help.find("--"); at != std::string::npos; at = help.find("--", at + 2)) {
    if (at + 2 >= help.size() || help[at + 2] < 'a' || help[at + 2] > 'z') continue;
    const size_t end = help.find_first_not_of("abcdefghijklmnopqrstuvwxyz-_", at + 2);
    names.insert(help.substr(at, end - at));
  }
  return names;
}

// The commands a help text lists under "Subcommands:", by name.
std::vector<std::string> Subcommands(const std::string &help) {
  std::vector<std::string> names;
  std::istringstream lines(help.substr(std::min(help.size(), help.find("Subcommands:"))));
  std::string line;
  std::getline(lines, line);
  while (std::getline(lines, line) && line.compare(0, 2, "  ") == 0) {
    names.push_back(line.substr(2, line.find(' ', 2) - 2));
  }
  return names;
}

// A manual page's text with roff's escaped hyphens ("\\-") made plain.
std::string Unescaped(std::string roff) {
  for (size_t at = roff.find("\\-"); at != std::string::npos; at = roff.find("\\-", at)) {
    roff.erase(at, 1);
  }
  return roff;
}

using Cli = CliAgainstCloud;

TEST_F(Cli, PasswordLoginSignsInAndEveryCommandShowsTheAccountAsTextOrOneJsonDocument) {
  const Account account = MakeAccount("ada@example.com");
  root_.WriteFile(
      kRelayConfig,
      R"({"server_alias": {"alias": "ada-nas"}, "server_zeph": {"account": "relay@example.com"}})");

  CliResult verify = PasswordLogin(account, {"--verify-only", "--json"});
  ASSERT_EQ(verify.status, 0) << verify.err;
  EXPECT_FALSE(verify.Json()["stored"].asBool());
  EXPECT_EQ(StoredAuthKey(), "") << "a verification stores nothing";

  CliResult login = PasswordLogin(account);
  ASSERT_EQ(login.status, 0) << login.err;
  EXPECT_EQ(login.out, "Signed in as ada@example.com (user " + account.id + ").\n");
  EXPECT_EQ(login.err, "");
  const std::string auth_key = StoredAuthKey();
  ASSERT_FALSE(auth_key.empty());

  CliResult status = RunOk({"status", "--json"});
  Json::Value shown = status.Json();
  EXPECT_TRUE(shown["signed_in"].asBool());
  EXPECT_EQ(shown["user_id"].asString(), account.id);
  EXPECT_EQ(shown["full_name"].asString(), "Ada Owner");
  EXPECT_GT(shown["last_query_time"].asInt64(), 0) << "the sign-in queried the profile";
  EXPECT_FALSE(shown["session_token"].asBool()) << "a password sign-in holds no OAuth session";
  EXPECT_FALSE(shown.isMember("auth_key"));
  const std::vector<CliResult> shown_runs = {status, RunOk({"query", "--json"}),
                                             RunOk({"query", "--fresh", "--json"})};
  for (const CliResult &json : shown_runs) {
    EXPECT_EQ(json.Json()["email"].asString(), account.email);
    EXPECT_TRUE(json.Json()["activated"].isBool());
  }

  CliResult text = RunOk({"status"});
  EXPECT_NE(text.out.find("E-mail"), std::string::npos);
  EXPECT_NE(text.out.find(account.email), std::string::npos);
  EXPECT_NE(text.out.find("UTC"), std::string::npos) << "the last query as a date:\n" << text.out;
  CliResult query = RunOk({"query", "--fresh"});
  EXPECT_NE(query.out.find("Ada Owner"), std::string::npos);
  for (const CliResult &result : {shown_runs[0], shown_runs[1], shown_runs[2], text, query}) {
    EXPECT_EQ(result.out.find(auth_key), std::string::npos) << "the auth key is never shown";
  }

  CliResult hosts = RunOk({"--json", "hosts"});
  EXPECT_EQ(hosts.Json()["account_host"].asString(), cloud_->AccountOrigin());
  EXPECT_EQ(hosts.Json()["identity_host"].asString(), cloud_->IdentityOrigin());
  EXPECT_FALSE(hosts.Json()["payment_host"].asString().empty());

  CliResult scan = RunOk({"scan", "--json"});
  Json::Value relay = scan.Json()["relay@example.com"]["services"];
  ASSERT_EQ(relay.size(), 1u) << scan.out;
  EXPECT_EQ(relay[0]["type"].asString(), "zipreach");
  EXPECT_EQ(relay[0]["value"].asString(), "ada-nas");
  CliResult scan_text = Run({"scan"});
  EXPECT_NE(scan_text.out.find("relay@example.com\n  zipreach  ada-nas\n"), std::string::npos)
      << scan_text.out;
}

TEST_F(Cli, KeyLoginTakesTheAuthKeyFromStdinAndVerboseRunsMirrorLogLinesButNeverTheSecrets) {
  const Account account = MakeAccount("bea@example.com");

  CliResult login = PasswordLogin(account, {"-v"});
  ASSERT_EQ(login.status, 0) << login.err;
  EXPECT_NE(login.err.find("Logged in Zeph Center as bea@example.com"), std::string::npos)
      << "-v mirrors the library's log lines:\n"
      << login.err;
  const std::string auth_key = StoredAuthKey();
  ASSERT_GT(auth_key.size(), 10u);

  CliResult wrong = Run({"-v", "login", "--email", account.email, "--password-stdin"},
                        "Not-" + account.password + "\n");
  EXPECT_EQ(wrong.status, 14);

  CliResult query = RunOk({"query", "--fresh", "-v", "--json"});

  // The key alone signs a device in that holds nothing of the account.
  ASSERT_EQ(unlink(root_.Path(kAccountFile).c_str()), 0);
  cloud_->InstallHosts();
  CliResult by_key = RunOk({"login", "-v", "--key", account.id, "--json"}, auth_key + "\n");
  EXPECT_EQ(by_key.Json()["email"].asString(), account.email);
  EXPECT_EQ(by_key.Json()["user_id"].asString(), account.id);
  EXPECT_TRUE(by_key.Json()["activated"].asBool());
  EXPECT_EQ(StoredAuthKey(), auth_key);

  for (const CliResult *result : {&login, &wrong, &query, &by_key}) {
    EXPECT_EQ(result->err.find(account.password), std::string::npos) << result->err;
    EXPECT_EQ(result->err.find(auth_key), std::string::npos) << result->err;
    EXPECT_EQ(result->out.find(auth_key), std::string::npos) << result->out;
  }

  CliResult quiet = Run({"query", "--fresh"});
  EXPECT_EQ(quiet.status, 0);
  EXPECT_EQ(quiet.err, "") << "without -v a success prints nothing on stderr";
}

TEST_F(Cli, ExitStatusIsTheLibrarysErrorCode) {
  const Account account = MakeAccount("cy@example.com");

  CliResult none = Run({"status", "--json"});
  EXPECT_EQ(none.status, 3) << "no stored account";
  EXPECT_FALSE(none.Json()["signed_in"].asBool());
  EXPECT_EQ(none.err, "") << "not signed in is an answer, not an error";
  EXPECT_EQ(Run({"query"}).status, 3);
  EXPECT_EQ(Run({"update", "--name", "X"}).status, 3);

  CliResult refused =
      Run({"login", "--email", account.email, "--password-stdin", "--json"}, "wrong password\n");
  EXPECT_EQ(refused.status, 14);
  EXPECT_EQ(refused.err, "vexozeph login: Failed to auth (error 14)\n");
  Json::Value error = refused.Json()["error"];
  EXPECT_EQ(error["code"].asInt(), 14);
  EXPECT_EQ(error["message"].asString(), "Failed to auth");
  EXPECT_EQ(error["exit_status"].asInt(), 14);
  EXPECT_EQ(StoredAuthKey(), "");

  // A key the service does not know: refused, and nothing of it is kept.
  CliResult bad_key = Run({"login", "--key", account.id}, "0123456789abcdef0123\n");
  EXPECT_EQ(bad_key.status, 14) << bad_key.err;
  EXPECT_FALSE(root_.Exists(kAccountFile));

  // The service unreachable: the request could not be sent.
  cloud_->InstallHosts();
  ASSERT_EQ(PasswordLogin(account).status, 0);
  cloud_->Stop();
  CliResult unreachable = Run({"update", "--name", "Cy", "--json"});
  EXPECT_EQ(unreachable.status, 4) << unreachable.err;
  EXPECT_EQ(unreachable.Json()["error"]["code"].asInt(), 4);
}

TEST_F(Cli, UsageMistakesAndMissingSecretsExitWithSixtyFour) {
  const std::string email = "dee@example.com";
  struct Case {
    std::vector<std::string> args;
    std::string input;
    std::string says;
  };
  const std::vector<Case> cases = {
      {{}, "", "Usage"},
      {{"frobnicate"}, "", "frobnicate"},
      {{"login"}, "", "--email"},
      {{"login", "--email", email, "--key", "1"}, "", "excludes"},
      {{"login", "--email", email}, "", "no terminal"},
      {{"login", "--email", email, "--password-stdin"}, "", "stdin"},
      {{"login", "--email", email, "--password-stdin"}, "\n", "stdin"},
      {{"login", "--key", "2000001"}, "", "stdin"},
      {{"register", "--email", email}, "", "--name"},
      {{"update"}, "", "nothing to change"},
      {{"update", "--enews", "maybe"}, "", "maybe"},
      {{"status", "--report_info"}, "", "excludes"},
      {{"status", "--no-wait"}, "", "requires --report_info"},
  };
  for (const Case &c : cases) {
    CliResult result = Run(c.args, c.input);
    EXPECT_EQ(result.status, 64) << ::testing::PrintToString(c.args) << "\n" << result.err;
    EXPECT_NE(result.err.find(c.says), std::string::npos)
        << ::testing::PrintToString(c.args) << "\n"
        << result.err;
  }
  EXPECT_TRUE(cloud_->Requests("account").empty()) << "no usage mistake reaches the service";
}

TEST_F(Cli, ReportShowsTheScheduleTheServiceLeftAndTheCronRunIsSilentUnlessRefused) {
  CliResult none = Run({"report"});
  EXPECT_EQ(none.status, 3);
  EXPECT_EQ(none.out, "This device is not signed in: there is nothing to report.\n");
  EXPECT_TRUE(cloud_->Requests("account", kReportPath).empty());

  const Account account = MakeAccount("ida@example.com");
  ASSERT_EQ(PasswordLogin(account).status, 0);
  Json::Value fields;
  fields["report_cron_timestring"] = "20 8 * * 1,3";
  cloud_->UpdateAccount(account.id, fields);

  CliResult changed = RunOk({"report", "--json"});
  Json::Value shown = changed.Json();
  EXPECT_EQ(shown["schedule"].asString(), "20 8 * * 1,3");
  EXPECT_TRUE(shown["schedule_changed"].asBool());
  EXPECT_EQ(shown["previous_schedule"].asString(), "~ 9~16 * * 1~5");
  EXPECT_EQ(shown["job"].asString(), "20 8 * * 1,3 root /usr/vexo/bin/vexozeph --report_info");
  EXPECT_NE(
      root_.ReadFile(kCronFile).find("20 8 * * 1,3 root /usr/vexo/bin/vexozeph --report_info\n"),
      std::string::npos);
  CliResult again = RunOk({"report"});
  EXPECT_NE(again.out.find("Schedule changed     no\n"), std::string::npos) << again.out;

  // A schedule the cron manager refuses is stored, but the job in force stays the old one:
  // the result says so, and so do stderr and the status.
  const std::string old_job = "20 8 * * 1,3 root /usr/vexo/bin/vexozeph --report_info";
  fields["report_cron_timestring"] = "61 8 * * *";
  cloud_->UpdateAccount(account.id, fields);
  for (const bool json : {true, false}) {
    CliResult bad = Run(json ? std::vector<std::string>{"report", "--json"}
                             : std::vector<std::string>{"report"});
    EXPECT_EQ(bad.status, 78);
    EXPECT_EQ(bad.err,
              "vexozeph report: the cron manager refused the schedule \"61 8 * * *\"; "
              "the job that stays installed is: " +
                  old_job + "\n");
    if (json) {
      EXPECT_EQ(bad.Json()["job"].asString(), old_job);
      EXPECT_FALSE(bad.Json()["schedule_installed"].asBool());
      EXPECT_EQ(bad.Json()["schedule"].asString(), "61 8 * * *");
    } else {
      EXPECT_NE(bad.out.find("Schedule installed   no\n"), std::string::npos) << bad.out;
    }
  }
  EXPECT_NE(root_.ReadFile(kCronFile).find(old_job), std::string::npos);
  // Switched off, the report sends nothing and installs nothing: no refusal to speak of.
  root_.WriteFile("/etc/vexoinfo.conf", "zeph_disable_report=\"yes\"\n");
  cloud_->ClearRequests();
  CliResult off = Run({"report", "--json"});
  EXPECT_EQ(off.status, 0) << off.err;
  EXPECT_TRUE(off.Json()["report_switched_off"].asBool());
  EXPECT_TRUE(cloud_->Requests("account", kReportPath).empty());
  ASSERT_EQ(unlink(root_.Path("/etc/vexoinfo.conf").c_str()), 0);
  fields["report_cron_timestring"] = "20 8 * * 1,3";
  cloud_->UpdateAccount(account.id, fields);

  cloud_->ClearRequests();
  CliResult cron = Run({"--report_info", "--no-wait"});
  EXPECT_EQ(cron.status, 0) << cron.err;
  EXPECT_EQ(cron.out, "") << "cron mails whatever the job prints";
  EXPECT_EQ(cron.err, "");
  EXPECT_EQ(cloud_->Requests("account", kReportPath).size(), 1u);
  cloud_->SetAnswer(kReportPath, "badauth", 1);
  CliResult refused = Run({"--report_info", "--no-wait"});
  EXPECT_EQ(refused.status, 14);
  EXPECT_EQ(refused.out, "");
  EXPECT_EQ(refused.err, "vexozeph: Failed to auth (error 14)\n");
  EXPECT_EQ(StoredAuthKey(), "") << "a refused key signs the device out";

  cloud_->InstallHosts();
  ASSERT_EQ(PasswordLogin(account).status, 0);
  cloud_->DeleteAccount(account.id);
  CliResult deleted = Run({"report"});
  EXPECT_EQ(deleted.status, 25);
  EXPECT_EQ(deleted.out, "This device has been signed out.\n");
  EXPECT_NE(deleted.err.find("vexozeph report: "), std::string::npos) << deleted.err;
  EXPECT_NE(deleted.err.find("(error 25"), std::string::npos) << deleted.err;
}

TEST_F(Cli, TheCronRunWaitsItsDevicesSecondFirstWhileNoWaitAndTheReportCommandSendAtOnce) {
  ASSERT_EQ(PasswordLogin(MakeAccount("wes@example.com")).status, 0);
  const int second = VEXOCrondSpreadSecond();
  ASSERT_GT(second, 0) << "the fixture's serial must draw a pause to watch";
  cloud_->ClearRequests();
  {
    CliProcess cron(VEXOZEPH_CLI_BINARY, {"--report_info", "-v"});
    EXPECT_EQ(cron.WaitForErrorLine("waiting", 60), "vexozeph: waiting " + std::to_string(second) +
                                                        " s, this device's second of the minute");
    EXPECT_TRUE(cloud_->Requests("account", kReportPath).empty()) << "sent during the wait";
  }  // ended in its wait
  for (const std::vector<std::string> &args :
       {std::vector<std::string>{"--report_info", "--no-wait", "-v"}, {"report", "-v"}}) {
    CliResult sent = Run(args);
    EXPECT_EQ(sent.status, 0) << sent.err;
    EXPECT_EQ(sent.err.find("waiting"), std::string::npos) << sent.err;
  }
  EXPECT_EQ(cloud_->Requests("account", kReportPath).size(), 2u);
}

TEST_F(Cli, RegisterAndUpdateChangeTheAccountAtTheService) {
  CliResult created = RunOk({"register", "--email", "gus@example.com", "--name", "Gus Owner",
                             "--country", "NZ", "--enews", "--password-stdin", "--json"},
                            "First-pass-1\n");
  EXPECT_TRUE(created.Json()["created"].asBool());
  EXPECT_EQ(StoredAuthKey(), "") << "registering signs nothing in";
  Account gus{"", "gus@example.com", "First-pass-1"};
  ASSERT_EQ(PasswordLogin(gus).status, 0);
  gus.id = Stored("zephIDSerial");
  EXPECT_EQ(cloud_->GetAccount(gus.id)["full_name"].asString(), "Gus Owner");

  const CliResult renamed =
      RunOk({"update", "--name", "Gus Renamed", "--critical-release", "yes", "--json"});
  Json::Value updated = renamed.Json()["updated"];
  ASSERT_EQ(updated.size(), 2u);
  EXPECT_EQ(updated[0].asString(), "name");
  EXPECT_EQ(updated[1].asString(), "critical-release");
  const std::vector<LoggedRequest> sent = cloud_->Requests("account", "device/api/user/update");
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(sent[0].FormValue("critical_release"), "true");
  EXPECT_TRUE(sent[0].FormValues("enews").empty()) << "a flag not given is not sent";
  EXPECT_TRUE(sent[0].FormValues("passwd").empty()) << "no password asked, none sent";
  EXPECT_EQ(cloud_->GetAccount(gus.id)["full_name"].asString(), "Gus Renamed");

  const CliResult password =
      RunOk({"update", "--new-password", "--password-stdin"}, "First-pass-1\nSecond-pass-2\n");
  EXPECT_EQ(
      Run({"login", "--email", gus.email, "--password-stdin", "--verify-only"}, "Second-pass-2\n")
          .status,
      0);
  EXPECT_EQ(
      Run({"login", "--email", gus.email, "--password-stdin", "--verify-only"}, "First-pass-1\n")
          .status,
      14);
}

// Every subcommand and every option the tool's help lists is in the reference page and
// the man page: the three are read by different people and must not drift apart.
TEST_F(Cli, HelpOfTheToolAndEveryCommandMatchesTheReferenceAndTheManPage) {
  const std::string reference = ReadSourceFile(VEXOZEPH_CLI_REFERENCE);
  const std::string man_page = Unescaped(ReadSourceFile(VEXOZEPH_MAN_PAGE));
  ASSERT_FALSE(reference.empty());
  ASSERT_FALSE(man_page.empty());

  CliResult top = Run({"--help"});
  ASSERT_EQ(top.status, 0);
  // Every command the tool has, so that a new one cannot miss its pages unnoticed.
  const std::vector<std::string> commands = Subcommands(top.out);
  EXPECT_GE(commands.size(), 9u) << top.out;
  std::vector<std::string> helps = {top.out};
  for (const std::string &command : commands) {
    EXPECT_NE(reference.find("### `vexozeph " + command), std::string::npos) << command;
    EXPECT_NE(man_page.find(".SS " + command), std::string::npos) << command;
    CliResult help = Run({command, "--help"});
    EXPECT_EQ(help.status, 0) << command;
    EXPECT_NE(help.out.find("vexozeph " + command), std::string::npos) << help.out;
    helps.push_back(help.out);
  }
  std::set<std::string> options;
  for (const std::string &help : helps) {
    for (const std::string &name : LongOptions(help)) options.insert(name);
  }
  EXPECT_GT(options.size(), 15u);
  for (const std::string &name : options) {
    EXPECT_NE(reference.find(name), std::string::npos) << name << " is missing from docs/cli.md";
    EXPECT_NE(man_page.find(name), std::string::npos) << name << " is missing from the man page";
  }
}

// The emulator ships with its own man page: every option of its help is there.
TEST(ZephCloudManPage, ListsEveryOptionOfTheEmulatorsHelp) {
  const std::string man_page = Unescaped(ReadSourceFile(ZEPH_CLOUD_MAN_PAGE));
  const CliResult help = RunCli(ZEPH_CLOUD_BINARY, {"--help"}, "");
  ASSERT_EQ(help.status, 0) << help.err;
  const std::set<std::string> options = LongOptions(help.out);
  EXPECT_GT(options.size(), 15u) << help.out;
  for (const std::string &name : options) {
    EXPECT_NE(man_page.find(name), std::string::npos) << name << " is missing from the man page";
  }
}

}  // namespace
}  // namespace testing
}  // namespace vexozeph
