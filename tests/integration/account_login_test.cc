// Password, token and key sign-in against the cloud emulator: what the server saw, what
// the account file keeps, and how refusals and API-key trouble end.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "internal/json_utils.h"
#include "support/account_appliance.h"
#include "support/cloud_steps.h"
#include "support/log_capture.h"
#include "support/oauth_calls.h"
#include "vexozeph/user.h"

namespace vexozeph {
namespace testing {
namespace {

const char kLoginHook[] = "/usr/vexo/etc/vexozeph/hooks/zeph/50-note";

class AccountLogin : public AccountAppliance {
 protected:
  // The appliance's current cloud-service API key as the platform stores it.
  std::string StoredApiKey() const {
    std::string key = root_.ReadFile(kApiKeyFile);
    while (!key.empty() && (key.back() == '\n' || key.back() == '\r')) key.pop_back();
    return key;
  }

  static std::vector<std::string> PasswordForm(const Account &account, const std::string &api_key) {
    return {"bx_sn",   kSerial,          "bx_token",  kAnyValue,
            "type",    "acnt_pw_apikey", "email",     account.email,
            "passwd",  account.password, "serial_no", kSerial,
            "api_key", api_key,          "mac",       kMac};
  }

  // Forces the next login answer's body, as a server would send it with status 200.
  void ForceLoginBody(const std::string &body) { ForceAnswer(*cloud_, "", kLoginPath, 200, body); }

  // An access token of the device client for `account`, obtained the way the management
  // interface does: authorization code with PKCE, exchanged at the identity host.
  std::string AccessTokenFor(const Account &account) {
    const auto code = DeviceCode(*cloud_, account, kSerial, kMac);
    return ExchangeCode(*cloud_, code.first, code.second).json["access_token"].asString();
  }
};

TEST_F(AccountLogin, PasswordLoginSendsItsFormStoresIdentityAndProfileThenTellsListeners) {
  NewAccount wanted;
  wanted.full_name = "Ann Example";
  wanted.country = "NZ";
  const Account ann = MakeAccount("ann@example.com", wanted);
  // The hook notes the event and whether the queried profile was already in the file.
  root_.WriteFile(kLoginHook,
                  "#!/bin/sh\necho \"$VEXOZEPH_ACTION $VEXOZEPH_PHASE "
                  "$(grep -c '^full_name=\"Ann Example\"' \"$VEXOZEPH_ROOT" +
                      std::string(kAccountFile) + "\")\" >> " + root_.Path("/tmp/heard") + "\n");
  ASSERT_EQ(::chmod(root_.Path(kLoginHook).c_str(), 0755), 0);
  cloud_->ClearRequests();
  LogCapture log;

  Json::Value response;
  ASSERT_EQ(VEXOZEPHAccountLogin(ann.email.c_str(), ann.password.c_str(), response, false), 0);
  EXPECT_EQ(VEXOZEPHErrGet(), 0);
  EXPECT_EQ(json::StringOr(response, "code"), "good");

  // The login comes first, then the query with the identity it returned.
  const std::vector<LoggedRequest> sent = cloud_->Requests("account");
  ASSERT_EQ(sent.size(), 2u);
  EXPECT_TRUE(SentAs(sent[0], "/device/api/password_login", PasswordForm(ann, StoredApiKey())));
  User user;
  EXPECT_TRUE(SentAs(sent[1], "/device/api/user/query",
                     {"bx_sn", kSerial, "bx_token", kAnyValue, "id", ann.id, "auth_key",
                      json::StringOr(response, "auth_key"), "serial_no", kSerial}));
  EXPECT_EQ(user.GetUserId(), ann.id);
  EXPECT_EQ(user.GetAuthKey(), json::StringOr(response, "auth_key"));
  // The profile arrives through the query, not from the login answer.
  EXPECT_EQ(user.GetEmail(), ann.email);
  EXPECT_EQ(user.GetName(), "Ann Example");
  EXPECT_EQ(user.GetCountry(), "NZ");
  EXPECT_EQ(log.Count("Logged in Zeph Center as ann@example.com"), 1u);
  const std::string events = root_.ReadFile(kEventLog);
  EXPECT_NE(events.find("0x13A00001"), std::string::npos) << events;
  EXPECT_NE(events.find(ann.email), std::string::npos) << events;
  EXPECT_NE(root_.ReadFile(kCronJobs).find("--report_info"), std::string::npos);
  // Listeners hear only the post-event, once the profile is stored.
  EXPECT_EQ(root_.ReadFile("/tmp/heard"), "zeph/login post 1\n");

  // A listener that fails fails the call, but the account stays signed in.
  root_.WriteFile(kLoginHook, "#!/bin/sh\nexit 3\n");
  EXPECT_EQ(VEXOZEPHAccountLogin(ann.email.c_str(), ann.password.c_str(), response, false), -1);
  EXPECT_EQ(User().GetUserId(), ann.id);
}

TEST_F(AccountLogin, ASignInStandsWhenItsProfileQueryFails) {
  NewAccount wanted;
  wanted.full_name = "Ann Example";
  const Account ann = MakeAccount("ann@example.com", wanted);
  Fault broken;
  broken.path = kQueryPath;
  broken.status = 500;
  cloud_->QueueFault(broken);

  Json::Value response;
  ASSERT_EQ(VEXOZEPHAccountLogin(ann.email.c_str(), ann.password.c_str(), response, false), 0);
  EXPECT_EQ(VEXOZEPHErrGet(), 0);
  User user;
  EXPECT_EQ(user.GetUserId(), ann.id);
  EXPECT_EQ(user.GetName(), "");
  // Nothing was synchronised, so the next query asks again.
  Json::Value result;
  ASSERT_EQ(VEXOZEPHAccountQueryInfo(result, false, true), 0);
  EXPECT_EQ(user.GetName(), "Ann Example");
}

TEST_F(AccountLogin, VerifyOnlyAndRefusedLoginsLeaveTheAccountFileAlone) {
  const Account ann = MakeAccount("ann@example.com");
  const std::string before = AccountFile();
  cloud_->ClearRequests();

  Json::Value response;
  ASSERT_EQ(VEXOZEPHAccountLogin(ann.email.c_str(), ann.password.c_str(), response, true), 0);
  EXPECT_FALSE(json::StringOr(response, "auth_key").empty());
  EXPECT_EQ(AccountFile(), before);
  EXPECT_TRUE(Requests(kQueryPath).empty());

  EXPECT_EQ(VEXOZEPHAccountLogin(ann.email.c_str(), "not the password", response, false), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_AUTH);
  EXPECT_EQ(json::StringOr(response, "code"), "badauth");
  EXPECT_EQ(AccountFile(), before);

  EXPECT_EQ(VEXOZEPHAccountLogin(nullptr, "x", response, false), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_BAD_PARAMETER);
  EXPECT_TRUE(Requests(kQueryPath).empty());
}

TEST_F(AccountLogin, UnknownApiKeyIsReplacedOnceInTheSamePlaceOfTheForm) {
  const Account ann = MakeAccount("ann@example.com");
  cloud_->SetAnswer(kLoginPath, "apikey_not_found", 1);
  cloud_->ClearRequests();
  SignIn(ann);

  const std::vector<LoggedRequest> logins = Requests(kLoginPath);
  ASSERT_EQ(logins.size(), 2u);
  EXPECT_TRUE(SentAs(logins[0], kLoginPath, PasswordForm(ann, kAnyValue)));
  EXPECT_TRUE(SentAs(logins[1], kLoginPath, PasswordForm(ann, StoredApiKey())));
  EXPECT_NE(logins[1].FormValue("api_key"), logins[0].FormValue("api_key"));
  EXPECT_EQ(User().GetUserId(), ann.id);
}

TEST_F(AccountLogin, ASecondUnknownOrAnExpiredApiKeyEndsTheLoginAndChangesNothing) {
  const Account ann = MakeAccount("ann@example.com");
  struct Case {
    const char *what;
    NewDevice device;
    int error;
    size_t logins;
  };
  NewDevice insisting;  // wants a key this appliance never has
  insisting.api_key = "a-key-this-appliance-never-registers";
  NewDevice expired;
  expired.api_key_expired = true;
  // No retry for an expired key: the platform renews it and the user signs in again.
  const Case cases[] = {{"unknown twice", insisting, VEXOZEPH_ERR_APIKEY_NOT_FOUND, 2},
                        {"expired", expired, VEXOZEPH_ERR_APIKEY_EXPIRED, 1}};
  for (Case c : cases) {
    SCOPED_TRACE(c.what);
    c.device.serial = kSerial;
    c.device.mac = kMac;
    cloud_->CreateDevice(c.device);
    cloud_->ClearRequests();
    const std::string before = AccountFile();
    Json::Value response;
    EXPECT_EQ(VEXOZEPHAccountLogin(ann.email.c_str(), ann.password.c_str(), response, false), -1);
    EXPECT_EQ(VEXOZEPHErrGet(), c.error);
    const std::vector<LoggedRequest> logins = Requests(kLoginPath);
    ASSERT_EQ(logins.size(), c.logins);
    EXPECT_NE(StoredApiKey(), logins[0].FormValue("api_key")) << "the key was replaced";
    EXPECT_TRUE(Requests(kQueryPath).empty());
    EXPECT_EQ(AccountFile(), before);
  }
}

TEST_F(AccountLogin, TokenLoginSendsLanguageZoneAndDeviceInItsOrder) {
  const Account ann = MakeAccount("ann@example.com");
  const std::string token = AccessTokenFor(ann);
  ASSERT_FALSE(token.empty());
  root_.WriteFile("/etc/timezone", "Europe/Berlin\n");
  root_.WriteFile("/etc/vexoinfo.conf", "language=\"deu\"\nzeph_disable_report=\"yes\"\n");
  cloud_->ClearRequests();
  LogCapture log;

  Json::Value response;
  ASSERT_EQ(VEXOZEPHAccountOauthLogin(response, token.c_str()), 0) << VEXOZEPHErrGet();
  std::vector<LoggedRequest> launches = Requests(kLaunchPath);
  ASSERT_EQ(launches.size(), 1u);
  EXPECT_TRUE(SentAs(
      launches[0], kLaunchPath,
      {"bx_sn", kSerial, "bx_token", kAnyValue, "language", "deu", "access_token", token,
       "timezone", "Europe/Berlin", "api_key", StoredApiKey(), "mac", kMac, "serial_no", kSerial}));
  EXPECT_EQ(User().GetUserId(), ann.id);
  EXPECT_EQ(Requests(kQueryPath).size(), 1u);
  // The token login learns the e-mail from the answer.
  EXPECT_EQ(log.Count("Logged in Zeph Center as ann@example.com"), 1u);
  // The report is switched off on this appliance.
  EXPECT_FALSE(root_.Exists(kCronJobs));

  // Without a language setting the interface language is English.
  root_.WriteFile("/etc/vexoinfo.conf", "other=\"1\"\n");
  cloud_->ClearRequests();
  ASSERT_EQ(VEXOZEPHAccountOauthLogin(response, token.c_str()), 0) << VEXOZEPHErrGet();
  launches = Requests(kLaunchPath);
  ASSERT_EQ(launches.size(), 1u);
  EXPECT_EQ(launches[0].FormValue("language"), "enu");
  EXPECT_NE(root_.ReadFile(kCronJobs).find("--report_info"), std::string::npos);
}

TEST_F(AccountLogin, KeyLoginAsksTheServerAdoptsAConfirmedKeyAndDropsARefusedOne) {
  NewAccount wanted;
  wanted.full_name = "Bea Other";
  const Account bea = MakeAccount("bea@example.com", wanted);
  const Account ann = MakeAccount("ann@example.com");
  const std::string key = json::StringOr(SignIn(bea), "auth_key");
  SignIn(ann);  // Ann's profile was queried a moment ago: Bea's must still be asked for.
  cloud_->ClearRequests();

  Json::Value result;
  ASSERT_EQ(VEXOZEPHAccountLoginByKey(bea.id.c_str(), key.c_str(), result), 0);
  const std::vector<LoggedRequest> queries = Requests(kQueryPath);
  ASSERT_EQ(queries.size(), 1u);
  EXPECT_EQ(queries[0].FormValue("id"), bea.id);
  EXPECT_EQ(json::StringOr(result, "email"), bea.email);
  EXPECT_EQ(json::StringOr(result, "auth_key"), key);
  EXPECT_TRUE(json::Member(result, "activated").isBool());
  EXPECT_EQ(User().GetName(), "Bea Other");

  // A key the server does not confirm is never left behind.
  EXPECT_EQ(VEXOZEPHAccountLoginByKey(bea.id.c_str(), "not-a-key", result), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_AUTH);
  EXPECT_FALSE(HasAccountFile());
}

TEST_F(AccountLogin, AnIdentityTheFileCannotHoldWholeLeavesTheEarlierOneUntouched) {
  const Account ann = MakeAccount("ann@example.com");
  SignIn(ann);
  const std::string before = AccountFile();
  const std::vector<std::string> bodies = {
      R"({"code": "good", "id": "777", "auth_key": "evil\nkey"})",
      R"({"code": "good", "id": "7\u000077", "auth_key": "key-777"})",
      R"({"code": "good", "id": "777", "auth_key": ")" + std::string(2048, 'k') + "\"}",
      R"({"code": "good", "id": ")" + std::string(2048, '7') + R"(", "auth_key": "key-777"})",
  };
  for (const std::string &body : bodies) {
    SCOPED_TRACE(body.substr(0, 80));
    cloud_->ClearRequests();
    ForceLoginBody(body);
    Json::Value response;
    EXPECT_EQ(VEXOZEPHAccountLogin(ann.email.c_str(), ann.password.c_str(), response, false), -1);
    EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_NO_REPLY);
    EXPECT_EQ(AccountFile(), before);
    EXPECT_TRUE(Requests(kQueryPath).empty());
  }

  // A key the caller hands over that the file cannot hold is refused by the record, and
  // the signed-in account stays as it was.
  Json::Value result;
  EXPECT_EQ(VEXOZEPHAccountLoginByKey("777", std::string(2048, 'k').c_str(), result), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_ACCOUNT_WRITE);
  EXPECT_EQ(AccountFile(), before);
  EXPECT_TRUE(User().Exists());
}

// The rule for every JSON type is the JSON helper's; a missing word, an array or an object
// in its place are the hostile server's table. These words reach the login's own mapping.
TEST_F(AccountLogin, ResultWordsOfOtherJsonTypesAreNeverGood) {
  const Account ann = MakeAccount("ann@example.com");
  const std::string before = AccountFile();
  const std::pair<const char *, int> cases[] = {
      {"0", VEXOZEPH_ERR_UNKNOWN}, {"true", VEXOZEPH_ERR_UNKNOWN}, {"null", VEXOZEPH_ERR_NO_REPLY}};
  for (const auto &c : cases) {
    SCOPED_TRACE(c.first);
    ForceLoginBody(std::string(R"({"id": "777", "auth_key": "key-777", "code": )") + c.first + "}");
    Json::Value response;
    EXPECT_EQ(VEXOZEPHAccountLogin(ann.email.c_str(), ann.password.c_str(), response, false), -1);
    EXPECT_EQ(VEXOZEPHErrGet(), c.second);
    EXPECT_EQ(AccountFile(), before);
  }
}

}  // namespace
}  // namespace testing
}  // namespace vexozeph
