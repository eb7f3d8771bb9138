// The generic-Linux host services: notifications and events, the cloud-service action
// and device token, time zones, the PKCE pair and the package-store account reader.
#include <gtest/gtest.h>
#include <json/json.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "base/clock.h"
#include "support/appliance_files.h"
#include "support/cloud_steps.h"
#include "support/pkce_digest.h"
#include "support/temp_root.h"
#include "text_file.h"
#include "tzif_zone.h"
#include "vexo_platform/platform.h"

namespace {

using vexo_platform::ZoneState;
using vexo_platform::ZoneStateAt;
using vexozeph::testing::JsonLines;
using vexozeph::testing::TempRoot;

TEST(PlatformHostServices, NotificationsAndEventsAreOneJsonLineEach) {
  TempRoot root;
  vexozeph::clock::SetForTesting(1700000000);
  PVLIBSZHASH variables = VLIBCSzHashAlloc(4);
  ASSERT_EQ(VLIBCSzHashSetValue(&variables, "%EMAIL%", "a@b.c"), 0);
  ASSERT_EQ(VLIBCSzHashSetValue(&variables, "%LINK%", "line\nbreak\"quote"), 0);
  EXPECT_GE(VEXOSysNotifySendNotifiction("zeph_force_logout", variables), 0);
  EXPECT_GE(VEXOSysNotifySendNotifiction("zeph_deletion_logout", nullptr), 0);
  EXPECT_LT(VEXOSysNotifySendNotifiction(nullptr, variables), 0);
  VLIBCSzHashFree(variables);

  auto sent = JsonLines(root.ReadFile(vexozeph::testing::kNotifications));
  ASSERT_EQ(sent.size(), 2u);
  EXPECT_EQ(sent[0]["time"].asInt64(), 1700000000);
  EXPECT_EQ(sent[0]["tag"].asString(), "zeph_force_logout");
  EXPECT_EQ(sent[0]["variables"]["%LINK%"].asString(), "line\nbreak\"quote");
  EXPECT_EQ(sent[1]["variables"], Json::Value(Json::objectValue));

  EXPECT_EQ(VEXOLogSet1(1, 2, 0x13A00001, "a@b.c", "", nullptr, ""), 0);
  auto events = JsonLines(root.ReadFile(vexozeph::testing::kEventLog));
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0]["event"].asString(), "0x13A00001");
  EXPECT_EQ(events[0]["args"][0].asString(), "a@b.c");
  EXPECT_EQ(events[0]["args"].size(), 4u);
  vexozeph::clock::ResetForTesting();
}

TEST(PlatformHostServices, DeviceTokenFollowsTheApiKeyAndTheExpiredKeyActionRenewsIt) {
  TempRoot root;
  char token[33] = {0};
  auto device_token = [&](const char *serial) {
    EXPECT_EQ(VEXOCloudServiceBxtokenGenerateToken(serial, token, sizeof(token)), 0) << serial;
    return std::string(token);
  };
  const std::string first = device_token("SERIAL1");
  EXPECT_EQ(first.size(), 32u);
  EXPECT_EQ(first.find_first_not_of("0123456789abcdef"), std::string::npos);
  EXPECT_EQ(device_token("SERIAL1"), first) << "stable while the key stays";
  EXPECT_NE(device_token("SERIAL2"), first);

  char key[1024] = {0};
  ASSERT_EQ(VEXOCloudServiceGetApiKey(key, sizeof(key), 0), 0);
  const std::string old_key = key;
  EXPECT_EQ(VEXOCloudServiceActionHandler(VEXO_CLOUD_SERVICE_ACTION_RENEW_APIKEY), 0);
  ASSERT_EQ(VEXOCloudServiceGetApiKey(key, sizeof(key), 0), 0);
  EXPECT_NE(old_key, key);
  EXPECT_NE(device_token("SERIAL1"), first);

  EXPECT_EQ(VEXOCloudServiceActionHandler(7), 0);
  ASSERT_EQ(VEXOCloudServiceGetApiKey(key, sizeof(key), 0), 0);
  char small[32];
  EXPECT_LT(VEXOCloudServiceBxtokenGenerateToken("SERIAL1", small, sizeof(small)), 0);
  EXPECT_EQ(VEXOCloudServiceGetErrorCode(), VEXO_CLOUD_SERVICE_ERR_OTHER);
}

TEST(PlatformHostServices, ZoneComesFromTheRootsSettingAndIsCheckedAgainstTheDatabase) {
  TempRoot root;
  char zone[256] = {0};
  int needed = 0;
  ASSERT_EQ(VEXOZoneGet(zone, sizeof(zone), &needed), 0);
  EXPECT_STREQ(zone, "UTC") << "nothing configured";

  ASSERT_EQ(
      0, symlink("/usr/share/zoneinfo/posix/Europe/Berlin", root.Path("/etc/localtime").c_str()));
  ASSERT_EQ(VEXOZoneGet(zone, sizeof(zone), &needed), 0);
  EXPECT_STREQ(zone, "Europe/Berlin");

  root.WriteFile("/etc/timezone", "Asia/Taipei\n");
  ASSERT_EQ(VEXOZoneGet(zone, sizeof(zone), &needed), 0);
  EXPECT_STREQ(zone, "Asia/Taipei");
  EXPECT_EQ(needed, 12);
  char small[11];
  EXPECT_LT(VEXOZoneGet(small, sizeof(small), &needed), 0);
  EXPECT_EQ(needed, 12);

  if (access("/usr/share/zoneinfo/Asia/Taipei", R_OK) != 0 && getenv("TZDIR") == nullptr) {
    GTEST_SKIP() << "no time-zone database on this host";
  }
  PVLIBSZHASH info = VLIBCSzHashAlloc(8);
  EXPECT_EQ(VEXOZoneGetInfo("Asia/Taipei", &info), 4);
  EXPECT_STREQ(VLIBCSzHashGetValue(info, "nameInTZDB"), "Asia/Taipei");
  EXPECT_STREQ(VLIBCSzHashGetValue(info, "offset"), "+08:00");  // no daylight saving there
  EXPECT_STREQ(VLIBCSzHashGetValue(info, "dst"), "no");
  for (const char *bad :
       {"../../etc/passwd", "/etc/passwd", "Nowhere/City", "Europe", "Asia/Tai pei"}) {
    EXPECT_LE(VEXOZoneGetInfo(bad, &info), 0) << bad;
  }
  VLIBCSzHashFree(info);
  EXPECT_EQ(getenv("TZ"), nullptr) << "the process's own TZ is left as it was";
}

ZoneState FromCLibrary(const std::string &zone, int64_t when) {
  setenv("TZ", (":" + zone).c_str(), 1);
  tzset();
  const time_t at = static_cast<time_t>(when);
  struct tm local = {};
  localtime_r(&at, &local);
  unsetenv("TZ");
  tzset();
  ZoneState state;
  state.offset = local.tm_gmtoff;
  state.abbreviation = local.tm_zone;
  state.dst = local.tm_isdst > 0;
  return state;
}

// The zone file reader agrees with the C library, which this test alone may switch TZ for:
// zones north and south of the equator, with odd offsets, negative or no daylight saving,
// at instants before, between and after the compiled transitions, and one second either
// side of a change.
TEST(TzifZone, OffsetAbbreviationAndDaylightSavingMatchTheCLibraryAcrossZonesAndYears) {
  const char *zones[] = {"Europe/Berlin",     "America/New_York", "Australia/Sydney",
                         "Asia/Taipei",       "Asia/Kolkata",     "Pacific/Chatham",
                         "America/St_Johns",  "Europe/Dublin",    "Africa/Casablanca",
                         "America/Sao_Paulo", "Asia/Dubai",       "Antarctica/Troll"};
  // 1960, 1995, 2026 (summer and winter), 2040 and 2100 (past most files' transitions),
  // and one second either side of Berlin's change on 2031-03-30 01:00 UTC.
  const int64_t instants[] = {-315619200, 800000000,  1780000000, 1795000000,
                              2218000000, 4102444800, 1932598799, 1932598800};
  int compared = 0;
  for (const char *zone : zones) {
    std::string data;
    if (!vexo_platform::ReadTextFile(std::string("/usr/share/zoneinfo/") + zone, data, 1 << 20)) {
      continue;
    }
    for (int64_t when : instants) {
      ZoneState mine;
      ASSERT_TRUE(ZoneStateAt(data, when, mine)) << zone;
      const ZoneState expected = FromCLibrary(zone, when);
      EXPECT_EQ(mine.offset, expected.offset) << zone << " at " << when;
      EXPECT_EQ(mine.abbreviation, expected.abbreviation) << zone << " at " << when;
      EXPECT_EQ(mine.dst, expected.dst) << zone << " at " << when;
      ++compared;
    }
  }
  if (compared == 0) GTEST_SKIP() << "no time-zone database on this host";

  for (const std::string &junk :
       {std::string(), std::string("TZif"), std::string("TZif2") + std::string(200, '\xff')}) {
    ZoneState state;
    EXPECT_FALSE(ZoneStateAt(junk, 0, state)) << junk.size();
  }
}

TEST(PlatformHostServices, PkcePairVerifiesAndIsFreshEachTime) {
  char challenge[44];
  char verifier[44];
  ASSERT_EQ(
      vexo_challenge_verifier_no_save(challenge, sizeof(challenge), verifier, sizeof(verifier)), 0);
  EXPECT_EQ(std::strlen(verifier), 43u);
  EXPECT_EQ(std::string(verifier).find_first_not_of(
                "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~"),
            std::string::npos);
  EXPECT_EQ(challenge, vexozeph::testing::S256Challenge(verifier));

  const std::string first = verifier;
  ASSERT_EQ(vexo_challenge_verifier_no_save(challenge, sizeof(challenge), verifier, 44), 0);
  EXPECT_NE(first, verifier);
  EXPECT_LT(vexo_challenge_verifier_no_save(challenge, sizeof(challenge), verifier, 43), 0);
}

TEST(PlatformHostServices, PaymentAccountIsTheStoredZephIdOnly) {
  TempRoot root;
  char record[64];
  EXPECT_LT(VEXOPaymentZephAccountGet(record, sizeof(record)), 0);
  root.WriteFile("/usr/vexo/etc/vexona-account/private/user.conf",
                 "zephIDSerial=\"777\"\nzephID=\"\"\n");
  EXPECT_LT(VEXOPaymentZephAccountGet(record, sizeof(record)), 0) << "empty means signed out";
  root.WriteFile("/usr/vexo/etc/vexona-account/private/user.conf",
                 "zephIDSerial=\"777\"\nzephID=\"owner@example.com\"\n");
  std::memset(record, 'X', sizeof(record));
  ASSERT_EQ(VEXOPaymentZephAccountGet(record, sizeof(record)), 0);
  EXPECT_STREQ(record, "owner@example.com");
  EXPECT_EQ(record[sizeof(record) - 1], '\0') << "the rest of the record is cleared";
  EXPECT_LT(VEXOPaymentZephAccountGet(record, 17), 0);
}

}  // namespace
