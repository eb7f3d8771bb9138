// The monitoring service's grant against the cloud emulator: the code comes back inside
// the monitoring side's own redirect address, asked for with the "vigilon" package's
// token, and answers without a code are refused.
#include <gtest/gtest.h>
#include <json/json.h>

#include <string>
#include <vector>

#include "internal/json_utils.h"
#include "support/cloud_steps.h"
#include "support/signed_in_appliance.h"
#include "support/zeph_code.h"
#include "vexozeph/account_vigilon_service.h"
#include "vexozeph/error_codes.h"
#include "vexozeph/tarn_service.h"

namespace vexozeph {
namespace testing {
namespace {

const char kGrantPath[] = "/oauth2/api/v1/device/vigilon/authorization_code/grant";
const char kClient[] = "vigilon-cloud";
const char kScope[] = "monitor events:read";
const char kRedirect[] = "https://monitor.example/cb?tenant=7";
const char kState[] = "st ate/1";
// The query the result adds: each value percent-encoded, a space as %20.
const char kAddedQuery[] = "?scope=monitor%20events%3Aread&state=st%20ate%2F1&code";

class MonitoringGrant : public SignedInAppliance {
 protected:
  std::string Grant() const {
    return AccountVigilonService().Grant(kClient, kScope, kRedirect, kState);
  }

  void AnswerGrant(int status, const std::string &body) {
    ForceAnswer(*cloud_, "account", kGrantPath, status, body);
  }
};

TEST_F(MonitoringGrant, TheCodeComesBackInsideTheRedirectAddressAfterASecondQuestionMark) {
  const std::string result = Grant();
  const std::string prefix = std::string(kRedirect) + kAddedQuery + "=";
  ASSERT_EQ(result.rfind(prefix, 0), 0u) << result;
  const std::string code = result.substr(prefix.size());
  EXPECT_FALSE(code.empty());

  // Asked for with the package's own token; the scope is one whole "scopes[]" value.
  const std::vector<LoggedRequest> grants = Requests(kGrantPath);
  ASSERT_EQ(grants.size(), 1u);
  EXPECT_TRUE(SentAs(
      grants[0], kGrantPath,
      {"client_id", kClient, "redirect_url", kRedirect, "state", kState, "scopes[]", kScope}));
  EXPECT_EQ(grants[0].Header("X-Client-ID"), kClient);
  EXPECT_EQ(grants[0].Header("User-Agent"), TarnService().GetUserAgent());
  const std::string package_token = json::StringOr(JsonFile(kPackageTokenFile), "access_token");
  EXPECT_EQ(grants[0].Header("Authorization"), "Bearer " + package_token);
  EXPECT_NE(package_token, SessionToken());

  // The account host issued exactly that code, for the monitoring client, without PKCE.
  bool issued = false;
  const Json::Value state = cloud_->State();
  for (const Json::Value &entry : state["codes"]) {
    if (entry["code"].asString() != code) continue;
    issued = true;
    EXPECT_EQ(entry["client_id"].asString(), kClient);
    EXPECT_EQ(entry["scope"].asString(), kScope);
    EXPECT_EQ(entry["redirect_uri"].asString(), kRedirect);
    EXPECT_EQ(entry["challenge"].asString(), "");
  }
  EXPECT_TRUE(issued) << code;
}

TEST_F(MonitoringGrant, AnEmptyCodeIsHandedOnAndARefusalOrLostAnswerIsThrown) {
  AnswerGrant(200, "{\"grant_code\":\"\",\"state\":\"x\"}");
  EXPECT_EQ(Grant(), std::string(kRedirect) + kAddedQuery);

  // A null code is no empty one. Bodies without a code, or with an array in its place, are
  // the hostile server's table.
  AnswerGrant(200, "{\"grant_code\":null}");
  std::string message;
  EXPECT_EQ(CodeOf([&] { Grant(); }, &message), VEXOZEPH_ERR_NO_REPLY);
  EXPECT_NE(message.find("Failed to parse vigilon grant resp"), std::string::npos) << message;
  AnswerGrant(403, "{\"error\":\"insufficient_scope\"}");
  EXPECT_EQ(CodeOf([&] { Grant(); }, &message), VEXOZEPH_ERR_NO_REPLY);
  EXPECT_NE(
      message.find("Failed to grant vigilon, code=403, resp={\"error\":\"insufficient_scope\"}"),
      std::string::npos)
      << message;

  // A transport failure names the transport's own code and message.
  Fault dropped;
  dropped.path = kGrantPath;
  dropped.origin = "account";
  dropped.drop = true;
  cloud_->QueueFault(dropped);
  EXPECT_EQ(CodeOf([&] { Grant(); }, &message), VEXOZEPH_ERR_NO_REPLY);
  EXPECT_NE(message.find("Failed to grant vigilon, reqcode="), std::string::npos) << message;
}

}  // namespace
}  // namespace testing
}  // namespace vexozeph
