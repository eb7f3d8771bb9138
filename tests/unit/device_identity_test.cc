#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>

#include "base/request_token.h"
#include "fakes/fake_platform.h"
#include "support/log_capture.h"
#include "support/temp_root.h"
#include "support/zeph_code.h"
#include "vexozeph/tarn_service.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_account.h"

namespace {

namespace fake = vexozeph::fake;
using vexozeph::TarnService;
using vexozeph::testing::CodeOf;
using vexozeph::testing::LogCapture;

const char kSn0068Token[] = "7a6c3cb062c9d90b09dfa7ec21f3bd3d";

int GenerateToken(const char *account, const char *password, char *serial, size_t serial_size,
                  char *token, size_t token_size = 33) {
  return VEXOZEPHGenerateToken(account, password, serial, serial_size, token, token_size);
}

class DeviceIdentity : public ::testing::Test {
 protected:
  void SetUp() override { fake::Reset(); }
};

TEST_F(DeviceIdentity, TokenMatchesIndependentlyComputedValues) {
  // Computed outside the library (Python's hashlib): passes = first hex digit of the whole
  // input's md5 + 1; each pass x = md5(x + md5(x)), starting from the input cut to 4095.
  const struct {
    std::string input;
    int passes;
    const char *token;
  } known[] = {
      {"SN0068", 1, kSn0068Token},                         // digest 0...
      {"SN0000", 16, "25cc7d071c4ff264f0b16712af7d585e"},  // digest f...
      {"1234ABCuser@example.compassw0rd", 7, "16d2fd29d2e61b5a9f73b15694680e10"},
      {"SN" + std::string(4093, 'b'), 12, "105d9b251a9c5a4977c42eccfd2b77da"},  // fits exactly
      {"SN" + std::string(4094, 'c'), 16, "926b9fd7f82582510d5a1ca57f145852"},  // one over
      {"SN0068" + std::string(5000, 'a'), 3, "73c0a49fb7f1bb1affa8e612e97541da"},
  };
  for (const auto &k : known) {
    SCOPED_TRACE(k.input.size());
    std::string token;
    EXPECT_EQ(vexozeph::RequestTokenPasses(k.input.c_str()), k.passes);
    ASSERT_TRUE(vexozeph::RequestTokenFromInput(k.input.c_str(), token));
    EXPECT_EQ(token, k.token);
  }
  // Serial, account and password are joined with nothing between them; a given serial is
  // not re-read, an empty one is read from the platform and written back.
  char serial[256] = "1234ABC";
  char token[33] = {0};
  ASSERT_EQ(GenerateToken("user@example.com", "passw0rd", serial, sizeof(serial), token), 0);
  EXPECT_STREQ(token, known[2].token);
  EXPECT_TRUE(fake::CallsTo("VLIBGetSerialNumber").empty());
  fake::SetSerialNumber("SN0068");
  serial[0] = '\0';
  ASSERT_EQ(GenerateToken(nullptr, nullptr, serial, sizeof(serial), token), 0);
  EXPECT_STREQ(serial, "SN0068");
  EXPECT_STREQ(token, kSn0068Token);
}

TEST_F(DeviceIdentity, InvalidSerialsAreRefused) {
  LogCapture log;
  char serial[256] = "#1234";
  char token[33] = {0};
  EXPECT_EQ(GenerateToken(nullptr, nullptr, serial, sizeof(serial), token), -1);
  EXPECT_EQ(log.Count("Serial number is invalid: [#1234]"), 1u);
  EXPECT_TRUE(fake::CallsTo("VLIBGetSerialNumber").empty());

  // Only the first character is judged.
  char buf[64];
  const std::pair<const char *, int> serials[] = {{"A#$%", 0}, {"-123", -1}, {"", -1}};
  for (const auto &c : serials) {
    fake::SetSerialNumber(c.first);
    EXPECT_EQ(VEXOZEPHGetSerialNumber(buf, sizeof(buf)), c.second) << c.first;
  }
  EXPECT_EQ(VEXOZEPHGetSerialNumber(nullptr, 10), -1);
  fake::FailNext("VLIBGetSerialNumber");
  EXPECT_EQ(VEXOZEPHGetSerialNumber(buf, sizeof(buf)), -1);
  EXPECT_EQ(log.Count("Failed to get serial number from flash."), 1u);
  // With an empty serial and an unreadable platform there is no token.
  fake::FailNext("VLIBGetSerialNumber");
  char empty[256] = "";
  EXPECT_EQ(GenerateToken(nullptr, nullptr, empty, sizeof(empty), token), -1);
}

TEST_F(DeviceIdentity, TokenFailsWhenABufferCannotHoldTheWholeResult) {
  LogCapture log;
  char serial[256] = "1234ABC";
  char token[33];
  // Too small for 32 digits and the NUL: nothing is written and the call fails.
  for (size_t size : {size_t{0}, size_t{8}, size_t{32}}) {
    std::memset(token, 'X', sizeof(token));
    EXPECT_EQ(GenerateToken(nullptr, nullptr, serial, sizeof(serial), token, size), -1) << size;
    EXPECT_EQ(token[0], 'X') << size;
  }
  EXPECT_EQ(log.Count("zeph_token_generation:"), 3u);
  EXPECT_EQ(log.Count("GenerateToken Failed, err=["), 3u);
  EXPECT_EQ(GenerateToken(nullptr, nullptr, serial, sizeof(serial), nullptr), -1);

  // A serial read from the platform must fit the caller's buffer whole: a token over a
  // cut serial would not match the serial sent beside it. A given serial that does not end
  // inside its buffer is refused, not read past.
  fake::SetSerialNumber("SN0068");
  log.Clear();
  char small[4] = "";
  char no_room_for_nul[6] = "";
  char none[1] = "";
  char unterminated[4] = {'S', 'N', '0', '0'};
  EXPECT_EQ(GenerateToken(nullptr, nullptr, small, sizeof(small), token), -1);
  EXPECT_EQ(GenerateToken(nullptr, nullptr, no_room_for_nul, sizeof(no_room_for_nul), token), -1);
  EXPECT_EQ(GenerateToken(nullptr, nullptr, none, 0, token), -1);
  EXPECT_EQ(GenerateToken(nullptr, nullptr, unterminated, sizeof(unterminated), token), -1);
  EXPECT_EQ(log.Count("GenerateToken Failed, err=["), 4u);
  char exact[7] = "";
  ASSERT_EQ(GenerateToken(nullptr, nullptr, exact, sizeof(exact), token), 0);
  EXPECT_STREQ(exact, "SN0068");
  EXPECT_STREQ(token, kSn0068Token);
}

TEST_F(DeviceIdentity, TokenInputIsNeverLoggedWhole) {
  // MD5 is looked up once per process, so the failing lookup must be the process's first:
  // the case runs in a freshly started child (not a fork), whatever ran before it here.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        LogCapture log;
        // Without a digest (no provider offers MD5 under these properties) the failure
        // line names the input, which holds the password.
        EVP_set_default_properties(nullptr, "provider=no-such-provider");
        char serial[256] = "1234ABC";
        char token[33] = {0};
        const int rc =
            GenerateToken("user@example.com", "Secret-Password-1", serial, sizeof(serial), token);
        const bool shortened =
            rc == -1 && log.Count("Failed to get md5 string from \"1234ABCuse...\".") == 1 &&
            log.Count("Secret-Password") == 0 && log.Count("GenerateToken Failed") == 1;
        std::exit(shortened ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST_F(DeviceIdentity, Md5StringNeedsThirtyTwoBytesAndTerminatesOnlyWhenThereIsRoom) {
  char out[40];
  std::memset(out, 'X', sizeof(out));
  EXPECT_EQ(ZephGetMd5String("abc", out, 31), -1);
  EXPECT_EQ(ZephGetMd5String(nullptr, out, 33), -1);
  EXPECT_EQ(ZephGetMd5String("abc", out, 32), 0);
  EXPECT_EQ(std::string(out, 33), "900150983cd24fb0d6963f7d28e17f72X");
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

  LogCapture log;
  fake::SetUserAgent("vexo-agent/1.0");
  fake::FailNext("VLIBBxinfoUserAgentGet");
  EXPECT_EQ(VEXOZEPHUserAgentNameGet(agent, sizeof(agent)), 0);
  EXPECT_STREQ(agent, "");
  EXPECT_EQ(log.Count("VLIBBxinfoUserAgentGet failed, vexoerr="), 1u);
  EXPECT_EQ(VEXOZEPHUserAgentNameGet(agent, sizeof(agent)), 0);
  EXPECT_STREQ(agent, "vexo-agent/1.0");
}

TEST_F(DeviceIdentity, TarnServiceThrowsTheDocumentedCodes) {
  TarnService tarn;
  fake::SetNewApiKey("key-2");
  EXPECT_EQ(tarn.NewApiKey(), "key-2");
  const struct {
    const char *failing;
    int cloud_error;
    std::function<void()> call;
    int code;
  } cases[] = {
      {"VLIBGetSerialNumber", 0, [&] { tarn.GetSerialNo(); }, 8},
      {"VEXOBxinfoCloudServiceGetMacAddress", 0, [&] { tarn.GetMac(); }, 20},
      {"VEXOCloudServiceGetApiKey", 1, [&] { tarn.GetApiKey(); }, 15},
      {"VEXOCloudServiceRegisterApiKey", 7, [&] { tarn.NewApiKey(); }, 24},
  };
  for (const auto &c : cases) {
    fake::FailNext(c.failing);
    fake::SetCloudServiceErrorCode(c.cloud_error);
    EXPECT_EQ(CodeOf(c.call), c.code) << c.failing;
  }
  // The key is asked for with registration of a missing key allowed.
  auto calls = fake::CallsTo("VEXOCloudServiceGetApiKey");
  ASSERT_FALSE(calls.empty());
  EXPECT_EQ(calls.back().args.back(), "1");
}

TEST_F(DeviceIdentity, NotificationsCarryTheirVariablesInKeyOrder) {
  TarnService tarn;
  tarn.SendSysNotify("ZephPasswordChanged", {{"%ZEPH_ACCOUNT%", "a@b.c"}, {"%A%", "1"}});
  tarn.SendSysNotify("zeph_force_logout", {});
  auto sent = fake::Notifications();
  ASSERT_EQ(sent.size(), 2u);
  EXPECT_EQ(sent[0].tag, "ZephPasswordChanged");
  ASSERT_EQ(sent[0].variables.size(), 2u);
  EXPECT_EQ(sent[0].variables[0].first, "%A%");
  EXPECT_EQ(sent[0].variables[1].second, "a@b.c");
  EXPECT_TRUE(sent[1].variables.empty());

  LogCapture log;
  fake::FailNext("VEXOSysNotifySendNotifiction");
  tarn.SendSysNotify("x", {});
  EXPECT_EQ(log.Count("Failed to send notify by VEXOSysNotifySendNotifiction"), 1u);
}

TEST_F(DeviceIdentity, AnUnreadableFactIsLoggedUnderTheOperationThatAskedForIt) {
  vexozeph::testing::TempRoot root;
  root.WriteFile("/usr/vexo/etc/vexona-account/private/user.conf",
                 "zephIDSerial=\"2000001\"\nbx_auth_key=\"key\"\n");
  auto tarn_call = [](std::string (TarnService::*get)() const) {
    return [get] { return CodeOf([get] { (TarnService().*get)(); }) > 0 ? 1 : 0; };
  };
  Json::Value answer;
  char serial[36];
  auto login = [&] { return VEXOZEPHAccountLogin("a@b.c", "pw", answer, false); };
  const char kSerial[] = "VLIBGetSerialNumber";
  const char kMac[] = "VEXOBxinfoCloudServiceGetMacAddress";
  const char kSerialLine[] = "Failed to get serial number, err=[0x0005 ";
  const struct {
    const char *module;
    const char *failing;
    std::function<int()> call;
    const char *line;
  } cases[] = {
      {"tarn_service", kSerial, tarn_call(&TarnService::GetSerialNo), kSerialLine},
      {"tarn_service", kMac, tarn_call(&TarnService::GetMac), "Failed to get mac address"},
      {"zeph_account_register", kSerial,
       [] { return VEXOZEPHAccountRegister("a@b.c", "pw", "Ann", false, false, false, nullptr); },
       kSerialLine},
      {"zeph_account_set_info", kSerial,
       [] {
         return VEXOZEPHAccountSetInfo("Ann", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                       -1, -1, -1, nullptr);
       },
       kSerialLine},
      {"zeph_account_query_info", kSerial,
       [&] { return VEXOZEPHAccountQueryInfo(answer, true, true); }, kSerialLine},
      {"zeph_account_login", kSerial, login, kSerialLine},
      {"zeph_account_login", kMac, login, "Failed to get mac address"},
      {"zeph_token_generation", kSerial,
       [&] { return VEXOZEPHGetSerialNumber(serial, sizeof(serial)); },
       "Failed to get serial number from flash. [0x0005 "},
  };
  for (const auto &c : cases) {
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
