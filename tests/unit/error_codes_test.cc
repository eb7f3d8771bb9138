#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "core/error_state.h"
#include "fakes/fake_platform.h"
#include "vexozeph/vexozeph.h"

namespace {

// Only the documented codes have texts of their own; printing skips success.
TEST(ErrorCodes, UndocumentedCodesReadAsSystemErrorAndSuccessIsNeverPrinted) {
  for (unsigned int code : {6u, 8u, 9u, 10u, 11u, 12u, 13u, 15u, 21u, 27u, 28u, UINT_MAX}) {
    EXPECT_STREQ(GetZephErrorMsg(code), "System error") << code;
  }
  ::testing::internal::CaptureStderr();
  printErrCode(0);
  printErrCode(14);
  printErrCode(26);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Failed to auth\nSystem error\n");
}

TEST(ErrorCodes, ResultWordsMatchByPrefixInTableOrder) {
  const struct {
    unsigned int code;
    std::vector<const char *> words;
  } cases[] = {
      {0, {"good", "goodbye", "account_userid", "account_userid=12345"}},
      {1, {"badparam"}},
      {6, {"badsys"}},
      {14, {"badauth", "badauth\n"}},
      {15, {"badnetwork"}},
      {16, {"account_inused"}},
      {17, {"serial_exceed_max_account_register"}},
      {18, {"account_unverified"}},
      {24, {"account_user", "", "bad", "GOOD", " good"}},
      {25, {"account_not_found"}},
      {26, {"apikey_not_found"}},
      {27, {"apikey_expired", "apikey_expiredXYZ"}},
  };
  for (const auto &c : cases) {
    for (const char *word : c.words) EXPECT_EQ(GetErrorCodeFromAccountError(word), c.code) << word;
  }
  EXPECT_EQ(GetErrorCodeFromAccountError(nullptr), 24u);
}

TEST(ErrorCodes, LastErrorIsSetByMappingButNotByLookup) {
  EXPECT_EQ(VEXOZEPHErrSet(17), 17u);
  GetErrorCodeFromAccountError("badauth");
  EXPECT_EQ(VEXOZEPHErrGet(), 17);
  EXPECT_EQ(MapLibZephCenterErrorCode("account_not_found"), 25u);
  EXPECT_EQ(VEXOZEPHErrGet(), 25);
  EXPECT_EQ(MapLibZephCenterErrorCode("good"), 0u);
  EXPECT_EQ(VEXOZEPHErrGet(), 0);
}

TEST(ErrorCodes, CloudServiceErrorsMapToNetworkOrUnknown) {
  vexozeph::fake::Reset();
  const std::pair<int, unsigned int> cases[] = {{0, 0}, {1, 15}, {2, 24}, {-1, 24}};
  for (const auto &c : cases) {
    vexozeph::fake::SetCloudServiceErrorCode(c.first);
    EXPECT_EQ(vexozeph::GetErrorCodeFromCloudService(), c.second) << c.first;
  }
}

}  // namespace
