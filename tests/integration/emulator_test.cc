// The cloud emulator must behave like a strict server: these tests talk to it with plain
// libcurl, the way the appliance does, and check the refusals the library relies on.
#include <gtest/gtest.h>
#include <json/json.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/json_utils.h"
#include "support/cloud_emulator.h"
#include "support/http_client.h"
#include "support/temp_root.h"

namespace vexozeph {
namespace testing {
namespace {

struct Reply {
  long status = 0;
  std::string body;
  Json::Value json;
};

// A form POST or, with `body` null, a GET, trusting only the root's CA file. A transport
// failure throws std::runtime_error.
Reply Call(const std::string &ca_file, const std::string &url, const std::string *body,
           const std::vector<std::string> &headers = {}) {
  const HttpResult result = Http(body ? "POST" : "GET", url, body ? *body : "",
                                 "application/x-www-form-urlencoded", ca_file, headers);
  Reply reply{result.status, result.body, Json::Value()};
  json::Parse(reply.body, reply.json);
  return reply;
}

// The device client's code exchange at the identity host.
Reply ExchangeCode(const CloudEmulator &cloud, const std::string &code, const std::string &verifier,
                   const std::string &redirect = "") {
  std::string form =
      FormBody({{"grant_type", "authorization_code"},
                {"client_id", "zeph-device"},
                {"redirect_uri", redirect.empty() ? cloud.LoginRedirectUri() : redirect},
                {"code", code},
                {"code_verifier", verifier}});
  return Call(cloud.CaFile(), cloud.IdentityOrigin() + "/oauth2/token", &form,
              {"X-Client-ID: zeph-device"});
}

// The account host's auth key for a device session's access token.
Reply ExchangeForAuthKey(const CloudEmulator &cloud, const std::string &access_token) {
  std::string none;
  return Call(cloud.CaFile(), cloud.AccountOrigin() + "/oauth2/api/v1/device/core/authkey/exchange",
              &none, {"Authorization: Bearer " + access_token});
}

// Tokens computed independently (iterated MD5, 14 and 5 passes) for these inputs.
const char kSerial[] = "SN-EMU-1";
const char kSerialToken[] = "5b8551224ab4fa368548c024763e9f16";
const char kEmail[] = "owner@example.com";
const char kPassword[] = "secret-pw";
const char kSerialAccountPasswordToken[] = "156cc7f7034d2928b6bbbc449b47ffa4";

class EmulatorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    cloud_ = std::make_unique<CloudEmulator>(ZEPH_CLOUD_BINARY, root_);
    NewAccount owner;
    owner.email = kEmail;
    owner.password = kPassword;
    account_ = cloud_->CreateAccount(owner);
  }

  Reply Post(const std::string &url, const NamedPairs &form,
             const std::vector<std::string> &headers = {}) {
    std::string body = FormBody(form);
    return Call(cloud_->CaFile(), url, &body, headers);
  }
  Reply Get(const std::string &url, const std::vector<std::string> &headers = {}) {
    return Call(cloud_->CaFile(), url, nullptr, headers);
  }

  std::string Code(const PkcePair &pkce) {
    return cloud_->SignIn({kEmail, kPassword, "zeph-device", "",
                           cloud_->DeviceScope(kSerial, "00:11:32:aa:bb:cc"), "st-1",
                           pkce.challenge});
  }
  Reply Exchange(const std::string &code, const std::string &verifier,
                 const std::string &redirect = "") {
    return ExchangeCode(*cloud_, code, verifier, redirect);
  }
  Reply Renew(const std::string &refresh_token) {
    return Post(cloud_->IdentityOrigin() + "/oauth2/token", {{"grant_type", "refresh_token"},
                                                             {"refresh_token", refresh_token},
                                                             {"client_id", "zeph-device"}});
  }
  Reply AuthKeyExchange(const std::string &access_token) {
    return ExchangeForAuthKey(*cloud_, access_token);
  }

  TempRoot root_;
  std::unique_ptr<CloudEmulator> cloud_;
  Account account_;
};

TEST_F(EmulatorTest, CodeExchangeVerifiesPkceRedirectAndIsSingleUse) {
  PkcePair pkce = PkcePair::Make();
  PkcePair other = PkcePair::Make();

  Reply wrong_verifier = Exchange(Code(pkce), other.verifier);
  EXPECT_EQ(wrong_verifier.status, 400);
  EXPECT_EQ(wrong_verifier.json["error"].asString(), "invalid_grant");

  Reply wrong_redirect = Exchange(Code(pkce), pkce.verifier, cloud_->LoginRedirectUri() + "/");
  EXPECT_EQ(wrong_redirect.status, 400);
  EXPECT_EQ(wrong_redirect.json["error"].asString(), "invalid_grant");

  // A refused attempt still spends the code.
  std::string code = Code(pkce);
  EXPECT_EQ(Exchange(code, other.verifier).status, 400);
  EXPECT_EQ(Exchange(code, pkce.verifier).status, 400);

  code = Code(pkce);
  Reply tokens = Exchange(code, pkce.verifier);
  ASSERT_EQ(tokens.status, 200) << tokens.body;
  for (const char *member : {"access_token", "id_token", "refresh_token", "token_type"}) {
    EXPECT_TRUE(tokens.json[member].isString()) << member;
  }
  EXPECT_EQ(tokens.json["expires_in"].asInt(), 3600);
  Reply auth_key = AuthKeyExchange(tokens.json["access_token"].asString());
  ASSERT_EQ(auth_key.status, 200) << auth_key.body;
  EXPECT_EQ(auth_key.json["user_id"].asString(), account_.id);

  // Replaying the code is refused and withdraws what it bought.
  Reply replay = Exchange(code, pkce.verifier);
  EXPECT_EQ(replay.status, 400);
  EXPECT_EQ(replay.json["error"].asString(), "invalid_grant");
  EXPECT_EQ(AuthKeyExchange(tokens.json["access_token"].asString()).status, 401);

  // Codes are short-lived.
  code = Code(pkce);
  cloud_->AdvanceClock(121);
  EXPECT_EQ(Exchange(code, pkce.verifier).json["error"].asString(), "invalid_grant");
}

TEST_F(EmulatorTest, RenewalRotatesAndARefreshTokenWorksOnlyOnce) {
  PkcePair pkce = PkcePair::Make();
  Reply first = Exchange(Code(pkce), pkce.verifier);
  ASSERT_EQ(first.status, 200) << first.body;
  std::string r1 = first.json["refresh_token"].asString();

  Reply second = Renew(r1);
  ASSERT_EQ(second.status, 200) << second.body;
  std::string r2 = second.json["refresh_token"].asString();
  EXPECT_NE(r2, r1);
  EXPECT_NE(second.json["access_token"].asString(), first.json["access_token"].asString());
  EXPECT_TRUE(second.json["id_token"].isString());

  Reply reuse = Renew(r1);
  EXPECT_EQ(reuse.status, 400);
  EXPECT_EQ(reuse.json["error"].asString(), "invalid_grant");
  // Reuse means a copy is out there: the newer token of the same session dies as well.
  EXPECT_EQ(Renew(r2).status, 400);

  // A revoked refresh token of a fresh session is refused too.
  Reply fresh = Exchange(Code(pkce), pkce.verifier);
  ASSERT_EQ(fresh.status, 200);
  EXPECT_EQ(cloud_->RevokeRefreshToken(fresh.json["refresh_token"].asString()), 1);
  EXPECT_EQ(Renew(fresh.json["refresh_token"].asString()).json["error"].asString(),
            "invalid_grant");

  // The request log shows the renewal form exactly as sent.
  std::vector<LoggedRequest> log = cloud_->Requests("identity", "/oauth2/token");
  ASSERT_FALSE(log.empty());
  EXPECT_EQ(log.back().FormKeys(),
            (std::vector<std::string>{"grant_type", "refresh_token", "client_id"}));
  EXPECT_EQ(log.back().status, 400);
}

TEST_F(EmulatorTest, FormApiChecksTheRequestToken) {
  const std::string login = cloud_->AccountOrigin() + "/device/api/password_login";
  NamedPairs form = {{"bx_sn", kSerial},   {"bx_token", kSerialToken},  {"type", "acnt_pw_apikey"},
                     {"email", kEmail},    {"passwd", kPassword},       {"serial_no", kSerial},
                     {"api_key", "key-1"}, {"mac", "00:11:32:aa:bb:cc"}};
  Reply good = Post(login, form);
  ASSERT_EQ(good.status, 200) << good.body;
  EXPECT_EQ(good.json["code"].asString(), "good");
  EXPECT_EQ(good.json["id"].asString(), account_.id);
  EXPECT_FALSE(good.json["auth_key"].asString().empty());

  NamedPairs tampered = form;
  tampered[1].second[0] ^= 1;
  Reply badauth = Post(login, tampered);
  EXPECT_EQ(badauth.status, 400);
  EXPECT_EQ(badauth.json["code"].asString(), "badauth");

  // Once "zephID" and "zephPW" are sent the token must cover them.
  NamedPairs with_credentials = form;
  with_credentials.insert(with_credentials.begin() + 2,
                          {{"zephID", kEmail}, {"zephPW", kPassword}});
  EXPECT_EQ(Post(login, with_credentials).json["code"].asString(), "badauth");
  with_credentials[1].second = kSerialAccountPasswordToken;
  EXPECT_EQ(Post(login, with_credentials).json["code"].asString(), "good");

  // The query answers every member the appliance requires, and a forced word wins.
  const std::string query = cloud_->AccountOrigin() + "/device/api/user/query";
  NamedPairs query_form = {{"bx_sn", kSerial},
                           {"bx_token", kSerialToken},
                           {"id", account_.id},
                           {"auth_key", good.json["auth_key"].asString()},
                           {"serial_no", kSerial}};
  Reply profile = Post(query, query_form);
  ASSERT_EQ(profile.status, 200) << profile.body;
  for (const char *member : {"code", "email", "full_name", "country", "timezone", "notify_language",
                             "activated", "disabled", "enews", "critical_release",
                             "enews_local_promotion", "critical_version_list"}) {
    EXPECT_TRUE(profile.json.isMember(member)) << member;
  }
  cloud_->SetAnswer("device/api/user/query", "account_not_found", 1);
  EXPECT_EQ(Post(query, query_form).json["code"].asString(), "account_not_found");
  EXPECT_EQ(Post(query, query_form).json["code"].asString(), "good");
  query_form[3].second = "not-the-key";
  EXPECT_EQ(Post(query, query_form).json["code"].asString(), "badauth");
}

TEST_F(EmulatorTest, FaultsHitExactlyTheNextRequestsToTheirPath) {
  const std::string health = cloud_->PaymentOrigin() + "/health";
  Fault busy;
  busy.path = "/health";
  busy.count = 2;
  busy.status = 503;
  busy.body = "<html>busy</html>";
  busy.content_type = "text/html";
  cloud_->QueueFault(busy);
  Reply first = Get(health);
  EXPECT_EQ(first.status, 503);
  EXPECT_EQ(first.body, "<html>busy</html>");
  EXPECT_EQ(Get(health).status, 503);
  EXPECT_EQ(Get(health).status, 200);

  Fault drop;
  drop.path = "/health";
  drop.drop = true;
  cloud_->QueueFault(drop);
  EXPECT_THROW(Get(health), std::runtime_error);
  EXPECT_EQ(cloud_->Requests("payment").back().status, -1);

  // A reply lost after the server acted: the rotation happened, so the client's retry
  // with the token it still holds is a reuse.
  PkcePair pkce = PkcePair::Make();
  Reply tokens = Exchange(Code(pkce), pkce.verifier);
  ASSERT_EQ(tokens.status, 200);
  Fault lost;
  lost.path = "/oauth2/token";
  lost.drop = true;
  lost.after_processing = true;
  cloud_->QueueFault(lost);
  std::string refresh = tokens.json["refresh_token"].asString();
  EXPECT_THROW(Renew(refresh), std::runtime_error);
  EXPECT_EQ(Renew(refresh).json["error"].asString(), "invalid_grant");
}

TEST_F(EmulatorTest, RequestLogKeepsFieldsInTheOrderReceived) {
  cloud_->ClearRequests();
  // The sender puts "bx_sn" first and repeats it where the caller's fields list it.
  NamedPairs form = {{"bx_sn", kSerial},    {"bx_token", kSerialToken}, {"zeta", "1"},
                     {"bx_sn", kSerial},    {"alpha", "a b&c"},         {"scopes[]", ""},
                     {"scopes[]", "openid"}};
  Post(cloud_->AccountOrigin() + "/device/api/report?b=2&a=1&b=3", form);
  std::vector<LoggedRequest> log = cloud_->Requests();
  ASSERT_EQ(log.size(), 1u);
  const LoggedRequest &entry = log[0];
  EXPECT_EQ(entry.origin, "account");
  EXPECT_EQ(entry.method, "POST");
  EXPECT_EQ(entry.path, "/device/api/report");
  EXPECT_EQ(entry.form, form);
  EXPECT_EQ(entry.FormValues("bx_sn"), (std::vector<std::string>{kSerial, kSerial}));
  EXPECT_EQ(entry.query, (NamedPairs{{"b", "2"}, {"a", "1"}, {"b", "3"}}));
  EXPECT_EQ(entry.Header("content-type"), "application/x-www-form-urlencoded");
  EXPECT_EQ(entry.status, 400);  // the report lacks its own fields

  cloud_->ClearRequests();
  EXPECT_TRUE(cloud_->Requests().empty());
}

TEST_F(EmulatorTest, SignInPageRefusesWithoutLeakingCodes) {
  PkcePair pkce = PkcePair::Make();
  const std::string authorize = cloud_->IdentityOrigin() + "/oauth2/authorize";
  NamedPairs request = {{"response_type", "code"},
                        {"client_id", "zeph-device"},
                        {"redirect_uri", "https://a.example/cb?x=1"},
                        {"scope", "openid"},
                        {"state", "s&t"},
                        {"code_challenge", pkce.challenge},
                        {"code_challenge_method", "S256"}};
  std::string query = FormBody(request);
  Reply page = Get(authorize + "?" + query);
  EXPECT_EQ(page.status, 200);
  EXPECT_NE(page.body.find("name=\"password\""), std::string::npos);

  NamedPairs unknown_client = request;
  unknown_client[1].second = "nobody";
  EXPECT_EQ(Get(authorize + "?" + FormBody(unknown_client)).status, 400);  // shown, not redirected

  auto submit = [&](NamedPairs extra) {
    NamedPairs form = request;
    form.insert(form.end(), extra.begin(), extra.end());
    return Post(authorize, form);
  };
  EXPECT_EQ(submit({{"email", kEmail}, {"password", "wrong"}, {"consent", "yes"}}).status, 401);
  EXPECT_EQ(submit({{"email", kEmail}, {"password", kPassword}}).status, 400);  // no consent

  NamedPairs plain = request;
  plain[6].second = "plain";
  EXPECT_EQ(Get(authorize + "?" + FormBody(plain)).status, 302);  // redirected with an error
  EXPECT_TRUE(cloud_->State()["codes"].empty());
}

// Every member of every record goes through the state file and back: a restarted
// emulator shows exactly the state it had.
TEST(EmulatorLifecycle, StateFileSurvivesARestart) {
  TempRoot root;
  CloudEmulator::Options options;
  options.extra_args = {"--state-file", root.Dir() + "/zeph-cloud-state.json"};
  std::string id;
  Json::Value before;
  {
    CloudEmulator first(ZEPH_CLOUD_BINARY, root, options);
    NewAccount kept;
    kept.email = "kept@example.com";
    kept.password = "pw";
    kept.enews = true;
    kept.realname_validation_pass = Json::Value();
    kept.critical_version_list["7.2"] = true;
    kept.report_cron_timestring = "5 3 * * *";
    id = first.CreateAccount(kept).id;
    NewDevice device;
    device.serial = kSerial;
    device.mac = "00:11:32:aa:bb:cc";
    device.api_key_expired = true;
    device.register_limit = 5;
    first.CreateDevice(device);
    first.AddPackage("photos");

    PkcePair pkce = PkcePair::Make();
    SignInRequest sign_in{
        kept.email, kept.password, "zeph-device", "", first.DeviceScope(kSerial, device.mac),
        "st-1",     pkce.challenge};
    Reply tokens = ExchangeCode(first, first.SignIn(sign_in), pkce.verifier);
    ASSERT_EQ(tokens.status, 200) << tokens.body;
    Reply key = ExchangeForAuthKey(first, tokens.json["access_token"].asString());
    ASSERT_EQ(key.status, 200) << key.body;
    first.SignIn(sign_in);  // a code left unused
    before = first.State();
  }
  for (const char *kind : {"accounts", "devices", "auth_keys", "codes", "tokens", "packages"}) {
    EXPECT_FALSE(before[kind].empty()) << kind;
  }
  CloudEmulator second(ZEPH_CLOUD_BINARY, root, options);
  EXPECT_EQ(second.GetAccount(id)["email"].asString(), "kept@example.com");
  EXPECT_EQ(second.State(), before);
}

// The admin API checks each member's type and names the first wrong one; nothing of a
// refused change is kept.
TEST_F(EmulatorTest, AdminRefusesAMemberOfTheWrongTypeAndKeepsTheRecord) {
  long status = 0;
  Json::Value device;
  device["serial"] = "SN-TYPED";
  device["register_limit"] = "5";
  EXPECT_EQ(cloud_->Admin("POST", "/admin/devices", device, &status)["error"].asString(),
            "\"register_limit\" must be a whole number");
  EXPECT_EQ(status, 400);

  Json::Value change;
  change["full_name"] = "Changed";
  change["enews"] = "yes";
  EXPECT_EQ(
      cloud_->Admin("POST", "/admin/accounts/" + account_.id, change, &status)["error"].asString(),
      "\"enews\" must be true or false");
  EXPECT_EQ(status, 400);
  Json::Value kept = cloud_->GetAccount(account_.id);
  EXPECT_EQ(kept["full_name"].asString(), "Test User");
  EXPECT_FALSE(kept["enews"].asBool());
  change["id"] = "999";
  change["enews"] = true;
  cloud_->UpdateAccount(account_.id, change);
  EXPECT_EQ(cloud_->GetAccount(account_.id)["id"].asString(), account_.id) << "the id is no field";
}

}  // namespace
}  // namespace testing
}  // namespace vexozeph
