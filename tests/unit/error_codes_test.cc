#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <string>

#include "fakes/fake_platform.h"
#include "internal/error_state.h"
#include "vexozeph/vexozeph.h"

namespace {

TEST(ErrorCodes, MessagesKeepTheirOwnTextsOnlyForTheDocumentedCodes) {
  EXPECT_STREQ(GetZephErrorMsg(0), "Success");
  EXPECT_STREQ(GetZephErrorMsg(1), "Wrong parameters");
  EXPECT_STREQ(GetZephErrorMsg(2), "Wrong JSON format");
  EXPECT_STREQ(GetZephErrorMsg(3), "Failed to get zeph account");
  EXPECT_STREQ(GetZephErrorMsg(4), "Failed to send the request");
  EXPECT_STREQ(GetZephErrorMsg(5), "Failed to get the response");
  EXPECT_STREQ(GetZephErrorMsg(7), "Failed to get the payment config (url)");
  EXPECT_STREQ(GetZephErrorMsg(14), "Failed to auth");
  for (unsigned int code : {6u, 8u, 9u, 10u, 11u, 12u, 13u, 15u, 21u, 27u, 28u, UINT_MAX}) {
    EXPECT_STREQ(GetZephErrorMsg(code), "System error") << code;
  }
}

TEST(ErrorCodes, ResultWordsMatchByPrefixInTableOrder) {
  struct Case {
    const char *word;
    unsigned int code;
  } cases[] = {
      {"good", 0},          {"goodbye", 0},
      {"badparam", 1},      {"badauth", 14},
      {"badauth\n", 14},    {"badsys", 6},
      {"badnetwork", 15},   {"account_inused", 16},
      {"serial_exceed_max_account_register", 17},
      {"account_unverified", 18},
      {"account_userid", 0}, {"account_userid=12345", 0},
      {"account_user", 24}, {"account_not_found", 25},
      {"apikey_not_found", 26}, {"apikey_expired", 27},
      {"apikey_expiredXYZ", 27}, {"", 24},
      {"bad", 24},          {"GOOD", 24},
      {" good", 24},
  };
  for (const Case &c : cases) EXPECT_EQ(GetErrorCodeFromAccountError(c.word), c.code) << c.word;
  EXPECT_EQ(GetErrorCodeFromAccountError(nullptr), 24u);
}

TEST(ErrorCodes, LastErrorIsSetByMappingButNotByLookup) {
  EXPECT_EQ(VEXOZEPHErrSet(17), 17u);
  EXPECT_EQ(VEXOZEPHErrGet(), 17);
  GetErrorCodeFromAccountError("badauth");
  EXPECT_EQ(VEXOZEPHErrGet(), 17);
  EXPECT_EQ(MapLibZephCenterErrorCode("account_not_found"), 25u);
  EXPECT_EQ(VEXOZEPHErrGet(), 25);
  EXPECT_EQ(MapLibZephCenterErrorCode("good"), 0u);
  EXPECT_EQ(VEXOZEPHErrGet(), 0);
}

TEST(ErrorCodes, PrintErrCodeWritesOnlyNonZeroCodes) {
  ::testing::internal::CaptureStderr();
  printErrCode(0);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  ::testing::internal::CaptureStderr();
  printErrCode(14);
  printErrCode(26);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Failed to auth\nSystem error\n");
}

TEST(ErrorCodes, CloudServiceErrorsMapToNetworkOrUnknown) {
  vexozeph::fake::Reset();
  vexozeph::fake::SetCloudServiceErrorCode(0);
  EXPECT_EQ(vexozeph::GetErrorCodeFromCloudService(), 0u);
  vexozeph::fake::SetCloudServiceErrorCode(1);
  EXPECT_EQ(vexozeph::GetErrorCodeFromCloudService(), 15u);
  vexozeph::fake::SetCloudServiceErrorCode(2);
  EXPECT_EQ(vexozeph::GetErrorCodeFromCloudService(), 24u);
  vexozeph::fake::SetCloudServiceErrorCode(-1);
  EXPECT_EQ(vexozeph::GetErrorCodeFromCloudService(), 24u);
}

}  // namespace
