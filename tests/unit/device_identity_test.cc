#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <cstring>
#include <functional>
#include <string>

#include "fakes/fake_platform.h"
#include "internal/request_token.h"
#include "support/log_capture.h"
#include "support/temp_root.h"
#include "support/zeph_code.h"
#include "vexozeph/tarn_service.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_account.h"
#include "vexozeph/zeph_exception.h"

namespace {

namespace fake = vexozeph::fake;
using vexozeph::testing::CodeOf;
using vexozeph::testing::LogCapture;

// Expected tokens computed outside the library (Python's hashlib) with the same rule:
// passes = first hex digit of md5(input) + 1; each pass x = md5(x + md5(x)).
struct KnownToken {
  const char *input;
  int passes;
  const char *token;
};
const KnownToken kKnownTokens[] = {
    {"SN0068", 1, "7a6c3cb062c9d90b09dfa7ec21f3bd3d"},   // digest begins with 0
    {"SN0000", 16, "25cc7d071c4ff264f0b16712af7d585e"},  // digest begins with f
    {"1234ABC", 15, "b4428fc8512da5f6f265f4c04087f33d"},
};

class DeviceIdentity : public ::testing::Test {
 protected:
  void SetUp() override { fake::Reset(); }
};

TEST_F(DeviceIdentity, TokenMatchesIndependentlyComputedValues) {
  for (const KnownToken &known : kKnownTokens) {
    EXPECT_EQ(vexozeph::RequestTokenPasses(known.input), known.passes) << known.input;
    char serial[256];
    std::snprintf(serial, sizeof(serial), "%s", known.input);
    char token[33] = {0};
    ASSERT_EQ(VEXOZEPHGenerateToken(nullptr, nullptr, serial, sizeof(serial), token, sizeof(token)),
              0);
    EXPECT_STREQ(token, known.token) << known.input;
  }
  // Serial, account and password are joined with nothing between them.
  char serial[256] = "1234ABC";
  char token[33] = {0};
  ASSERT_EQ(VEXOZEPHGenerateToken("user@example.com", "passw0rd", serial, sizeof(serial), token,
                                  sizeof(token)),
            0);
  EXPECT_STREQ(token, "16d2fd29d2e61b5a9f73b15694680e10");
  EXPECT_TRUE(fake::CallsTo("VLIBGetSerialNumber").empty()) << "a given serial is not re-read";
}

TEST_F(DeviceIdentity, LongInputsCountPassesOnTheWholeTextButHashOnlyItsFirst4095Characters) {
  // Computed outside the library: passes from md5 of the whole input, x cut to 4095.
  struct {
    std::string input;
    int passes;
    const char *token;
  } const cases[] = {
      {"SN" + std::string(4093, 'b'), 12, "105d9b251a9c5a4977c42eccfd2b77da"},  // fits exactly
      {"SN" + std::string(4094, 'c'), 16, "926b9fd7f82582510d5a1ca57f145852"},  // one over
      {"SN0068" + std::string(5000, 'a'), 3, "73c0a49fb7f1bb1affa8e612e97541da"},
  };
  for (const auto &known : cases) {
    std::string token;
    EXPECT_EQ(vexozeph::RequestTokenPasses(known.input.c_str()), known.passes);
    ASSERT_TRUE(vexozeph::RequestTokenFromInput(known.input.c_str(), token));
    EXPECT_EQ(token, known.token) << known.input.size() << " characters";
  }
}

TEST_F(DeviceIdentity, EmptySerialIsReadFromThePlatformAndWrittenBack) {
  fake::SetSerialNumber("SN0068");
  char serial[256] = "";
  char token[33] = {0};
  ASSERT_EQ(VEXOZEPHGenerateToken(nullptr, nullptr, serial, sizeof(serial), token, sizeof(token)),
            0);
  EXPECT_STREQ(serial, "SN0068");
  EXPECT_STREQ(token, "7a6c3cb062c9d90b09dfa7ec21f3bd3d");
}

TEST_F(DeviceIdentity, InvalidSerialsAreRefused) {
  LogCapture log;
  char serial[256] = "#1234";
  char token[33] = {0};
  EXPECT_EQ(VEXOZEPHGenerateToken(nullptr, nullptr, serial, sizeof(serial), token, sizeof(token)),
            -1);
  EXPECT_EQ(log.Count("Serial number is invalid: [#1234]"), 1u);
  EXPECT_TRUE(fake::CallsTo("VLIBGetSerialNumber").empty());

  // Only the first character is judged.
  fake::SetSerialNumber("A#$%");
  char buf[64];
  EXPECT_EQ(VEXOZEPHGetSerialNumber(buf, sizeof(buf)), 0);
  EXPECT_STREQ(buf, "A#$%");

  fake::SetSerialNumber("-123");
  EXPECT_EQ(VEXOZEPHGetSerialNumber(buf, sizeof(buf)), -1);
  fake::SetSerialNumber("");
  EXPECT_EQ(VEXOZEPHGetSerialNumber(buf, sizeof(buf)), -1);
  fake::FailNext("VLIBGetSerialNumber");
  EXPECT_EQ(VEXOZEPHGetSerialNumber(buf, sizeof(buf)), -1);
  EXPECT_EQ(log.Count("Failed to get serial number from flash."), 1u);
  EXPECT_EQ(VEXOZEPHGetSerialNumber(nullptr, 10), -1);

  // With an empty serial and an unreadable platform there is no token.
  fake::FailNext("VLIBGetSerialNumber");
  char empty[256] = "";
  EXPECT_EQ(VEXOZEPHGenerateToken(nullptr, nullptr, empty, sizeof(empty), token, sizeof(token)),
            -1);
}

TEST_F(DeviceIdentity, TokenFailsWhenABufferCannotHoldTheWholeResult) {
  LogCapture log;
  char serial[256] = "1234ABC";
  char token[33];
  // Too small for 32 digits and the NUL: nothing is written and the call fails.
  for (size_t size : {size_t{0}, size_t{8}, size_t{32}}) {
    std::memset(token, 'X', sizeof(token));
    EXPECT_EQ(VEXOZEPHGenerateToken(nullptr, nullptr, serial, sizeof(serial), token, size), -1)
        << size;
    EXPECT_EQ(token[0], 'X') << size;
  }
  EXPECT_EQ(log.Count("zeph_token_generation:"), 3u);
  EXPECT_EQ(log.Count("GenerateToken Failed, err=["), 3u);
  EXPECT_EQ(VEXOZEPHGenerateToken(nullptr, nullptr, serial, sizeof(serial), nullptr, 33), -1);

  // A serial read from the platform must fit the caller's buffer whole: a token over a
  // cut serial would not match the serial sent beside it.
  fake::SetSerialNumber("SN0068");
  log.Clear();
  char small[4] = "";
  EXPECT_EQ(VEXOZEPHGenerateToken(nullptr, nullptr, small, sizeof(small), token, 33), -1);
  EXPECT_EQ(log.Count("GenerateToken Failed, err=["), 1u);
  char exact[7] = "";
  ASSERT_EQ(VEXOZEPHGenerateToken(nullptr, nullptr, exact, sizeof(exact), token, 33), 0);
  EXPECT_STREQ(exact, "SN0068");
  EXPECT_STREQ(token, "7a6c3cb062c9d90b09dfa7ec21f3bd3d");
  char none[1] = "";
  EXPECT_EQ(VEXOZEPHGenerateToken(nullptr, nullptr, none, 0, token, 33), -1);

  // A given serial that does not end inside its buffer is refused, not read past.
  char unterminated[4] = {'S', 'N', '0', '0'};
  log.Clear();
  EXPECT_EQ(VEXOZEPHGenerateToken(nullptr, nullptr, unterminated, sizeof(unterminated), token, 33),
            -1);
  EXPECT_EQ(log.Count("GenerateToken Failed, err=["), 1u);
}

TEST_F(DeviceIdentity, TokenInputIsNeverLoggedWhole) {
  LogCapture log;
  // Without a digest (no provider offers MD5 under these properties) the failure line
  // names the input, which holds the password.
  ASSERT_EQ(EVP_set_default_properties(nullptr, "provider=no-such-provider"), 1);
  char serial[256] = "1234ABC";
  char token[33] = {0};
  int rc = VEXOZEPHGenerateToken("user@example.com", "Secret-Password-1", serial, sizeof(serial),
                                 token, sizeof(token));
  ASSERT_EQ(EVP_set_default_properties(nullptr, ""), 1);
  EXPECT_EQ(rc, -1);
  EXPECT_EQ(log.Count("Failed to get md5 string from \"1234ABCuse...\"."), 1u);
  EXPECT_EQ(log.Count("Secret-Password"), 0u);
  EXPECT_EQ(log.Count("GenerateToken Failed"), 1u);
  ASSERT_EQ(VEXOZEPHGenerateToken(nullptr, nullptr, serial, sizeof(serial), token, sizeof(token)),
            0)
      << "the digest is back";
}

TEST_F(DeviceIdentity, Md5StringNeedsThirtyTwoBytesAndTerminatesOnlyWhenThereIsRoom) {
  char out[40];
  std::memset(out, 'X', sizeof(out));
  EXPECT_EQ(ZephGetMd5String("abc", out, 31), -1);
  EXPECT_EQ(ZephGetMd5String(nullptr, out, 33), -1);
  EXPECT_EQ(ZephGetMd5String("abc", out, 32), 0);
  EXPECT_EQ(std::string(out, 32), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(out[32], 'X') << "must not write past the given size";
  EXPECT_EQ(ZephGetMd5String("abc", out, 33), 0);
  EXPECT_STREQ(out, "900150983cd24fb0d6963f7d28e17f72");
}

TEST_F(DeviceIdentity, UserAgentKeepsGoingWhenThePlatformFails) {
  char agent[256] = {0};
  EXPECT_EQ(VEXOZEPHUserAgentNameGet(nullptr, 10), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), 1);
  VEXOZEPHErrSet(0);
  EXPECT_EQ(VEXOZEPHUserAgentNameGet(agent, 0), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), 1);

  fake::SetUserAgent("vexo-agent/1.0");
  EXPECT_EQ(VEXOZEPHUserAgentNameGet(agent, sizeof(agent)), 0);
  EXPECT_STREQ(agent, "vexo-agent/1.0");

  LogCapture log;
  agent[0] = '\0';
  fake::FailNext("VLIBBxinfoUserAgentGet");
  EXPECT_EQ(VEXOZEPHUserAgentNameGet(agent, sizeof(agent)), 0);
  EXPECT_STREQ(agent, "");
  EXPECT_EQ(log.Count("VLIBBxinfoUserAgentGet failed, vexoerr="), 1u);
}

TEST_F(DeviceIdentity, TarnServiceThrowsTheDocumentedCodes) {
  vexozeph::TarnService tarn;
  fake::SetSerialNumber("1234ABC");
  fake::SetMacAddress("00:11:32:aa:bb:cc");
  fake::SetApiKey("key-1");
  fake::SetNewApiKey("key-2");
  EXPECT_EQ(tarn.GetSerialNo(), "1234ABC");
  EXPECT_EQ(tarn.GetMac(), "00:11:32:aa:bb:cc");
  EXPECT_EQ(tarn.GetApiKey(), "key-1");
  EXPECT_EQ(tarn.NewApiKey(), "key-2");

  fake::FailNext("VLIBGetSerialNumber");
  EXPECT_EQ(CodeOf([&] { tarn.GetSerialNo(); }), 8);
  fake::FailNext("VEXOBxinfoCloudServiceGetMacAddress");
  EXPECT_EQ(CodeOf([&] { tarn.GetMac(); }), 20);
  fake::FailNext("VEXOCloudServiceGetApiKey");
  fake::SetCloudServiceErrorCode(1);
  EXPECT_EQ(CodeOf([&] { tarn.GetApiKey(); }), 15);
  fake::FailNext("VEXOCloudServiceRegisterApiKey");
  fake::SetCloudServiceErrorCode(7);
  EXPECT_EQ(CodeOf([&] { tarn.NewApiKey(); }), 24);
  // The key is asked for with registration of a missing key allowed.
  auto calls = fake::CallsTo("VEXOCloudServiceGetApiKey");
  ASSERT_FALSE(calls.empty());
  EXPECT_EQ(calls.back().args.back(), "1");
}

TEST_F(DeviceIdentity, NotificationsCarryTheirVariablesInKeyOrder) {
  vexozeph::TarnService tarn;
  tarn.SendSysNotify("ZephPasswordChanged", {{"%ZEPH_ACCOUNT%", "a@b.c"}, {"%A%", "1"}});
  tarn.SendSysNotify("zeph_force_logout", {});
  auto sent = fake::Notifications();
  ASSERT_EQ(sent.size(), 2u);
  EXPECT_EQ(sent[0].tag, "ZephPasswordChanged");
  ASSERT_EQ(sent[0].variables.size(), 2u);
  EXPECT_EQ(sent[0].variables[0].first, "%A%");
  EXPECT_EQ(sent[0].variables[1].second, "a@b.c");
  EXPECT_EQ(sent[1].tag, "zeph_force_logout");
  EXPECT_TRUE(sent[1].variables.empty());

  LogCapture log;
  fake::FailNext("VEXOSysNotifySendNotifiction");
  tarn.SendSysNotify("x", {});
  EXPECT_EQ(log.Count("Failed to send notify by VEXOSysNotifySendNotifiction"), 1u);
}

}  // namespace

namespace {

TEST_F(DeviceIdentity, AnUnreadableFactIsLoggedUnderTheOperationThatAskedForIt) {
  vexozeph::testing::TempRoot root;
  root.WriteFile("/usr/vexo/etc/vexona-account/private/user.conf",
                 "zephIDSerial=\"2000001\"\nbx_auth_key=\"key\"\n");
  struct Case {
    const char *module;
    const char *failing;
    std::function<int()> call;
    const char *line;
  };
  auto tarn_call = [](std::string (vexozeph::TarnService::*get)() const) {
    // Nonzero only when the getter threw.
    return [get] { return CodeOf([get] { (vexozeph::TarnService().*get)(); }) > 0 ? 1 : 0; };
  };
  const char kSerialLine[] = "Failed to get serial number, err=[0x0005 ";
  const Case cases[] = {
      {"tarn_service", "VLIBGetSerialNumber", tarn_call(&vexozeph::TarnService::GetSerialNo),
       kSerialLine},
      {"tarn_service", "VEXOBxinfoCloudServiceGetMacAddress",
       tarn_call(&vexozeph::TarnService::GetMac), "Failed to get mac address"},
      {"zeph_account_register", "VLIBGetSerialNumber",
       [] { return VEXOZEPHAccountRegister("a@b.c", "pw", "Ann", false, false, false, nullptr); },
       kSerialLine},
      {"zeph_account_set_info", "VLIBGetSerialNumber",
       [] {
         return VEXOZEPHAccountSetInfo("Ann", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                       -1, -1, -1, nullptr);
       },
       kSerialLine},
      {"zeph_account_query_info", "VLIBGetSerialNumber",
       [] {
         Json::Value result;
         return VEXOZEPHAccountQueryInfo(result, true, true);
       },
       kSerialLine},
      {"zeph_account_login", "VLIBGetSerialNumber",
       [] {
         Json::Value response;
         return VEXOZEPHAccountLogin("a@b.c", "pw", response, false);
       },
       kSerialLine},
      {"zeph_account_login", "VEXOBxinfoCloudServiceGetMacAddress",
       [] {
         Json::Value response;
         return VEXOZEPHAccountLogin("a@b.c", "pw", response, false);
       },
       "Failed to get mac address"},
      {"zeph_token_generation", "VLIBGetSerialNumber",
       [] {
         char serial[36];
         return VEXOZEPHGetSerialNumber(serial, sizeof(serial));
       },
       "Failed to get serial number from flash. [0x0005 "},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(std::string(c.module) + " / " + c.failing);
    fake::Reset();
    LogCapture log;
    fake::FailNext(c.failing, 1, EIO);
    EXPECT_NE(c.call(), 0);
    EXPECT_EQ(log.Count(std::string(c.module) + ":"), log.Lines().size());
    EXPECT_EQ(log.Count(c.line), 1u);
  }
}

}  // namespace
