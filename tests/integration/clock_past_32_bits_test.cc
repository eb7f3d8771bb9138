// The device's times on a clock past the 32-bit ranges: signed in an hour before 2038's
// wrap (so its token lapses after it), in 2040, and in 2106, past the unsigned range too.
// Every stored time keeps all its bits and every cache and expiry edge falls on the same
// second as it does today, on 64-bit and 32-bit targets alike.
#include <gtest/gtest.h>
#include <json/json.h>

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>

#include "base/clock.h"
#include "internal/json_utils.h"
#include "support/account_appliance.h"
#include "support/browser_sign_in.h"
#include "support/cloud_steps.h"
#include "vexozeph/account_pkce_service.h"
#include "vexozeph/package_pkce_client.h"
#include "vexozeph/user.h"
#include "vexozeph/vexozeph.h"

namespace vexozeph {
namespace testing {
namespace {

struct Instant {
  const char *name;
  int64_t seconds;
};
void PrintTo(const Instant &instant, std::ostream *out) {
  *out << instant.name;
}

class ClockPast32Bits : public AccountAppliance, public ::testing::WithParamInterface<Instant> {
 protected:
  size_t ConfigRequests() {
    return Requests("/oauth2/api/v1/device/package/config/pkce/client").size();
  }
};

TEST_P(ClockPast32Bits, StoredTimesKeepEveryBitAndEachEdgeFallsOnItsSecond) {
  const int64_t t = GetParam().seconds;
  clock::SetForTesting(t);
  const Account owner = MakeAccount("far@example.com");
  AccountPkceService().Login(
      SignInWithBrowser(*cloud_, AccountPkceService().GetLoginPkceConfig(), owner));

  // The save time, in the token file and in the account file's text and reading.
  const Json::Value tokens = JsonFileIn(root_, kSessionTokenFile);
  EXPECT_EQ(tokens["created_at"].asInt64(), t);
  EXPECT_NE(AccountFile().find("last_query_time=\"" + std::to_string(t) + "\"\n"),
            std::string::npos)
      << AccountFile();
  EXPECT_EQ(User().GetLastQueryTime(), t);
  // The C record's field is 32 bits wide by its layout: it holds the low half.
  std::unique_ptr<ZEPH_INFO> info(new ZEPH_INFO());
  ASSERT_EQ(VEXOZEPHAccountGet(info.get()), 0);
  EXPECT_EQ(info->last_query_time, static_cast<int32_t>(static_cast<uint32_t>(t)));

  // The query cache: 299 seconds on is recent, 300 is not.
  cloud_->ClearRequests();
  Json::Value profile;
  clock::SetForTesting(t + 299);
  ASSERT_EQ(VEXOZEPHAccountQueryInfo(profile, true, true), 0);
  EXPECT_TRUE(Requests(kQueryPath).empty());
  clock::SetForTesting(t + 300);
  ASSERT_EQ(VEXOZEPHAccountQueryInfo(profile, true, true), 0);
  EXPECT_EQ(Requests(kQueryPath).size(), 1u);
  EXPECT_EQ(User().GetLastQueryTime(), t + 300);

  // The session token: good through its last second, renewed one second later.
  const std::string first_token = json::StringOr(tokens, "access_token");
  const int64_t expires_at = t + tokens["expires_in"].asInt64();
  clock::SetForTesting(expires_at);
  EXPECT_EQ(AccountPkceService().GetAccessToken(), first_token);
  EXPECT_TRUE(TokenRequests(*cloud_, "refresh_token").empty());
  const int64_t renewed_at = expires_at + 1;
  clock::SetForTesting(renewed_at);
  EXPECT_NE(AccountPkceService().GetAccessToken(), first_token);
  EXPECT_EQ(TokenRequests(*cloud_, "refresh_token").size(), 1u);
  EXPECT_EQ(JsonFileIn(root_, kSessionTokenFile)["created_at"].asInt64(), renewed_at);

  // A package: its grant's "state" is the clock's second; its configuration serves
  // 108000 seconds and is fetched again one second later.
  PackagePkceClient("vigilon").GetAccessToken();
  const auto grants = Requests("/oauth2/api/v1/device/package/authorization_code/grant");
  ASSERT_EQ(grants.size(), 1u);
  EXPECT_EQ(grants[0].FormValue("state"), std::to_string(renewed_at));
  clock::SetForTesting(renewed_at + 108000);
  PackagePkceClient at_edge("vigilon");
  EXPECT_EQ(ConfigRequests(), 1u);
  clock::SetForTesting(renewed_at + 108001);
  PackagePkceClient past_edge("vigilon");
  EXPECT_EQ(ConfigRequests(), 2u);
  EXPECT_EQ(JsonFileIn(root_, "/tmp/account_vigilon_pkce_client.conf")["created_at"].asInt64(),
            renewed_at + 108001);
}

INSTANTIATE_TEST_SUITE_P(
    , ClockPast32Bits,
    ::testing::Values(Instant{"AnHourBefore2038Wraps", INT64_C(2147483647) - 3600},
                      Instant{"In2040", INT64_C(2208988800)},
                      Instant{"In2106", INT64_C(4300000000)}),
    [](const ::testing::TestParamInfo<Instant> &info) { return std::string(info.param.name); });

}  // namespace
}  // namespace testing
}  // namespace vexozeph
