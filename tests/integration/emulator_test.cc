// The cloud emulator must be as strict as the service wherever a lenient server would hide
// a fault of the appliance: these tests talk to it with plain libcurl.
#include <gtest/gtest.h>
#include <json/json.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/cloud_emulator.h"
#include "support/cloud_steps.h"
#include "support/http_client.h"
#include "support/oauth_calls.h"
#include "support/temp_root.h"

namespace vexozeph {
namespace testing {
namespace {

// Tokens computed independently (iterated MD5, 14 and 5 passes) for these inputs.
const char kSerial[] = "SN-EMU-1";
const char kSerialToken[] = "5b8551224ab4fa368548c024763e9f16";
const char kEmail[] = "owner@example.com";
const char kPassword[] = "secret-pw";
const char kSerialAccountPasswordToken[] = "156cc7f7034d2928b6bbbc449b47ffa4";
const char kMac[] = "00:11:32:aa:bb:cc";

class EmulatorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    cloud_ = std::make_unique<CloudEmulator>(ZEPH_CLOUD_BINARY, root_);
    NewAccount owner;
    owner.email = kEmail;
    owner.password = kPassword;
    account_ = cloud_->CreateAccount(owner);
  }

  Reply Post(const std::string &url, const NamedPairs &form) { return Call(*cloud_, url, &form); }
  std::string Code(const PkcePair &pkce) {
    return cloud_->SignIn({kEmail, kPassword, "zeph-device", "", cloud_->DeviceScope(kSerial, kMac),
                           "st-1", pkce.challenge});
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

  TempRoot root_;
  std::unique_ptr<CloudEmulator> cloud_;
  Account account_;
};

TEST_F(EmulatorTest, CodeExchangeVerifiesPkceRedirectAndIsSingleUse) {
  const PkcePair pkce = PkcePair::Make();
  const PkcePair other = PkcePair::Make();
  EXPECT_EQ(Exchange(Code(pkce), other.verifier).json["error"].asString(), "invalid_grant");
  EXPECT_EQ(Exchange(Code(pkce), pkce.verifier, cloud_->LoginRedirectUri() + "/").status, 400);
  // A refused attempt still spends the code.
  std::string code = Code(pkce);
  EXPECT_EQ(Exchange(code, other.verifier).status, 400);
  EXPECT_EQ(Exchange(code, pkce.verifier).status, 400);

  code = Code(pkce);
  const Reply tokens = Exchange(code, pkce.verifier);
  ASSERT_EQ(tokens.status, 200);
  EXPECT_EQ(tokens.json["expires_in"].asInt(), 3600);
  const std::string access_token = tokens.json["access_token"].asString();
  EXPECT_EQ(ExchangeForAuthKey(*cloud_, access_token).json["user_id"].asString(), account_.id);
  // Replaying the code is refused and withdraws what it bought.
  EXPECT_EQ(Exchange(code, pkce.verifier).json["error"].asString(), "invalid_grant");
  EXPECT_EQ(ExchangeForAuthKey(*cloud_, access_token).status, 401);

  code = Code(pkce);
  cloud_->AdvanceClock(121);
  EXPECT_EQ(Exchange(code, pkce.verifier).json["error"].asString(), "invalid_grant");
}

TEST_F(EmulatorTest, RenewalRotatesAndARefreshTokenWorksOnlyOnce) {
  const PkcePair pkce = PkcePair::Make();
  const Reply first = Exchange(Code(pkce), pkce.verifier);
  const std::string r1 = first.json["refresh_token"].asString();
  const Reply second = Renew(r1);
  ASSERT_EQ(second.status, 200);
  const std::string r2 = second.json["refresh_token"].asString();
  EXPECT_NE(r2, r1);
  EXPECT_NE(second.json["access_token"], first.json["access_token"]);
  EXPECT_EQ(Renew(r1).json["error"].asString(), "invalid_grant");
  // Reuse means a copy is out there: the newer token of the same session dies as well.
  EXPECT_EQ(Renew(r2).status, 400);

  const Reply fresh = Exchange(Code(pkce), pkce.verifier);
  EXPECT_EQ(cloud_->RevokeRefreshToken(fresh.json["refresh_token"].asString()), 1);
  EXPECT_EQ(Renew(fresh.json["refresh_token"].asString()).status, 400);
}

TEST_F(EmulatorTest, AHeldRenewalIsDoneFirstAnsweredOnReleaseAndItsTokensKnowTheirOwner) {
  const PkcePair pkce = PkcePair::Make();
  const Reply first = Exchange(Code(pkce), pkce.verifier);
  HoldNextAnswer(*cloud_, "/oauth2/token");
  Reply renewed;
  std::thread renewal([&] { renewed = Renew(first.json["refresh_token"].asString()); });
  ASSERT_TRUE(cloud_->WaitUntilHeld(1));
  // The service has acted: the old refresh token is spent although no answer went out.
  EXPECT_FALSE(cloud_->TokenOwner(first.json["refresh_token"].asString())["live"].asBool());
  cloud_->ReleaseHeld();
  renewal.join();
  ASSERT_EQ(renewed.status, 200);
  EXPECT_TRUE(cloud_->WaitUntilHeld(0));

  for (const char *kind : {"access_token", "id_token", "refresh_token"}) {
    const Json::Value owner = cloud_->TokenOwner(renewed.json[kind].asString());
    EXPECT_EQ(owner["account_id"].asString(), account_.id) << kind;
    EXPECT_EQ(owner["client_id"].asString(), "zeph-device") << kind;
    EXPECT_TRUE(owner["live"].asBool()) << kind;
  }
  EXPECT_EQ(cloud_->TokenOwner(renewed.json["id_token"].asString())["kind"].asString(), "id");
  EXPECT_TRUE(cloud_->TokenOwner("zat_forged").isNull());
}

TEST_F(EmulatorTest, FormApiChecksTheRequestTokenAndAForcedWordWinsOnce) {
  const std::string login = cloud_->AccountOrigin() + "/device/api/password_login";
  NamedPairs form = {{"bx_sn", kSerial},         {"bx_token", kSerialToken},
                     {"type", "acnt_pw_apikey"}, {"email", kEmail},
                     {"passwd", kPassword},      {"serial_no", kSerial},
                     {"api_key", "key-1"},       {"mac", kMac}};
  const Reply good = Post(login, form);
  EXPECT_EQ(good.json["code"].asString(), "good");
  EXPECT_EQ(good.json["id"].asString(), account_.id);
  NamedPairs tampered = form;
  tampered[1].second[0] ^= 1;
  const Reply badauth = Post(login, tampered);
  EXPECT_EQ(badauth.status, 400);
  EXPECT_EQ(badauth.json["code"].asString(), "badauth");
  // Once "zephID" and "zephPW" are sent the token must cover them.
  form.insert(form.begin() + 2, {{"zephID", kEmail}, {"zephPW", kPassword}});
  EXPECT_EQ(Post(login, form).json["code"].asString(), "badauth");
  form[1].second = kSerialAccountPasswordToken;
  EXPECT_EQ(Post(login, form).json["code"].asString(), "good");

  const std::string query = cloud_->AccountOrigin() + "/device/api/user/query";
  NamedPairs query_form = {{"bx_sn", kSerial},
                           {"bx_token", kSerialToken},
                           {"id", account_.id},
                           {"auth_key", good.json["auth_key"].asString()},
                           {"serial_no", kSerial}};
  cloud_->SetAnswer("device/api/user/query", "account_not_found", 1);
  EXPECT_EQ(Post(query, query_form).json["code"].asString(), "account_not_found");
  EXPECT_EQ(Post(query, query_form).json["code"].asString(), "good");
  query_form[3].second = "not-the-key";
  EXPECT_EQ(Post(query, query_form).json["code"].asString(), "badauth");
}

TEST_F(EmulatorTest, SignInPageRefusesWithoutLeakingCodes) {
  const std::string authorize = cloud_->IdentityOrigin() + "/oauth2/authorize";
  NamedPairs request = {{"response_type", "code"},
                        {"client_id", "zeph-device"},
                        {"redirect_uri", "https://a.example/cb?x=1"},
                        {"scope", "openid"},
                        {"state", "s&t"},
                        {"code_challenge", PkcePair::Make().challenge},
                        {"code_challenge_method", "S256"}};
  auto submit = [&](NamedPairs form, const NamedPairs &extra) {
    form.insert(form.end(), extra.begin(), extra.end());
    return Post(authorize, form).status;
  };
  EXPECT_EQ(submit(request, {{"email", kEmail}, {"password", "wrong"}, {"consent", "yes"}}), 401);
  EXPECT_EQ(submit(request, {{"email", kEmail}, {"password", kPassword}}), 400);  // no consent
  NamedPairs unknown_client = request;
  unknown_client[1].second = "nobody";
  EXPECT_EQ(Call(*cloud_, authorize + "?" + FormBody(unknown_client), nullptr).status, 400);
  request[6].second = "plain";
  EXPECT_EQ(Call(*cloud_, authorize + "?" + FormBody(request), nullptr).status, 302);
  EXPECT_TRUE(cloud_->State()["codes"].empty());
}

// The admin API names the first member of the wrong type and keeps nothing of the change.
TEST_F(EmulatorTest, AdminRefusesAMemberOfTheWrongTypeAndKeepsTheRecord) {
  long status = 0;
  Json::Value change;
  change["full_name"] = "Changed";
  change["enews"] = "yes";
  EXPECT_EQ(
      cloud_->Admin("POST", "/admin/accounts/" + account_.id, change, &status)["error"].asString(),
      "\"enews\" must be true or false");
  EXPECT_EQ(status, 400);
  EXPECT_EQ(cloud_->GetAccount(account_.id)["full_name"].asString(), "Test User");
  change["id"] = "999";
  change["enews"] = true;
  cloud_->UpdateAccount(account_.id, change);
  EXPECT_EQ(cloud_->GetAccount(account_.id)["id"].asString(), account_.id) << "the id is no field";
}

// Every member of every record goes through the state file and back.
TEST(EmulatorLifecycle, StateFileSurvivesARestart) {
  TempRoot root;
  CloudEmulator::Options options;
  options.extra_args = {"--state-file", root.Dir() + "/zeph-cloud-state.json"};
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
    first.CreateAccount(kept);
    NewDevice device;
    device.serial = kSerial;
    device.mac = kMac;
    device.api_key_expired = true;
    device.register_limit = 5;
    first.CreateDevice(device);
    first.AddPackage("photos");
    const PkcePair pkce = PkcePair::Make();
    const SignInRequest sign_in{
        kept.email, kept.password, "zeph-device", "", first.DeviceScope(kSerial, kMac),
        "st-1",     pkce.challenge};
    const Reply tokens = ExchangeCode(first, first.SignIn(sign_in), pkce.verifier);
    ASSERT_EQ(ExchangeForAuthKey(first, tokens.json["access_token"].asString()).status, 200);
    first.SignIn(sign_in);  // a code left unused
    before = first.State();
  }
  for (const char *kind : {"accounts", "devices", "auth_keys", "codes", "tokens", "packages"}) {
    EXPECT_FALSE(before[kind].empty()) << kind;
  }
  EXPECT_EQ(CloudEmulator(ZEPH_CLOUD_BINARY, root, options).State(), before);
}

}  // namespace
}  // namespace testing
}  // namespace vexozeph
