// What the tool shows a person is safe for the terminal it lands on: text that came from
// the service, from a file or from a redirect is printed with its control characters made
// visible, by every command that shows such text, on stdout and on stderr; --json keeps
// it exact.
#include <gtest/gtest.h>
#include <json/json.h>

#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "base/json_utils.h"
#include "base/terminal_text.h"
#include "support/cli_fixture.h"
#include "support/cloud_steps.h"
#include "support/http_client.h"

namespace vexozeph {
namespace testing {
namespace {

// Retitles the window, rings, clears the screen, and opens a C1 command sequence.
const std::string kHostile =
    "Ev\x1b]0;owned\x07il\t\x1b[2J\xc2\x9b"
    "0m\x7f";

// The first raw control character of `text`, described; "" when there is none (a line
// end is the tool's own).
std::string RawControlIn(const std::string &text) {
  for (size_t i = 0; i < text.size(); ++i) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    const bool c1 = c == 0xc2 && i + 1 < text.size() &&
                    static_cast<unsigned char>(text[i + 1]) >= 0x80 &&
                    static_cast<unsigned char>(text[i + 1]) <= 0x9f;
    if ((c < 0x20 && c != '\n') || c == 0x7f || c1) {
      return "byte " + std::to_string(c) + " at " + std::to_string(i) + " in: " + Visible(text);
    }
  }
  return "";
}

class TerminalOutput : public CliAgainstCloud {
 protected:
  // Rewrites one line of the account file, as another program on the appliance might.
  void StoreRaw(const std::string &key, const std::string &value) {
    std::istringstream lines(root_.ReadFile(kAccountFile));
    std::string text;
    for (std::string line; std::getline(lines, line);) {
      text += line.rfind(key + "=\"", 0) == 0 ? key + "=\"" + value + "\"" : line;
      text += "\n";
    }
    root_.WriteFile(kAccountFile, text);
    ASSERT_EQ(Stored(key), value);
  }
};

TEST_F(TerminalOutput, EveryCommandShowsOutsideTextWithItsControlCharactersVisible) {
  NewAccount wanted;
  wanted.email = "eve@example.com";
  wanted.password = "Pw-eve-7r2q";
  wanted.full_name = kHostile;
  const Account account = cloud_->CreateAccount(wanted);
  ASSERT_EQ(PasswordLogin(account).status, 0);
  Json::Value relay;
  relay["server_alias"]["alias"] = "nas" + kHostile;
  relay["server_zeph"]["account"] = "relay" + kHostile;
  root_.WriteFile("/usr/vexo/etc/vexorelayd/vexorelayd.conf", json::ToCompactString(relay));
  const std::string shown = Visible(kHostile);

  struct Step {
    const char *what;
    std::function<void()> arrange;
    std::vector<std::string> args;
    const char *json_member;    // where --json holds the text exactly; null: not checked
    std::string expected = "";  // what the text output holds instead; "": made visible
  };
  const std::vector<Step> steps = {
      {"status: the profile", [] {}, {"status"}, "full_name"},
      {"query: the profile", [] {}, {"query", "--fresh"}, "full_name"},
      {"scan: a feature's account", [] {}, {"scan"}, nullptr},
      {"-v: a refusal that is not JSON, in the library's log lines",
       [&] { ForceAnswer(*cloud_, "account", "/device/api/report", 400, kHostile, "text/plain"); },
       {"report", "-v"},
       nullptr},
      {"report: a schedule the cron manager refuses",
       [&] {
         Json::Value fields;
         fields["report_cron_timestring"] = kHostile;
         cloud_->UpdateAccount(account.id, fields);
       },
       {"report"},
       "schedule"},
      {"grant-vigilon: a code from the service",
       [&] {
         Json::Value answer;
         answer["grant_code"] = kHostile;
         ForceAnswer(*cloud_, "account", "/oauth2/api/v1/device/vigilon/authorization_code/grant",
                     200, json::ToCompactString(answer));
       },
       {"grant-vigilon", "vigilon-cloud", "monitor", "https://v.example/cb", "st"},
       nullptr,
       // A query parameter of the address, percent-encoded like every other.
       "&code=Ev%1B%5D0%3Bowned%07il%09%1B%5B2J%C2%9B0m%7F\n"},
      {"token: a renewal's tokens",
       [&] {
         Json::Value tokens = JsonFileIn(root_, kSessionTokenFile);
         tokens["created_at"] = 1;  // long lapsed
         root_.WriteFile(kSessionTokenFile, json::ToCompactString(tokens));
         Json::Value renewed;
         renewed["access_token"] = kHostile;
         renewed["id_token"] = "id";
         renewed["refresh_token"] = "refresh";
         renewed["expires_in"] = 3600;
         ForceAnswer(*cloud_, "identity", "/oauth2/token", 200, json::ToCompactString(renewed));
       },
       {"token"},
       "access_token"},
      {"hosts: a host stored with the account",
       [&] { StoreRaw("identity_host", "https://id.example" + kHostile); },
       {"hosts"},
       "identity_host"},
      {"logout: the stored e-mail",
       [&] { StoreRaw("zephID", kHostile); },
       {"logout", "--local"},
       nullptr},
  };
  for (const Step &step : steps) {
    SCOPED_TRACE(step.what);
    if (std::string(step.what).rfind("token", 0) == 0) {
      ASSERT_EQ(Run({"token"}).status, 0) << "a session to renew";
    }
    step.arrange();
    const CliResult text = Run(step.args);
    EXPECT_EQ(RawControlIn(text.out), "");
    EXPECT_EQ(RawControlIn(text.err), "");
    EXPECT_NE((text.out + text.err).find(step.expected.empty() ? shown : step.expected),
              std::string::npos)
        << text.out << text.err;
    if (step.json_member != nullptr) {
      std::vector<std::string> args = step.args;
      args.push_back("--json");
      EXPECT_EQ(Run(args).Json()[step.json_member].asString(),
                std::string(step.json_member) == "identity_host" ? "https://id.example" + kHostile
                                                                 : kHostile);
    }
  }

  // The browser's refusal, carried by the redirect the person pastes back.
  cloud_->InstallHosts();
  CliProcess tool(VEXOZEPH_CLI_BINARY, {"login", "--browser"});
  const std::string address = tool.WaitForErrorLine("/oauth2/authorize?", 30);
  tool.Write(cloud_->LoginRedirectUri() + "?error=access_denied&error_description=" +
             Escape(kHostile) + "&state=" + QueryParam(address, "state") + "\n");
  const CliResult refused = tool.Finish();
  EXPECT_EQ(refused.status, 65);
  EXPECT_EQ(RawControlIn(refused.err), "");
  EXPECT_NE(refused.err.find("access_denied: " + shown), std::string::npos) << refused.err;
}

}  // namespace
}  // namespace testing
}  // namespace vexozeph
