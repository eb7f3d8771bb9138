// The generic-Linux host services: notifications and events, the cloud-service action
// and device token, time zones, the PKCE pair and the package-store account reader.
#include <gtest/gtest.h>
#include <json/json.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "internal/clock.h"
#include "support/cloud_steps.h"
#include "support/pkce_digest.h"
#include "support/temp_root.h"
#include "vexo_platform/platform.h"

namespace {

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

  auto sent = JsonLines(root.ReadFile("/var/spool/vexozeph/notifications.jsonl"));
  ASSERT_EQ(sent.size(), 2u);
  EXPECT_EQ(sent[0]["time"].asInt64(), 1700000000);
  EXPECT_EQ(sent[0]["tag"].asString(), "zeph_force_logout");
  EXPECT_EQ(sent[0]["variables"]["%LINK%"].asString(), "line\nbreak\"quote");
  EXPECT_EQ(sent[1]["variables"], Json::Value(Json::objectValue));

  EXPECT_EQ(VEXOLogSet1(1, 2, 0x13A00001, "a@b.c", "", nullptr, ""), 0);
  auto events = JsonLines(root.ReadFile("/var/log/vexozeph/events.jsonl"));
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0]["event"].asString(), "0x13A00001");
  EXPECT_EQ(events[0]["args"][0].asString(), "a@b.c");
  EXPECT_EQ(events[0]["args"].size(), 4u);
  vexozeph::clock::ResetForTesting();
}

TEST(PlatformHostServices, DeviceTokenFollowsTheApiKeyAndTheExpiredKeyActionRenewsIt) {
  TempRoot root;
  char token[33] = {0};
  ASSERT_EQ(VEXOCloudServiceBxtokenGenerateToken("SERIAL1", token, sizeof(token)), 0);
  const std::string first = token;
  EXPECT_EQ(first.size(), 32u);
  EXPECT_EQ(first.find_first_not_of("0123456789abcdef"), std::string::npos);
  ASSERT_EQ(VEXOCloudServiceBxtokenGenerateToken("SERIAL1", token, sizeof(token)), 0);
  EXPECT_EQ(first, token) << "stable while the key stays";
  ASSERT_EQ(VEXOCloudServiceBxtokenGenerateToken("SERIAL2", token, sizeof(token)), 0);
  EXPECT_NE(first, token);

  char key[1024] = {0};
  ASSERT_EQ(VEXOCloudServiceGetApiKey(key, sizeof(key), 0), 0);
  const std::string old_key = key;
  EXPECT_EQ(VEXOCloudServiceActionHandler(VEXO_CLOUD_SERVICE_ACTION_RENEW_APIKEY), 0);
  ASSERT_EQ(VEXOCloudServiceGetApiKey(key, sizeof(key), 0), 0);
  EXPECT_NE(old_key, key);
  ASSERT_EQ(VEXOCloudServiceBxtokenGenerateToken("SERIAL1", token, sizeof(token)), 0);
  EXPECT_NE(first, token);

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

  char second_challenge[44];
  char second_verifier[44];
  ASSERT_EQ(vexo_challenge_verifier_no_save(second_challenge, sizeof(second_challenge),
                                            second_verifier, sizeof(second_verifier)),
            0);
  EXPECT_STRNE(verifier, second_verifier);
  char short_buffer[43];
  EXPECT_LT(vexo_challenge_verifier_no_save(challenge, sizeof(challenge), short_buffer,
                                            sizeof(short_buffer)),
            0);
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
