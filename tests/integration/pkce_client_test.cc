// The device client's tokens against the cloud emulator: the code exchange, renewal once
// the token has lapsed by the library's clock, and the answers that must be refused.
#include <gtest/gtest.h>
#include <json/json.h>

#include <string>
#include <vector>

#include "base/clock.h"
#include "internal/json_utils.h"
#include "pkce/pkce_client_impl.h"
#include "support/account_appliance.h"
#include "support/cloud_steps.h"
#include "support/log_capture.h"
#include "support/zeph_code.h"
#include "vexozeph/error_codes.h"
#include "vexozeph/pkce_client.h"
#include "vexozeph/tarn_service.h"

namespace vexozeph {
namespace testing {
namespace {

const char kTokenPath[] = "/oauth2/token";

class PkceClientAgainstCloud : public AccountAppliance {
 protected:
  void SetUp() override {
    AccountAppliance::SetUp();
    account_ = MakeAccount("owner@example.com");
    NameSignedInAccount(account_);
    Json::Value tmpl;
    ASSERT_TRUE(json::FromFile(root_.Path(kLoginTemplate), tmpl));
    config_ = client_.FormatPkceConfig(tmpl);
    client_.SetPkceConfig(config_);
  }

  // A fresh authorization code of the device client and its verifier.
  std::pair<std::string, std::string> Authorize() {
    return DeviceCode(*cloud_, account_, kSerial, kMac);
  }

  // Signs in at `now` and returns the saved token file.
  Json::Value SignIn(int64_t now) {
    clock::SetForTesting(now);
    auto code = Authorize();
    client_.ExchangeToken(code.first, code.second, cloud_->LoginRedirectUri());
    return TokenFile();
  }

  // The next answer of the token endpoint, whatever was asked.
  void AnswerToken(int status, const std::string &body,
                   const std::string &type = "application/json") {
    ForceAnswer(*cloud_, "identity", kTokenPath, status, body, type);
  }

  Account account_;
  Json::Value config_;
  PkceClientImpl client_{"tarn"};
};

TEST_F(PkceClientAgainstCloud, CodeIsExchangedOnceAndTheTokenRenewedOnlyAfterItsLastSecond) {
  const int64_t t0 = 1700000000;
  auto code = Authorize();
  clock::SetForTesting(t0);
  PkceClient device("tarn");
  device.SetPkceConfig(config_);
  device.ExchangeToken(code.first, code.second, cloud_->LoginRedirectUri());
  // Another client object of the same name works on the file saved above.
  Json::Value first = TokenFile();
  EXPECT_EQ(first["created_at"].asInt64(), t0);
  const int64_t lifetime = first["expires_in"].asInt64();
  ASSERT_GT(lifetime, 0);

  auto exchanges = TokenRequests(*cloud_, "authorization_code");
  ASSERT_EQ(exchanges.size(), 1u);
  EXPECT_TRUE(
      SentAs(exchanges[0], exchanges[0].path,
             {"grant_type", "authorization_code", "client_id", "zeph-device", "redirect_uri",
              cloud_->LoginRedirectUri(), "code", code.first, "code_verifier", code.second}));
  EXPECT_EQ(exchanges[0].Header("X-Client-ID"), "zeph-device");
  EXPECT_EQ(exchanges[0].Header("User-Agent"), TarnService().GetUserAgent());

  clock::SetForTesting(t0 + lifetime);
  EXPECT_EQ(client_.GetAccessToken(), first["access_token"].asString());
  EXPECT_TRUE(TokenRequests(*cloud_, "refresh_token").empty());

  clock::SetForTesting(t0 + lifetime + 1);
  const std::string renewed = client_.GetAccessToken();
  EXPECT_NE(renewed, first["access_token"].asString());
  auto renewals = TokenRequests(*cloud_, "refresh_token");
  ASSERT_EQ(renewals.size(), 1u);
  EXPECT_TRUE(SentAs(renewals[0], renewals[0].path,
                     {"grant_type", "refresh_token", "refresh_token",
                      first["refresh_token"].asString(), "client_id", "zeph-device"}));
  Json::Value second = TokenFile();
  EXPECT_EQ(second["access_token"].asString(), renewed);
  EXPECT_NE(second["refresh_token"], first["refresh_token"]);
  EXPECT_EQ(second["created_at"].asInt64(), t0 + lifetime + 1);
  // The identity token comes from the same renewed file, without another request.
  EXPECT_EQ(client_.GetIdToken(), second["id_token"].asString());
  EXPECT_EQ(TokenRequests(*cloud_, "refresh_token").size(), 1u);
}

// Bodies that are no JSON object, or lack a member or hold an array in its place, are the
// hostile server's table; these rows check the texts and that no secret is logged whole.
TEST_F(PkceClientAgainstCloud, RefusedOrUnusableExchangeAnswersWriteNoFile) {
  struct Case {
    int status;
    std::string body;
    int code;
    std::string message;
  };
  const std::string refusal = "{\"error\":\"invalid_grant\"}";
  const std::vector<Case> cases = {
      {400, refusal, VEXOZEPH_ERR_NO_REPLY, "Failed to exchange token, code=400, resp=" + refusal},
      // Tokens are text; a number in place of one is no token.
      {200, "{\"access_token\":1,\"id_token\":\"i\",\"refresh_token\":\"r\",\"expires_in\":60}",
       VEXOZEPH_ERR_TOKEN_STATE, "Failed to parse exchange authkey resp"},
      // Without a usable lifetime the file could never be judged, so it is not written.
      {200, "{\"access_token\":\"a\",\"id_token\":\"i\",\"refresh_token\":\"r\"}",
       VEXOZEPH_ERR_TOKEN_STATE, "Failed to parse exchange authkey resp"},
  };
  for (const Case &c : cases) {
    LogCapture log;
    AnswerToken(c.status, c.body);
    const std::string code = "code-0123456789abcdef";
    const std::string verifier = "verifier-0123456789abcdef";
    std::string message;
    EXPECT_EQ(CodeOf([&] { client_.ExchangeToken(code, verifier, "https://x/cb"); }, &message),
              c.code)
        << c.body;
    EXPECT_NE(message.find(c.message), std::string::npos) << message;
    EXPECT_FALSE(client_.HasTokenFile()) << c.body;
    if (c.code == VEXOZEPH_ERR_TOKEN_STATE) {
      EXPECT_EQ(log.Count("Failed to PkceLogin by [code-01234...|verifier-0...], resp="), 1u);
    }
    EXPECT_EQ(log.Count(code), 0u);
    EXPECT_EQ(log.Count(verifier), 0u);
  }

  // A cut connection is a transport error with libcurl's own code in the text.
  Fault drop;
  drop.path = kTokenPath;
  drop.drop = true;
  cloud_->QueueFault(drop);
  std::string message;
  EXPECT_EQ(CodeOf([&] { client_.ExchangeToken("c", "v", "https://x/cb"); }, &message),
            VEXOZEPH_ERR_NO_REPLY);
  EXPECT_NE(message.find("Failed to exchange token, reqcode=52, reqmsg="), std::string::npos)
      << message;
  EXPECT_FALSE(client_.HasTokenFile());
}

TEST_F(PkceClientAgainstCloud, RefusedOrUnusableRenewalAnswersKeepTheLapsedFile) {
  const int64_t t0 = 1700000000;
  Json::Value saved = SignIn(t0);
  const std::string refresh = saved["refresh_token"].asString();
  const std::string before = root_.ReadFile(kSessionTokenFile);
  clock::SetForTesting(t0 + saved["expires_in"].asInt64() + 1);

  struct Case {
    int status;
    std::string body;
    std::string type;
    int code;
    std::string message;
  };
  const std::string half =
      "{\"access_token\":\"fresh-access-0123456789\",\"refresh_token\":\"fresh-refresh-"
      "0123456789\","
      "\"expires_in\":3600}";
  const std::vector<Case> cases = {
      {400, "{\"error\":\"invalid_grant\"}", "application/json", VEXOZEPH_ERR_AUTH,
       "Failed to renew token, refresh_token is expired or revoked, code=400, "
       "resp={\"error\":\"invalid_grant\"}"},
      // The body is read before the status: an error page is not JSON.
      {502, "<html><body>Bad gateway</body></html>", "text/html", VEXOZEPH_ERR_BAD_JSON, ""},
      {200, half, "application/json", VEXOZEPH_ERR_TOKEN_STATE,
       "Failed to parse renew token resp, code=200"},
  };
  for (const Case &c : cases) {
    LogCapture log;
    AnswerToken(c.status, c.body, c.type);
    std::string message;
    EXPECT_EQ(CodeOf([&] { client_.GetAccessToken(); }, &message), c.code) << c.body;
    EXPECT_NE(message.find(c.message), std::string::npos) << message;
    EXPECT_EQ(root_.ReadFile(kSessionTokenFile), before) << c.body;
    if (c.body == half) {
      EXPECT_EQ(log.Count("Failed to RenewToken by [" + refresh.substr(0, 10) + "...], resp="), 1u);
      // Neither the spent refresh token nor the half answer's tokens are logged whole.
      EXPECT_EQ(log.Count(refresh), 0u);
      EXPECT_EQ(log.Count("fresh-access-0123456789"), 0u);
      EXPECT_EQ(message.find("fresh-refresh-0123456789"), std::string::npos) << message;
    }
  }
}

}  // namespace
}  // namespace testing
}  // namespace vexozeph
