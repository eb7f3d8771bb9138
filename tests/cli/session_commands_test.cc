// The tool's OAuth session commands against the emulator: the browser's sign-in with the
// answer pasted back or received on the loopback port (driven here as a browser would,
// without one), the session's tokens, and the sign-out.
#include <gtest/gtest.h>
#include <json/json.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "support/cli_fixture.h"
#include "support/cloud_steps.h"
#include "support/http_client.h"
#include "support/pkce_digest.h"

namespace vexozeph {
namespace testing {
namespace {

// What the tool asked the browser for: the address it printed on stderr.
struct PrintedRequest {
  std::string address;
  std::string redirect_uri;
  std::string state;
  std::string challenge;
};

class SessionCommands : public CliAgainstCloud {
 protected:
  void SetUp() override {
    CliAgainstCloud::SetUp();
    account_ = MakeAccount("ida@example.com");
  }

  std::unique_ptr<CliProcess> Start(const std::vector<std::string> &args) {
    return std::make_unique<CliProcess>(VEXOZEPH_CLI_BINARY, args);
  }

  PrintedRequest ReadAddress(CliProcess *tool) {
    PrintedRequest printed;
    const std::string line = tool->WaitForErrorLine("/oauth2/authorize?", 30);
    printed.address = line.substr(line.find_first_not_of(' '));
    printed.redirect_uri = QueryParam(printed.address, "redirect_uri");
    printed.state = QueryParam(printed.address, "state");
    printed.challenge = QueryParam(printed.address, "code_challenge");
    return printed;
  }

  // The identity host's sign-in page submitted for what the tool asked: the code.
  std::string SignIn(const PrintedRequest &printed) {
    return cloud_->SignIn({account_.email, account_.password, "zeph-device", printed.redirect_uri,
                           cloud_->DeviceScope(kSerial, kMac), printed.state, printed.challenge});
  }

  Account account_;
};

TEST_F(SessionCommands,
       BrowserLoginCompletesWithThePastedAnswerAndStoresNothingForAnotherOrARefusal) {
  {
    std::unique_ptr<CliProcess> tool = Start({"login", "--browser"});
    const PrintedRequest printed = ReadAddress(tool.get());
    const std::string code = SignIn(printed);
    // Another state: the first character changed, never to itself.
    const std::string other_state =
        (printed.state.compare(0, 1, "0") == 0 ? "1" : "0") + printed.state.substr(1);
    tool->Write(printed.redirect_uri + "?code=" + code + "&state=" + other_state + "\n");
    CliResult result = tool->Finish();
    EXPECT_EQ(result.status, 65) << result.err;
    EXPECT_NE(result.err.find("another sign-in"), std::string::npos) << result.err;
    EXPECT_TRUE(cloud_->Requests("identity", "/oauth2/token").empty())
        << "a code from an answer that is not ours is never exchanged";
  }
  {
    std::unique_ptr<CliProcess> tool = Start({"login", "--browser", "--json"});
    const PrintedRequest printed = ReadAddress(tool.get());
    tool->Write(printed.redirect_uri +
                "?error=access_denied&error_description=the+user+declined&state=" + printed.state +
                "\n");
    CliResult result = tool->Finish();
    EXPECT_EQ(result.status, 65);
    EXPECT_EQ(result.Json()["error"]["exit_status"].asInt(), 65);
    EXPECT_NE(result.err.find("access_denied: the user declined"), std::string::npos) << result.err;
  }
  {
    CliResult result = Run({"login", "--browser"}, "");
    EXPECT_EQ(result.status, 64) << "nothing pasted";
  }
  EXPECT_EQ(Run({"status"}).status, 3);
  EXPECT_FALSE(root_.Exists(kSessionTokenFile));

  std::unique_ptr<CliProcess> tool = Start({"login", "--browser", "--json", "-v"});
  const PrintedRequest printed = ReadAddress(tool.get());
  ASSERT_EQ(printed.address.rfind(cloud_->IdentityOrigin() + "/oauth2/authorize?", 0), 0u)
      << printed.address;
  EXPECT_EQ(QueryParam(printed.address, "response_type"), "code");
  EXPECT_EQ(QueryParam(printed.address, "client_id"), "zeph-device");
  EXPECT_EQ(printed.redirect_uri, cloud_->LoginRedirectUri());
  EXPECT_EQ(QueryParam(printed.address, "scope"), cloud_->DeviceScope(kSerial, kMac));
  EXPECT_EQ(QueryParam(printed.address, "code_challenge_method"), "S256");
  EXPECT_EQ(printed.challenge.size(), 43u);
  EXPECT_EQ(printed.state.size(), 32u);

  const std::string code = SignIn(printed);
  tool->Write(printed.redirect_uri + "?code=" + code + "&state=" + printed.state + "\n");
  CliResult login = tool->Finish();
  ASSERT_EQ(login.status, 0) << login.err;
  EXPECT_EQ(login.Json()["email"].asString(), account_.email);
  EXPECT_EQ(login.Json()["user_id"].asString(), account_.id);

  // The code went to the token endpoint with the verifier of the challenge the browser
  // was given, and the redirect address it was issued for.
  const std::vector<LoggedRequest> exchanges = cloud_->Requests("identity", "/oauth2/token");
  ASSERT_EQ(exchanges.size(), 1u);
  const std::string verifier = exchanges[0].FormValue("code_verifier");
  EXPECT_EQ(S256Challenge(verifier), printed.challenge);
  EXPECT_EQ(exchanges[0].FormValue("code"), code);
  EXPECT_EQ(exchanges[0].FormValue("redirect_uri"), printed.redirect_uri);
  for (const std::string &secret : {code, verifier}) {
    EXPECT_EQ(login.out.find(secret), std::string::npos) << "never printed";
    EXPECT_EQ(login.err.find(secret), std::string::npos) << "never logged, even with -v";
  }

  Json::Value status = Run({"status", "--json"}).Json();
  EXPECT_TRUE(status["signed_in"].asBool());
  EXPECT_TRUE(status["session_token"].asBool());

  // A second sign-in makes a fresh pair and state, and takes the code alone, as the
  // landing page shows it.
  std::unique_ptr<CliProcess> again = Start({"login", "--browser"});
  const PrintedRequest second = ReadAddress(again.get());
  EXPECT_NE(second.state, printed.state);
  EXPECT_NE(second.challenge, printed.challenge);
  again->Write("  " + SignIn(second) + "\n");
  CliResult result = again->Finish();
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, "Signed in as " + account_.email + " (user " + account_.id + ").\n");
}

TEST_F(SessionCommands, ListeningLoginTakesOnlyItsOwnAnswerAndGivesUpOnATakenPortOrSilence) {
  // A port held by another program.
  const int holder = socket(AF_INET, SOCK_STREAM, 0);
  struct sockaddr_in address {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof(address);
  ASSERT_EQ(bind(holder, reinterpret_cast<struct sockaddr *>(&address), length), 0);
  ASSERT_EQ(listen(holder, 1), 0);
  ASSERT_EQ(getsockname(holder, reinterpret_cast<struct sockaddr *>(&address), &length), 0);
  CliResult taken =
      Run({"login", "--browser", "--listen", "--port", std::to_string(ntohs(address.sin_port))});
  close(holder);
  EXPECT_EQ(taken.status, 64) << taken.err;
  EXPECT_NE(taken.err.find("cannot listen"), std::string::npos) << taken.err;

  CliResult silent = Run({"login", "--browser", "--listen", "--timeout", "1", "--json"});
  EXPECT_EQ(silent.status, 75) << silent.err;
  EXPECT_EQ(silent.Json()["error"]["exit_status"].asInt(), 75);
  EXPECT_FALSE(root_.Exists(kSessionTokenFile));

  std::unique_ptr<CliProcess> tool = Start({"login", "--browser", "--listen", "--json"});
  const PrintedRequest printed = ReadAddress(tool.get());
  ASSERT_EQ(printed.redirect_uri.rfind("http://127.0.0.1:", 0), 0u) << printed.redirect_uri;
  const std::string origin =
      printed.redirect_uri.substr(0, printed.redirect_uri.find('/', strlen("http://")));
  EXPECT_EQ(printed.redirect_uri, origin + "/vexozeph/callback");

  EXPECT_EQ(Http("GET", origin + "/favicon.ico").status, 404);
  EXPECT_EQ(Http("POST", printed.redirect_uri, "x=1", "text/plain").status, 405);
  const std::string code = SignIn(printed);
  HttpResult forged = Http("GET", printed.redirect_uri + "?code=" + code + "&state=forged");
  EXPECT_EQ(forged.status, 400);
  EXPECT_NE(forged.body.find("does not belong"), std::string::npos) << forged.body;

  HttpResult answered =
      Http("GET", printed.redirect_uri + "?code=" + code + "&state=" + printed.state);
  EXPECT_EQ(answered.status, 200);
  EXPECT_NE(answered.body.find("signed in as " + account_.email), std::string::npos)
      << answered.body;
  EXPECT_EQ(answered.body.find(code), std::string::npos);
  CliResult login = tool->Finish();
  ASSERT_EQ(login.status, 0) << login.err;
  EXPECT_EQ(login.Json()["user_id"].asString(), account_.id);
  EXPECT_NE(login.err.find("Ignored an answer"), std::string::npos) << login.err;
  EXPECT_EQ(cloud_->Requests("identity", "/oauth2/token").size(), 1u);
}

TEST_F(SessionCommands, TokenPrintsTheSessionsTokensAndLogoutEndsTheSessionAtTheService) {
  EXPECT_EQ(Run({"token"}).status, 22) << "no session before a sign-in";
  ASSERT_EQ(PasswordLogin(account_).status, 0);

  // A password sign-in has no session yet: the first token grants one by the auth key.
  CliResult access = RunOk({"token", "--json"});
  EXPECT_EQ(access.Json()["access_token"].asString(), TokenFile()["access_token"].asString());
  CliResult id = RunOk({"token", "--id"});
  EXPECT_EQ(id.out, TokenFile()["id_token"].asString() + "\n");
  CliResult logout = RunOk({"logout", "--json"});
  EXPECT_EQ(logout.Json()["email"].asString(), account_.email);
  EXPECT_TRUE(logout.Json()["remote"].asBool());
  const std::vector<LoggedRequest> told = cloud_->Requests("account", "/device/api/logout");
  ASSERT_EQ(told.size(), 1u);
  EXPECT_EQ(told[0].FormValue("access_token"), access.Json()["access_token"].asString());
  EXPECT_EQ(Run({"status"}).status, 3);
  EXPECT_FALSE(root_.Exists(kSessionTokenFile));
  EXPECT_EQ(Run({"token"}).status, 22);

  // --local tells the service nothing: the auth key stays good there.
  cloud_->InstallHosts();
  ASSERT_EQ(PasswordLogin(account_).status, 0);
  ASSERT_EQ(Run({"token"}).status, 0);
  const std::string auth_key = StoredAuthKey();
  ASSERT_FALSE(auth_key.empty());
  CliResult local = RunOk({"logout", "--local"});
  EXPECT_EQ(local.out, "Signed out of " + account_.email +
                           " on this device only; the account service was not told.\n");
  EXPECT_EQ(cloud_->Requests("account", "/device/api/logout").size(), 1u);
  EXPECT_FALSE(root_.Exists(kAccountFile));
  EXPECT_FALSE(root_.Exists(kSessionTokenFile));
  cloud_->InstallHosts();
  EXPECT_EQ(Run({"login", "--key", account_.id}, auth_key + "\n").status, 0);
}

TEST_F(SessionCommands, PackageTokenAndMonitoringGrantRideOnTheDeviceSession) {
  EXPECT_EQ(Run({"token", "--package", "vigilon"}).status, 22) << "no session to borrow";
  ASSERT_EQ(PasswordLogin(account_).status, 0);
  CliResult badname = Run({"token", "--package", "../vigilon"});
  EXPECT_EQ(badname.status, 1) << badname.err;
  EXPECT_EQ(badname.out, "");

  // The package's own token, then read back from its token file by the next run.
  CliResult package = RunOk({"token", "--package", "vigilon", "--json"});
  const std::string package_token = package.Json()["access_token"].asString();
  EXPECT_EQ(package.Json()["package"].asString(), "vigilon");
  EXPECT_NE(package_token, TokenFile()["access_token"].asString());
  CliResult again = Run({"token", "--package", "vigilon"});
  EXPECT_EQ(again.out, package_token + "\n");
  CliResult id = RunOk({"token", "--package", "vigilon", "--id"});
  EXPECT_NE(id.out, again.out);

  // The monitoring grant asks with the package's token and prints the finished address.
  CliResult grant = RunOk({"grant-vigilon", "vigilon-cloud", "monitor:read alerts",
                           "https://vigilon.example/cb", "st 81"});
  const std::string prefix =
      "https://vigilon.example/cb?scope=monitor%3Aread%20alerts&state=st%2081&code=";
  ASSERT_EQ(grant.out.rfind(prefix, 0), 0u) << grant.out;
  EXPECT_GT(grant.out.size(), prefix.size() + 1) << "the code itself";

  const CliResult json =
      RunOk({"grant-vigilon", "--json", "vigilon-cloud", "s", "https://v.example/cb", "x"});
  EXPECT_EQ(
      json.Json()["redirect"].asString().rfind("https://v.example/cb?scope=s&state=x&code=", 0),
      0u);
  EXPECT_EQ(Run({"grant-vigilon", "vigilon-cloud", "s"}).status, 64) << "all four are required";

  // A client the account host does not know is refused there.
  CliResult refused = Run({"grant-vigilon", "nobody", "s", "https://v.example/cb", "x"});
  EXPECT_EQ(refused.status, 5) << refused.err;
  EXPECT_EQ(refused.out, "");
}

}  // namespace
}  // namespace testing
}  // namespace vexozeph
