// The account query when the server cannot be reached: recent profiles come from the
// file, stale ones fail without touching the file, and a failure never refreshes the
// cache.
#include <gtest/gtest.h>
#include <json/json.h>
#include <sys/stat.h>

#include <string>

#include "fakes/fake_platform.h"
#include "internal/clock.h"
#include "support/temp_root.h"
#include "vexozeph/user.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_account.h"

namespace {

namespace fake = vexozeph::fake;
using vexozeph::testing::TempRoot;

const char kAccountFile[] = "/usr/vexo/etc/vexona-account/private/user.conf";
const int64_t kNow = 1700000000;

class QueryWithoutServer : public ::testing::Test {
 protected:
  void SetUp() override {
    fake::Reset();
    vexozeph::clock::SetForTesting(kNow);
    root_.WriteFile(kAccountFile, "account_host=\"https://127.0.0.1:9\"\n");
    ::chmod(root_.Path(kAccountFile).c_str(), 0600);
    vexozeph::User user;
    user.SetUserId("2000001");
    user.SetAuthKey("key-1");
    user.SetEmail("ann@example.com");
    user.SetName("Ann Example");
    user.SetIsActivated(true);
    user.SetIsDisabled(false);
  }
  void TearDown() override {
    vexozeph::clock::ResetForTesting();
    fake::Reset();
  }

  TempRoot root_;
};

TEST_F(QueryWithoutServer, RecentProfilesComeFromTheFileAndFailuresKeepTheCacheStale) {
  vexozeph::User user;
  user.SetLastQueryTime(kNow - 10);
  Json::Value result;
  ASSERT_EQ(VEXOZEPHAccountQueryInfo(result, true, true), 0);
  EXPECT_EQ(VEXOZEPHErrGet(), 0);
  EXPECT_EQ(result["email"], "ann@example.com");
  EXPECT_EQ(result["full_name"], "Ann Example");
  EXPECT_EQ(result["auth_key"], "key-1");
  EXPECT_EQ(result["activated"], Json::Value(true));
  EXPECT_EQ(result["disabled"], Json::Value(false));
  EXPECT_EQ(result["country"], "");

  // Stale: the server is asked, cannot be reached, and nothing changes, so the next call
  // asks again instead of trusting a profile that was never refreshed.
  user.SetLastQueryTime(kNow - 300);
  const std::string before = root_.ReadFile(kAccountFile);
  Json::Value untouched("caller's value");
  for (int attempt = 0; attempt < 2; ++attempt) {
    EXPECT_EQ(VEXOZEPHAccountQueryInfo(untouched, true, true), -1);
    EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_SEND);
  }
  EXPECT_EQ(untouched, Json::Value("caller's value"));
  EXPECT_EQ(root_.ReadFile(kAccountFile), before);

  // The facts the request needs are checked before anything is sent.
  fake::FailNext("VLIBGetSerialNumber");
  EXPECT_EQ(VEXOZEPHAccountQueryInfo(result, true, true), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_SERIAL);
  fake::FailNext("VLIBCSzHashAlloc");
  EXPECT_EQ(VEXOZEPHAccountQueryInfo(result, true, true), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_SYSTEM);
}

TEST_F(QueryWithoutServer, WithoutAStoredIdentityThereIsNothingToAsk) {
  vexozeph::User().SetAuthKey("");
  vexozeph::User().SetLastQueryTime(kNow);
  Json::Value result;
  EXPECT_EQ(VEXOZEPHAccountQueryInfo(result, false, false), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_NO_ACCOUNT);
  EXPECT_TRUE(fake::CallsTo("VLIBGetSerialNumber").empty());
}

}  // namespace
