#include <gtest/gtest.h>
#include <json/json.h>
#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>

#include "internal/json_utils.h"
#include "pkce/pkce_client_impl.h"
#include "support/fake_appliance.h"
#include "support/log_capture.h"
#include "support/zeph_code.h"
#include "vexozeph/error_codes.h"
#include "vexozeph/pkce_client.h"

namespace {

namespace fake = vexozeph::fake;
namespace clock = vexozeph::clock;
using vexozeph::PkceClient;
using vexozeph::PkceClientImpl;
using vexozeph::testing::CodeOf;
using vexozeph::testing::LogCapture;

const char *const kTokenFile = vexozeph::testing::kSessionTokenFile;
const int64_t kSavedAt = 1700000000;

Json::Value TokenSet(const Json::Value &expires_in) {
  Json::Value token;
  token["access_token"] = "access-0123456789";
  token["id_token"] = "id-0123456789";
  token["refresh_token"] = "refresh-0123456789";
  token["expires_in"] = expires_in;
  token["token_type"] = "Bearer";
  return token;
}

class PkceTokenStore : public vexozeph::testing::FakeAppliance {
 protected:
  void SetUp() override {
    FakeAppliance::SetUp();
    // Any renewal attempt would fail in transport: nothing listens on the discard port.
    Json::Value config;
    config["client_id"] = "zeph-device";
    config["token_endpoint"] = "https://127.0.0.1:9/oauth2/token";
    client_.SetPkceConfig(config);
  }
  Json::Value File() const {
    Json::Value file;
    EXPECT_TRUE(vexozeph::json::FromFile(root_.Path(kTokenFile), file));
    return file;
  }

  PkceClientImpl client_{"tarn"};
};

TEST_F(PkceTokenStore, TokenIsValidThroughItsLastSecondAndLapsedOneSecondLater) {
  clock::SetForTesting(kSavedAt);
  Json::Value sent = TokenSet(3600);
  sent["created_at"] = 5;                    // the server's own idea of the time is not kept
  sent["refresh_token"] = "R1rrrr\x93rrrr";  // a stray byte, as the fuzzer found, kept as is
  sent["id_token"] = "caf\xc3\xa9";          // and proper UTF-8 beside it
  client_.SaveToken(sent);

  EXPECT_EQ(File()["created_at"].asInt64(), kSavedAt);
  EXPECT_EQ(client_.GetPkceTokenVal("refresh_token"), "R1rrrr\x93rrrr");
  struct stat info = {};
  ASSERT_EQ(::stat(root_.Path(kTokenFile).c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0600u);
  EXPECT_EQ(client_.GetExpiredAt(), kSavedAt + 3600);

  clock::SetForTesting(kSavedAt + 3600);
  EXPECT_FALSE(client_.IsTokenExpired());
  // No request at the last second: the endpoint is unreachable, yet the token comes back.
  EXPECT_EQ(client_.GetAccessToken(), "access-0123456789");
  EXPECT_EQ(client_.GetIdToken(), "caf\xc3\xa9");

  clock::SetForTesting(kSavedAt + 3601);
  EXPECT_TRUE(client_.IsTokenExpired());
  const std::string before = root_.ReadFile(kTokenFile);
  std::string message;
  EXPECT_EQ(CodeOf([&] { client_.GetAccessToken(); }, &message), VEXOZEPH_ERR_NO_REPLY);
  EXPECT_NE(message.find("Failed to renew token, reqcode="), std::string::npos) << message;
  EXPECT_EQ(root_.ReadFile(kTokenFile), before);
}

TEST_F(PkceTokenStore, ExpiryTimesAreWholeNumbersSummedWithoutOverflow) {
  clock::SetForTesting(kSavedAt);
  client_.SaveToken(TokenSet("3600"));
  EXPECT_EQ(client_.GetExpiredAt(), kSavedAt + 3600);
  EXPECT_EQ(client_.GetPkceTokenVal("expires_in"), "3600");
  EXPECT_EQ(client_.GetPkceTokenVal("created_at"), std::to_string(kSavedAt));

  for (const char *bad : {"3600.5", "", "12abc", " 3600", "99999999999999999999"}) {
    client_.SaveToken(TokenSet(bad));
    EXPECT_EQ(CodeOf([&] { client_.GetExpiredAt(); }), VEXOZEPH_ERR_BAD_JSON) << bad;
  }

  // Past the 32-bit range, and at the edge of the 64-bit one.
  root_.WriteFile(kTokenFile, "{\"created_at\": 4102444800, \"expires_in\": 3600}");
  EXPECT_EQ(client_.GetExpiredAt(), INT64_C(4102448400));
  root_.WriteFile(kTokenFile,
                  "{\"created_at\": 9223372036854775000, \"expires_in\": 9223372036854775000}");
  EXPECT_EQ(client_.GetExpiredAt(), INT64_MAX);
  EXPECT_FALSE(client_.IsTokenExpired());
  root_.WriteFile(kTokenFile, "{\"created_at\": 1, \"expires_in\": -9223372036854775807}");
  EXPECT_TRUE(client_.IsTokenExpired());
}

TEST_F(PkceTokenStore, MissingFilesMembersAndNonTextTokensAreReportedNotGuessed) {
  std::string message;
  EXPECT_FALSE(client_.HasTokenFile());
  EXPECT_EQ(CodeOf([&] { client_.GetAccessToken(); }, &message), VEXOZEPH_ERR_TOKEN_STATE);
  EXPECT_NE(message.find("Failed to find an existed token file"), std::string::npos);

  root_.WriteFile(kTokenFile, "");
  EXPECT_TRUE(client_.HasTokenFile());
  EXPECT_EQ(CodeOf([&] { client_.GetPkceTokenVal("access_token"); }), VEXOZEPH_ERR_BAD_JSON);

  root_.WriteFile(kTokenFile,
                  "{\"access_token\": \"a\", \"id_token\": 42, \"created_at\": 4102444800,"
                  " \"expires_in\": 60}");
  EXPECT_EQ(client_.GetAccessToken(), "a");
  EXPECT_EQ(CodeOf([&] { client_.GetPkceTokenVal("refresh_token"); }, &message),
            VEXOZEPH_ERR_TOKEN_STATE);
  EXPECT_NE(message.find("Failed to get key: refresh_token"), std::string::npos);
  // A token is text; a number in its place counts as missing.
  EXPECT_EQ(CodeOf([&] { client_.GetIdToken(); }, &message), VEXOZEPH_ERR_TOKEN_STATE);
  EXPECT_NE(message.find("Failed to get key: id_token"), std::string::npos);

  root_.WriteFile(kTokenFile, "[1, 2]");
  EXPECT_EQ(CodeOf([&] { client_.GetPkceTokenVal("access_token"); }), VEXOZEPH_ERR_TOKEN_STATE);
}

// The expiry decision and the token come from one read of the file, and nothing of it is
// kept: the next call sees whatever another writer left since.
TEST_F(PkceTokenStore, EachTokenReadJudgesAndAnswersFromTheFileAsItIsThen) {
  clock::SetForTesting(kSavedAt);
  client_.SaveToken(TokenSet(3600));
  EXPECT_EQ(client_.GetAccessToken(), "access-0123456789");

  Json::Value rotated = TokenSet(3600);
  rotated["access_token"] = "access-rotated";
  rotated["id_token"] = "id-rotated";
  rotated["created_at"] = Json::Int64(kSavedAt);
  ASSERT_TRUE(vexozeph::json::WriteFileAtomically(rotated, root_.Path(kTokenFile)));
  EXPECT_EQ(client_.GetAccessToken(), "access-rotated");
  EXPECT_EQ(client_.GetIdToken(), "id-rotated");

  // A token without its times is never handed out unjudged.
  std::string message;
  root_.WriteFile(kTokenFile, "{\"access_token\": \"a\", \"expires_in\": 60}");
  EXPECT_EQ(CodeOf([&] { client_.GetAccessToken(); }, &message), VEXOZEPH_ERR_TOKEN_STATE);
  EXPECT_NE(message.find("Failed to get key: created_at"), std::string::npos) << message;
  root_.WriteFile(kTokenFile, "{\"access_token\": \"a\", \"created_at\": 4102444800}");
  EXPECT_EQ(CodeOf([&] { client_.GetIdToken(); }, &message), VEXOZEPH_ERR_TOKEN_STATE);
  EXPECT_NE(message.find("Failed to get key: expires_in"), std::string::npos) << message;
  // A file that opens but cannot be read is unreadable JSON, not a missing file.
  ASSERT_EQ(std::remove(root_.Path(kTokenFile).c_str()), 0);
  ASSERT_EQ(::mkdir(root_.Path(kTokenFile).c_str(), 0700), 0);
  EXPECT_EQ(CodeOf([&] { client_.GetAccessToken(); }), VEXOZEPH_ERR_BAD_JSON);
}

TEST_F(PkceTokenStore, SaveIntoAMissingDirectoryFailsWithoutAFile) {
  PkceClientImpl lost("tarn");
  ASSERT_EQ(::rmdir(root_.Path("/usr/vexo/etc/vexona-account/private").c_str()), 0);
  LogCapture log;
  EXPECT_EQ(CodeOf([&] { lost.SaveToken(TokenSet(60)); }), VEXOZEPH_ERR_BAD_JSON);
  EXPECT_EQ(log.Count("Failed to save json: "), 1u);
  EXPECT_FALSE(lost.HasTokenFile());
}

TEST_F(PkceTokenStore, ClientNamesThatCouldLeaveTheDirectoryAreRefused) {
  for (const char *bad : {"", "../tarn", "a/b", ".hidden", "tarn token", "x\n"}) {
    EXPECT_EQ(CodeOf([&] { PkceClient client(bad); }), VEXOZEPH_ERR_BAD_PARAMETER) << bad;
  }
  PkceClient package("SurveillanceStation_2.x-1");
  EXPECT_FALSE(package.HasTokenFile());
}

TEST_F(PkceTokenStore, ConfigurationFillsTheDeviceIntoTheScopeAndJoinsHostsToPaths) {
  fake::SetSerialNumber("SN42");
  fake::SetMacAddress("00:11:32:aa:bb:cc");
  root_.WriteFile("/usr/vexo/etc/vexona-account/private/user.conf",
                  "account_host=\"https://acct.example\"\nidentity_host=\"https://id.example\"\n");
  Json::Value tmpl;
  tmpl["client_id"] = "zeph-device";
  tmpl["scope"] = "openid sn:$sn$ again:$sn$ mac:$mac$ $sn";
  tmpl["audience"] = "api";
  tmpl["token_endpoint_path"] = "/oauth2/token";
  tmpl["end_session_endpoint_path"] = 7;  // not text: read as ""
  tmpl["login_redirect_path"] = "/in";
  tmpl["logout_redirect_path"] = "/out";
  tmpl["extra"] = "dropped";

  Json::Value config = PkceClient("tarn").FormatPkceConfig(tmpl);
  Json::Value expected;
  expected["client_id"] = "zeph-device";
  expected["scope"] = "openid sn:SN42 again:SN42 mac:00:11:32:aa:bb:cc $sn";
  expected["audience"] = "api";
  expected["auth_endpoint"] = "https://id.example";
  expected["token_endpoint"] = "https://id.example/oauth2/token";
  expected["end_session_endpoint"] = "https://id.example";
  expected["login_redirect_uri"] = "https://acct.example/in";
  expected["logout_redirect_uri"] = "https://acct.example/out";
  EXPECT_EQ(config, expected) << config.toStyledString();

  // The device's identity is needed: its failure passes through with its own code.
  fake::FailNext("VEXOBxinfoCloudServiceGetMacAddress");
  EXPECT_EQ(CodeOf([&] { PkceClient("tarn").FormatPkceConfig(tmpl); }), VEXOZEPH_ERR_MAC);
}

}  // namespace
