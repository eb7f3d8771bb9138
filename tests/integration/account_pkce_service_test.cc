// The device session against the cloud emulator: a sign-in through the identity host's
// own page, the rescue by auth key when the refresh token dies, the forced sign-out when
// the rescue is refused, the sign-out itself, and answers that must change nothing.
#include <gtest/gtest.h>
#include <json/json.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "base/clock.h"
#include "internal/json_utils.h"
#include "session/account_pkce_service_impl.h"
#include "support/account_appliance.h"
#include "support/browser_sign_in.h"
#include "support/cloud_steps.h"
#include "support/log_capture.h"
#include "support/occurrences.h"
#include "support/zeph_code.h"
#include "vexozeph/account_pkce_service.h"
#include "vexozeph/error_codes.h"
#include "vexozeph/user.h"

namespace vexozeph {
namespace testing {
namespace {

const char kHook[] = "/usr/vexo/etc/vexozeph/hooks/zeph/50-note";
const char kExchangePath[] = "/oauth2/api/v1/device/core/authkey/exchange";
const char kGrantPath[] = "/migration/api/v1/device/core/authorization_code/grant";

using vexozeph::testing::CodeOf;

class AccountPkceSession : public AccountAppliance {
 protected:
  void SetUp() override {
    AccountAppliance::SetUp();
    NewAccount wanted;
    wanted.full_name = "Pat Owner";
    owner_ = MakeAccount("pat@example.com", wanted);
    // Each plugin event notes what it was and whether the session's token file existed.
    root_.WriteFile(kHook, "#!/bin/sh\necho \"$VEXOZEPH_ACTION $VEXOZEPH_PHASE $(test -f \"" +
                               root_.Path(kSessionTokenFile) +
                               "\" && echo token || echo none)\" >> " + root_.Path("/tmp/heard") +
                               "\n");
    ASSERT_EQ(::chmod(root_.Path(kHook).c_str(), 0755), 0);
  }

  // The owner's browser signs in through the sign-in configuration's page.
  ParamPkceLogin BrowserSignIn(const Account &account) {
    return SignInWithBrowser(*cloud_, AccountPkceService().GetLoginPkceConfig(), account);
  }

  // Signs the owner in at `now` on the library's clock.
  Json::Value SignIn(int64_t now) {
    clock::SetForTesting(now);
    return AccountPkceService().Login(BrowserSignIn(owner_));
  }

  std::string Heard() const { return root_.ReadFile("/tmp/heard"); }

  // Sign-outs in the system event log.
  size_t LogoutEvents() const { return Occurrences(root_.ReadFile(kEventLog), "0x13A00002"); }

  // Nothing of the session is left here, and the listeners heard of it once.
  void ExpectSignedOut() const {
    EXPECT_FALSE(HasAccountFile());
    EXPECT_FALSE(root_.Exists(kSessionTokenFile));
    EXPECT_FALSE(root_.Exists(kPackageTokenFile));
    EXPECT_FALSE(root_.Exists(kCronJobs));
    EXPECT_EQ(LogoutEvents(), 1u);
  }

  Account owner_;
};

TEST_F(AccountPkceSession, ABrowserSignInStoresTokensIdentityAndProfileBetweenTheTwoEvents) {
  const Json::Value profile = SignIn(1700000000);
  EXPECT_EQ(json::StringOr(profile, "email"), owner_.email);
  EXPECT_EQ(json::StringOr(profile, "full_name"), "Pat Owner");

  // The pre-event comes before the code is exchanged, the post-event after everything.
  EXPECT_EQ(Heard(), "zeph/login pre none\nzeph/login post token\n");

  struct stat info;
  ASSERT_EQ(::stat(root_.Path(kSessionTokenFile).c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0600u);
  const Json::Value tokens = TokenFile();
  EXPECT_EQ(tokens["created_at"].asInt64(), 1700000000);
  const std::string access_token = json::StringOr(tokens, "access_token");
  ASSERT_FALSE(access_token.empty());

  // The account host saw the browser land with the code, then the auth-key exchange
  // (bearer alone), then the profile query.
  const std::vector<LoggedRequest> sent = cloud_->Requests("account");
  ASSERT_EQ(sent.size(), 3u);
  EXPECT_EQ(sent[0].path, "/device/oauth/login/callback");
  EXPECT_EQ(sent[1].path, kExchangePath);
  EXPECT_EQ(sent[1].Header("Authorization"), "Bearer " + access_token);
  EXPECT_FALSE(sent[1].HasHeader("X-Client-ID"));
  EXPECT_EQ(sent[2].path, "/device/api/user/query");

  // The identity is the one the account host issued.
  User user;
  EXPECT_EQ(user.GetUserId(), owner_.id);
  const Json::Value keys = cloud_->GetAccount(owner_.id)["auth_keys"];
  ASSERT_EQ(keys.size(), 1u);
  EXPECT_EQ(user.GetAuthKey(), keys[0]["key"].asString());
  EXPECT_EQ(sent[2].FormValue("auth_key"), user.GetAuthKey());
  EXPECT_TRUE(root_.Exists(kCronJobs));

  EXPECT_TRUE(AccountPkceService().HasToken());
  EXPECT_EQ(AccountPkceService().GetAccessToken(), access_token);
  EXPECT_EQ(AccountPkceService().GetIdToken(), json::StringOr(tokens, "id_token"));
}

TEST_F(AccountPkceSession,
       ASignInWhoseAuthKeyAnswerIsUnusableStoresNoIdentityAndRaisesNoPostEvent) {
  ForceAnswer(*cloud_, "account", kExchangePath, 200,
              "{\"user_id\":\"2000001\",\"auth_key\":\"line\\nbreak=\\\"x\\\"\"}");
  EXPECT_EQ(CodeOf([&] { SignIn(1700000000); }), VEXOZEPH_ERR_TOKEN_STATE);
  EXPECT_EQ(Heard(), "zeph/login pre none\n");
  // The hosts the emulator installed are still the only lines of the account file.
  EXPECT_EQ(AccountFile().find("zephIDSerial"), std::string::npos) << AccountFile();
}

TEST_F(AccountPkceSession, ARevokedRefreshTokenOrALostTokenFileIsGrantedAgainByTheAuthKey) {
  SignIn(1700000000);
  const Json::Value before = TokenFile();
  cloud_->RevokeRefreshToken(json::StringOr(before, "refresh_token"));
  LapseToken(root_, kSessionTokenFile);
  // A scope with a double and a trailing space: every single space splits.
  Json::Value tmpl;
  ASSERT_TRUE(json::FromFile(root_.Path(kLoginTemplate), tmpl));
  tmpl["scope"] = "openid  offline_access device_sn:$sn$ ";
  root_.WriteFile(kLoginTemplate, json::ToCompactString(tmpl));
  cloud_->ClearRequests();
  LogCapture log;

  // One refused renewal, one grant, one exchange.
  const std::string fresh = AccountPkceService().GetAccessToken();
  EXPECT_NE(fresh, json::StringOr(before, "access_token"));
  EXPECT_EQ(log.Count("Rescue tarn renew pkce token by authkey"), 1u);
  EXPECT_EQ(TokenRequests(*cloud_, "refresh_token").size(), 1u);
  const std::vector<LoggedRequest> grants = cloud_->Requests("account", kGrantPath);
  ASSERT_EQ(grants.size(), 1u);
  EXPECT_TRUE(SentAs(grants[0], kGrantPath, {"client_id",      "zeph-device",
                                             "redirect_url",   cloud_->LoginRedirectUri(),
                                             "state",          std::to_string(clock::Now()),
                                             "code_challenge", kAnyValue,
                                             "auth_key",       User().GetAuthKey(),
                                             "scopes[]",       "openid",
                                             "scopes[]",       "",
                                             "scopes[]",       "offline_access",
                                             "scopes[]",       std::string("device_sn:") + kSerial,
                                             "scopes[]",       ""}));
  EXPECT_EQ(grants[0].Header("X-Client-ID"), "zeph-device");
  EXPECT_EQ(grants[0].FormValue("code_challenge").size(), 43u);
  const std::vector<LoggedRequest> exchanges = TokenRequests(*cloud_, "authorization_code");
  ASSERT_EQ(exchanges.size(), 1u);
  EXPECT_EQ(exchanges[0].FormValue("redirect_uri"), cloud_->LoginRedirectUri());

  // The new session is the one on file, saved at this second, and it keeps working.
  const Json::Value after = TokenFile();
  EXPECT_EQ(json::StringOr(after, "access_token"), fresh);
  EXPECT_EQ(after["created_at"].asInt64(), clock::Now());
  EXPECT_EQ(AccountPkceService().GetAccessToken(), fresh);
  EXPECT_TRUE(User().Exists());
  EXPECT_EQ(log.Count(User().GetAuthKey()), 0u) << "the auth key is never logged whole";

  // A lost token file is granted again straight away, with no renewal to try.
  ASSERT_EQ(::unlink(root_.Path(kSessionTokenFile).c_str()), 0);
  cloud_->ClearRequests();
  const std::string token = AccountPkceService().GetAccessToken();
  EXPECT_EQ(json::StringOr(TokenFile(), "access_token"), token);
  EXPECT_EQ(cloud_->Requests("account", kGrantPath).size(), 1u);
  EXPECT_TRUE(TokenRequests(*cloud_, "refresh_token").empty());
}

TEST_F(AccountPkceSession, ARefusedRescueSignsOutHereAndAtTheServerAndReportsNoToken) {
  SignIn(1700000000);
  root_.WriteFile(kPackageTokenFile, "{}");
  const std::string auth_key = User().GetAuthKey();
  cloud_->RevokeRefreshToken(json::StringOr(TokenFile(), "refresh_token"));
  cloud_->RevokeAuthKey(auth_key);
  LapseToken(root_, kSessionTokenFile);
  cloud_->ClearRequests();
  LogCapture log;

  std::string message;
  EXPECT_EQ(CodeOf([&] { AccountPkceService().GetAccessToken(); }, &message),
            VEXOZEPH_ERR_TOKEN_STATE);
  EXPECT_NE(message.find("Failed to find an existed token file"), std::string::npos) << message;
  EXPECT_EQ(log.Count("Failed to rescue by authkey, force logout"), 1u);

  // One refused grant, then the sign-out without the token, the form in order.
  const std::vector<LoggedRequest> sent = cloud_->Requests("account");
  ASSERT_EQ(sent.size(), 2u);
  EXPECT_EQ(sent[0].path, kGrantPath);
  EXPECT_EQ(sent[0].status, 401);
  EXPECT_EQ(sent[1].path, kLogoutPath);
  EXPECT_EQ(sent[1].form,
            (NamedPairs{{"serial_no", kSerial}, {"id", owner_.id}, {"auth_key", auth_key}}));
  EXPECT_EQ(sent[1].Header("X-Client-ID"), "zeph-device");
  EXPECT_EQ(sent[1].status, 200);

  ExpectSignedOut();
  EXPECT_EQ(log.Count("Logged out Vexona Account: pat@example.com"), 1u);
  // The listeners heard of the sign-out before anything was removed.
  EXPECT_NE(Heard().find("zeph/logout pre token\n"), std::string::npos) << Heard();

  // Signed out, with nothing to rescue from: no token, and no request for it.
  cloud_->InstallHosts();
  cloud_->ClearRequests();
  EXPECT_FALSE(AccountPkceService().HasToken());
  EXPECT_TRUE(cloud_->Requests().empty());
}

TEST_F(AccountPkceSession, LogoutSendsItsFormWithTheTokenAndClearsEveryClientOnlyWhenConfirmed) {
  SignIn(1700000000);
  root_.WriteFile(kPackageTokenFile, "{}");
  const std::string account_file = AccountFile();
  const std::string token_file = root_.ReadFile(kSessionTokenFile);
  const std::string access_token = json::StringOr(TokenFile(), "access_token");
  const std::string auth_key = User().GetAuthKey();
  auto kept = [&](const std::string &why) {
    EXPECT_EQ(AccountFile(), account_file) << why;
    EXPECT_EQ(root_.ReadFile(kSessionTokenFile), token_file) << why;
    EXPECT_TRUE(root_.Exists(kPackageTokenFile)) << why;
    EXPECT_TRUE(root_.Exists(kCronJobs)) << why;
    EXPECT_EQ(LogoutEvents(), 0u) << why;
  };

  // Refusals of every kind keep the whole session (bodies that are no JSON object are the
  // hostile server's table).
  struct Case {
    int status;
    std::string body;
    int code;
  };
  const std::vector<Case> refusals = {
      {500, "{\"code\":\"good\"}", VEXOZEPH_ERR_NO_REPLY},
      {200, "{\"code\":\"badauth\"}", VEXOZEPH_ERR_AUTH},
      // A result word of another type is no known word.
      {200, "{\"code\":0}", VEXOZEPH_ERR_UNKNOWN},
  };
  for (const Case &c : refusals) {
    ForceAnswer(*cloud_, "account", kLogoutPath, c.status, c.body);
    EXPECT_EQ(CodeOf([&] { AccountPkceService().Logout(); }), c.code) << c.body.substr(0, 80);
    kept(c.body.substr(0, 80));
  }
  cloud_->SetAnswer("device/api/logout", "badparam", 1);
  EXPECT_EQ(VEXOZEPHAccountLogout(true), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_BAD_PARAMETER);
  kept("forced badparam");

  // Confirmed: the server revokes the session and every client's token file goes.
  cloud_->ClearRequests();
  EXPECT_EQ(VEXOZEPHAccountLogout(true), 0);
  const std::vector<LoggedRequest> sent = cloud_->Requests("account", kLogoutPath);
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_TRUE(SentAs(
      sent[0], kLogoutPath,
      {"serial_no", kSerial, "id", owner_.id, "auth_key", auth_key, "access_token", access_token}));
  EXPECT_EQ(cloud_->RevokeAccessToken(access_token), 0);
  ExpectSignedOut();
}

TEST_F(AccountPkceSession, SigningOutLocallyNeverAsksTheServer) {
  SignIn(1700000000);
  root_.WriteFile(kPackageTokenFile, "{}");
  root_.WriteFile("/usr/vexo/etc/vexona-account/private/notes.json", "{}");
  cloud_->ClearRequests();
  EXPECT_EQ(VEXOZEPHAccountLogout(false), 0);
  EXPECT_TRUE(cloud_->Requests().empty());
  ExpectSignedOut();
  EXPECT_TRUE(root_.Exists("/usr/vexo/etc/vexona-account/private/notes.json"));

  // Without an account, a remote sign-out has no one to sign out and clears locally.
  root_.WriteFile(kPackageTokenFile, "{}");
  cloud_->InstallHosts();
  AccountPkceService().Logout();
  EXPECT_TRUE(cloud_->Requests().empty());
  EXPECT_FALSE(root_.Exists(kPackageTokenFile));
}

TEST_F(AccountPkceSession, HostileAuthKeyAndGrantAnswersChangeNothing) {
  SignIn(1700000000);
  const std::string account_file = AccountFile();
  const std::string token_file = root_.ReadFile(kSessionTokenFile);
  const std::string access_token = json::StringOr(TokenFile(), "access_token");
  AccountPkceServiceImpl session("", "");

  struct Case {
    int status;
    std::string body;
    int code;
  };
  // Bodies that are not JSON, too deep, too large or of the wrong shape are the hostile
  // server's table; these are the refusals and values only this exchange knows.
  const std::vector<Case> exchanges = {
      {403, "{\"error\":\"insufficient_scope\"}", VEXOZEPH_ERR_NO_REPLY},
      {200, "{\"user_id\":\"2000001\",\"auth_key\":\"\"}", VEXOZEPH_ERR_TOKEN_STATE},
      {200, "{\"user_id\":\"2000\\n001\",\"auth_key\":\"secret-auth-key-0123456789\"}",
       VEXOZEPH_ERR_TOKEN_STATE},
  };
  for (const Case &c : exchanges) {
    LogCapture log;
    ForceAnswer(*cloud_, "account", kExchangePath, c.status, c.body);
    std::string message;
    EXPECT_EQ(CodeOf([&] { session.ExchangeAuthKey(access_token); }, &message), c.code)
        << c.body.substr(0, 80);
    if (c.code == VEXOZEPH_ERR_TOKEN_STATE) {
      EXPECT_EQ(log.Count("Failed to ExchangeAuthKey by [" + access_token.substr(0, 10) + "...]"),
                1u);
    }
    EXPECT_EQ(log.Count(access_token), 0u);
    EXPECT_EQ(log.Count("secret-auth-key-0123456789"), 0u);
    EXPECT_EQ(message.find("secret-auth-key-0123456789"), std::string::npos) << message;
  }

  const std::vector<Case> grants = {
      {401, "{\"error\":\"invalid_grant\"}", VEXOZEPH_ERR_AUTH},
      {500, "{\"grant_code\":\"g\"}", VEXOZEPH_ERR_NO_REPLY},
  };
  for (const Case &c : grants) {
    ForceAnswer(*cloud_, "account", kGrantPath, c.status, c.body);
    EXPECT_EQ(CodeOf([&] { session.GrantByAuthKey(); }), c.code) << c.body.substr(0, 80);
  }
  // A grant code the identity host does not know is refused at the exchange.
  ForceAnswer(*cloud_, "account", kGrantPath, 200, "{\"grant_code\":\"forged-code\"}");
  EXPECT_EQ(CodeOf([&] { session.GrantByAuthKey(); }), VEXOZEPH_ERR_NO_REPLY);

  EXPECT_EQ(AccountFile(), account_file);
  EXPECT_EQ(root_.ReadFile(kSessionTokenFile), token_file);
  EXPECT_TRUE(session.HasToken());
}

}  // namespace
}  // namespace testing
}  // namespace vexozeph
