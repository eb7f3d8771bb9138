// A device that changes hands: account A signs in and takes its tokens, then every way of
// changing or ending the signed-in account follows, one after another, through the
// library's public interface and the tool, against the emulator. After each step the
// tokens the device hands out are the account's signed in now, as the emulator knows
// them, and none at all when nothing is signed in. A failure names its step.
#include <gtest/gtest.h>
#include <json/json.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "base/clock.h"
#include "internal/json_utils.h"
#include "support/account_appliance.h"
#include "support/browser_sign_in.h"
#include "support/cli_run.h"
#include "support/cloud_steps.h"
#include "support/oauth_calls.h"
#include "vexozeph/account_pkce_service.h"
#include "vexozeph/error_codes.h"
#include "vexozeph/user.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_account.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {
namespace testing {
namespace {

const char kVigilonGrantPath[] = "/oauth2/api/v1/device/vigilon/authorization_code/grant";

class AccountChange : public AccountAppliance {
 protected:
  void SetUp() override {
    AccountAppliance::SetUp();
    a_ = MakeAccount("a@example.com");
    b_ = MakeAccount("b@example.com");
  }
  CliResult Tool(const std::vector<std::string> &args, const std::string &input = "") {
    return RunCli(VEXOZEPH_CLI_BINARY, args, input);
  }

  // The session's and the package's identity tokens, as the tool hands them out, belong
  // to `account`, and so does every token file on the device.
  void ExpectTokensOf(const Account &account) {
    for (const std::vector<std::string> &args :
         {std::vector<std::string>{"token", "--id"},
          std::vector<std::string>{"token", "--id", "--package", "vigilon"}}) {
      const CliResult read = Tool(args);
      ASSERT_EQ(read.status, 0) << args.back() << ": " << read.err;
      EXPECT_EQ(AccountOf(read.out.substr(0, read.out.find('\n'))), account.id) << args.back();
    }
    for (const std::string &name : TokenFiles()) {
      const Json::Value file = JsonFileIn(root_, std::string(kAccountPrivateDir) + "/" + name);
      EXPECT_EQ(AccountOf(json::StringOr(file, "access_token")), account.id) << name;
    }
  }

  // Nothing signed in: no token of anyone is handed out, and no token file is left.
  void ExpectNoTokens() {
    cloud_->ClearRequests();
    for (const std::vector<std::string> &args :
         {std::vector<std::string>{"token"}, std::vector<std::string>{"token", "--id"},
          std::vector<std::string>{"token", "--package", "vigilon"}}) {
      const CliResult read = Tool(args);
      EXPECT_EQ(read.status, 22) << args.back() << ": " << read.out;
      EXPECT_EQ(read.out, "");
    }
    EXPECT_EQ(Tool({"status"}).status, 3);
    EXPECT_TRUE(TokenFiles().empty()) << ::testing::PrintToString(TokenFiles());
    EXPECT_TRUE(cloud_->Requests().empty()) << "a read without an account asks no one";
  }

  Account a_;
  Account b_;
};

TEST_F(AccountChange, EveryWayOfChangingOrEndingTheAccountLeavesOnlyTheNewAccountsTokens) {
  Step("A signs in by password and takes session and package tokens");
  SignIn(a_);
  ExpectTokensOf(a_);

  Step("a password sign-in as A again keeps A's tokens and asks for none");
  const std::string session_before =
      JsonFileIn(root_, kSessionTokenFile)["access_token"].asString();
  SignIn(a_);
  EXPECT_EQ(JsonFileIn(root_, kSessionTokenFile)["access_token"].asString(), session_before);
  ExpectTokensOf(a_);
  EXPECT_TRUE(cloud_->Requests("identity", "/oauth2/token").empty());

  Step("a browser sign-in as B over A, and the monitoring grant after it");
  AccountPkceService().Login(
      SignInWithBrowser(*cloud_, AccountPkceService().GetLoginPkceConfig(), b_));
  ExpectTokensOf(b_);
  cloud_->ClearRequests();
  const CliResult grant =
      Tool({"grant-vigilon", "vigilon-cloud", "monitor:read", "https://v.example/cb", "st"});
  ASSERT_EQ(grant.status, 0) << grant.err;
  const std::vector<LoggedRequest> grants = cloud_->Requests("account", kVigilonGrantPath);
  ASSERT_EQ(grants.size(), 1u);
  EXPECT_EQ(AccountOf(grants[0].Header("Authorization").substr(7)), b_.id);

  Step("a password sign-in as A over B");
  SignIn(a_);
  ExpectTokensOf(a_);
  const std::string a_key = User().GetAuthKey();

  Step("a token sign-in as B over A");
  const auto code = DeviceCode(*cloud_, b_, kSerial, kMac);
  const std::string b_token =
      ExchangeCode(*cloud_, code.first, code.second).json["access_token"].asString();
  Json::Value response;
  ASSERT_EQ(VEXOZEPHAccountOauthLogin(response, b_token.c_str()), 0) << VEXOZEPHErrGet();
  ExpectTokensOf(b_);

  Step("a key sign-in as A over B");
  ASSERT_EQ(VEXOZEPHAccountLoginByKey(a_.id.c_str(), a_key.c_str(), response), 0)
      << VEXOZEPHErrGet();
  ExpectTokensOf(a_);

  Step("a failed key sign-in removes the account");
  EXPECT_NE(VEXOZEPHAccountLoginByKey(b_.id.c_str(), "not-a-key", response), 0);
  ExpectNoTokens();

  Step("the report's forced sign-out");
  SignIn(a_);
  ExpectTokensOf(a_);
  cloud_->SetAnswer("device/api/report", "badauth", 1);
  EXPECT_EQ(VEXOZEPHReportInfo(), -1);
  ExpectNoTokens();

  Step("the account record's removal");
  SignIn(b_);
  ExpectTokensOf(b_);
  EXPECT_EQ(VEXOZEPHAccountRemove(), 0) << VEXOZEPHErrGet();
  ExpectNoTokens();

  Step("the tool's sign-out");
  SignIn(a_);
  ExpectTokensOf(a_);
  EXPECT_EQ(Tool({"logout"}).status, 0);
  ExpectNoTokens();

  Step("the tool's local sign-out");
  SignIn(b_);
  ExpectTokensOf(b_);
  EXPECT_EQ(Tool({"logout", "--local"}).status, 0);
  ExpectNoTokens();
}

// A renewal of A's session whose answer the emulator holds back while the device signs
// out, and then signs in as B: the answer never becomes a token file, and B is never
// handed A's token.
TEST_F(AccountChange, ARenewalOvertakenByASignOutSavesNothing) {
  SignIn(a_);
  ASSERT_EQ(Tool({"token"}).status, 0);
  // Past the token's last second: the next read renews.
  const Json::Value session = JsonFileIn(root_, kSessionTokenFile);
  clock::SetForTesting(session["created_at"].asInt64() + session["expires_in"].asInt64() + 1);
  HoldNextAnswer(*cloud_, "/oauth2/token");
  int renewal = 0;
  std::thread renewing([&renewal] {
    try {
      AccountPkceService().GetIdToken();
    } catch (const ZephException &e) {
      renewal = static_cast<int>(e.GetCode());
    }
  });
  ASSERT_TRUE(cloud_->WaitUntilHeld(1));
  EXPECT_EQ(Tool({"logout", "--local"}).status, 0);
  cloud_->ReleaseHeld();
  renewing.join();
  EXPECT_EQ(renewal, VEXOZEPH_ERR_TOKEN_STATE);
  EXPECT_TRUE(TokenFiles().empty()) << ::testing::PrintToString(TokenFiles());

  SignIn(b_);
  ExpectTokensOf(b_);
}

}  // namespace
}  // namespace testing
}  // namespace vexozeph
