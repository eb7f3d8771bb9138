#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "support/child_process.h"
#include "support/log_capture.h"
#include "support/temp_root.h"
#include "support/zeph_code.h"
#include "vexozeph/user.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_exception.h"

namespace {

using vexozeph::User;
using vexozeph::ZephException;
using vexozeph::testing::CodeOf;
using vexozeph::testing::LogCapture;
using vexozeph::testing::RunInChild;
using vexozeph::testing::TempRoot;

const char kAccountFile[] = "/usr/vexo/etc/vexona-account/private/user.conf";
const uid_t kNobody = 65534;

TEST(UserRecord, FreshApplianceGivesEveryDefault) {
  TempRoot root;
  User user;
  EXPECT_FALSE(user.Exists());
  EXPECT_EQ(user.GetEmail(), "");
  EXPECT_EQ(user.GetAccountHost(), "");
  EXPECT_EQ(user.GetReportCronTimestring(), "~ 9~16 * * 1~5");
  EXPECT_EQ(user.GetLastQueryTime(), 0);
  EXPECT_FALSE(user.GetIsActivated());
  EXPECT_FALSE(user.GetIsDisabled());
  EXPECT_FALSE(user.GetIsEnews());
  EXPECT_FALSE(user.GetIsCriticalRelease());
  EXPECT_FALSE(user.GetIsEnewsLocalPromotion());
  EXPECT_TRUE(user.GetIsRealnameValidationPass());
  EXPECT_FALSE(root.Exists(kAccountFile)) << "reading must not create the file";
}

TEST(UserRecord, ValuesRoundTripWithExactKeysAndOnlyTheTwoTrueWords) {
  TempRoot root;
  root.WriteFile(
      kAccountFile,
      "zephIDSerial=\"u-1\"\nactivated=\"true\"\ndisabled=\"1\"\nenews=\"TRUE\"\n"
      "critical_release=\"Yes\"\nenews_local_promotion=\"yes\"\nlast_query_time=\"x12\"\n");
  User user;
  EXPECT_EQ(user.GetEmail(), "") << "zephID must not match zephIDSerial";
  EXPECT_FALSE(user.Exists());
  EXPECT_TRUE(user.GetIsActivated());
  EXPECT_FALSE(user.GetIsDisabled());
  EXPECT_FALSE(user.GetIsEnews());
  EXPECT_FALSE(user.GetIsCriticalRelease());
  EXPECT_TRUE(user.GetIsEnewsLocalPromotion());
  EXPECT_EQ(user.GetLastQueryTime(), 0) << "a value that is not a number reads as the default";

  user.SetEmail("owner@example.com");
  EXPECT_TRUE(user.Exists());
  EXPECT_EQ(user.GetUserId(), "u-1");
  user.SetIsEnews(false);
  user.SetLastQueryTime(-5);
  user.SetIsRealnameValidationPass(false);
  EXPECT_FALSE(user.GetIsEnews());
  EXPECT_EQ(user.GetLastQueryTime(), -5);
  EXPECT_FALSE(user.GetIsRealnameValidationPass());
  std::string content = root.ReadFile(kAccountFile);
  EXPECT_NE(content.find("enews=\"no\"\n"), std::string::npos) << content;
  EXPECT_NE(content.find("last_query_time=\"-5\"\n"), std::string::npos) << content;
  EXPECT_NE(content.find("zephID=\"owner@example.com\"\n"), std::string::npos) << content;
  EXPECT_NE(content.find("zephIDSerial=\"u-1\"\n"), std::string::npos) << content;

  user.SetEmail("");
  EXPECT_FALSE(user.Exists());
}

// A line break would forge a line of its own. Values are read back through a 2048-byte
// buffer: one that could not be read back whole is refused before the file is touched,
// and the log shows only its start.
TEST(UserRecord, ALineBreakOrAValueThatCannotBeReadBackWholeIsRefusedUnwritten) {
  TempRoot root;
  User user;
  user.SetEmail("owner@example.com");
  const std::string longest(2047, 'k');
  user.SetAuthKey(longest);
  EXPECT_EQ(user.GetAuthKey(), longest);

  const std::string before = root.ReadFile(kAccountFile);
  LogCapture log;
  EXPECT_EQ(CodeOf([&] { user.SetName("Eve\nzephID=\"attacker\""); }), 19);
  EXPECT_EQ(CodeOf([&] { user.SetCountry("x\ry"); }), 19);
  EXPECT_EQ(log.Count("user:379 Failed to set zeph config for full_name:"), 1u);
  const std::string too_long = "secret-key" + std::string(2038, 'k');
  EXPECT_EQ(CodeOf([&] { user.SetAuthKey(too_long); }), 19);
  EXPECT_EQ(CodeOf([&] { user.SetName(std::string(5 * 1024 * 1024, 'n')); }), 19);
  EXPECT_EQ(CodeOf([&] {
              user.SetUserId(
                  std::string("7\0"
                              "77",
                              4));
            }),
            19u);
  EXPECT_EQ(root.ReadFile(kAccountFile), before);
  EXPECT_EQ(user.GetEmail(), "owner@example.com");
  EXPECT_EQ(user.GetAuthKey(), longest);
  EXPECT_EQ(log.Count("user:379 Failed to set zeph config for bx_auth_key:secret-key..."), 1);
  EXPECT_EQ(log.Count("kkkkkkkkkk"), 0u) << "the value never reaches the log whole";
}

TEST(UserRecord, WritesLeaveTheFileRootOnlyAndPrivilegesAreRestored) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to test the privilege switch";
  TempRoot root;
  User().SetEmail("owner@example.com");
  struct stat st {};
  ASSERT_EQ(::stat(root.Path(kAccountFile).c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0600u);
  EXPECT_EQ(st.st_uid, 0u);
  EXPECT_EQ(st.st_gid, 0u);

  // A helper that keeps root only as its saved id: it must be lifted for each access and
  // put back exactly where it was.
  int rc = RunInChild([&] {
    if (::setresgid(0, kNobody, 0) != 0 || ::setresuid(0, kNobody, 0) != 0) return 10;
    LogCapture log;
    User user;
    if (user.GetEmail() != "owner@example.com") return 11;
    if (::geteuid() != kNobody || ::getegid() != kNobody) return 12;
    user.SetCountry("NL");
    if (::geteuid() != kNobody || ::getegid() != kNobody) return 13;
    uid_t r, e, s;
    ::getresuid(&r, &e, &s);
    if (r != 0 || s != 0) return 14;
    // Group raised before user, each raise traced.
    auto lines = log.Lines();
    if (lines.size() < 2 || lines[0].find("WARNING: setresgid(-1, 0, -1)") == std::string::npos ||
        lines[1].find("WARNING: setresuid(-1, 0, -1)") == std::string::npos) {
      return 15;
    }
    return 0;
  });
  EXPECT_EQ(rc, 0);
  ASSERT_EQ(::stat(root.Path(kAccountFile).c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0600u);
  EXPECT_EQ(st.st_uid, 0u);
  EXPECT_NE(root.ReadFile(kAccountFile).find("country=\"NL\""), std::string::npos);

  // A process that dropped root for good gets code 6 and never touches the file.
  const std::string before = root.ReadFile(kAccountFile);
  rc = RunInChild([&] {
    if (::setresgid(kNobody, kNobody, kNobody) != 0 ||
        ::setresuid(kNobody, kNobody, kNobody) != 0) {
      return 10;
    }
    LogCapture log;
    User user;
    if (CodeOf([&] { user.GetEmail(); }) != 6) return 11;
    if (CodeOf([&] { user.SetEmail("intruder@example.com"); }) != 6) return 12;
    if (log.Count("Change permission failed") != 2) return 13;
    if (::getegid() != kNobody) return 14;
    return 0;
  });
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(root.ReadFile(kAccountFile), before);
}

TEST(UserRecord, ThreadsOfAHelperShareTheLiftAndTheHelperEndsWithItsOwnIds) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to test the privilege switch";
  TempRoot root;
  User().SetEmail("owner@example.com");
  // Lifting and dropping are process-wide: one thread's drop must not pull the ids out
  // from under another thread's access, nor a half-done lift be saved as "the" ids.
  const int rc = RunInChild([&] {
    if (::setresgid(0, kNobody, 0) != 0 || ::setresuid(0, kNobody, 0) != 0) return 10;
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
      threads.emplace_back([&, t] {
        for (int i = 0; i < 100; ++i) {
          User user;
          const int code = CodeOf([&] {
            if (user.GetEmail() != "owner@example.com") throw ZephException(99, "wrong e-mail");
            if (i % 10 == t) user.SetCountry("NL");
          });
          failures += code != -1;  // -1: nothing thrown
        }
      });
    }
    for (std::thread &thread : threads) thread.join();
    if (failures.load() != 0) return 11;
    if (::geteuid() != kNobody || ::getegid() != kNobody) return 12;
    return 0;
  });
  EXPECT_EQ(rc, 0);
}

TEST(AccountRecord, GetAndSetThroughTheFixedCRecord) {
  TempRoot root;
  ZEPH_INFO info;
  std::memset(&info, 'Z', sizeof(info));
  EXPECT_EQ(VEXOZEPHAccountGet(&info), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), 3);
  EXPECT_EQ(info.email[0], 'Z') << "record untouched when no account is stored";
  EXPECT_EQ(VEXOZEPHAccountGet(nullptr), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), 1);

  std::memset(&info, 0, sizeof(info));
  std::strcpy(info.email, "owner@example.com");
  std::strcpy(info.auth_key, "key-1");
  std::strcpy(info.user_id, "u-1");
  std::strcpy(info.country, "FR");
  info.activated = 1;
  std::string long_name(2000, 'n');
  std::memcpy(info.full_name, long_name.c_str(), 1023);
  info.last_query_time = 1700000000;
  info.enews_local_promotion = 7;
  ASSERT_EQ(VEXOZEPHAccountSet(&info), 0);
  ZEPH_INFO back;
  std::memset(&back, 0, sizeof(back));
  std::strcpy(back.password, "kept");
  ASSERT_EQ(VEXOZEPHAccountGet(&back), 0);
  EXPECT_STREQ(back.email, "owner@example.com");
  EXPECT_STREQ(back.country, "FR");
  EXPECT_EQ(std::strlen(back.full_name), 1023);
  EXPECT_EQ(back.activated, 1);
  EXPECT_EQ(back.enews_local_promotion, 1);
  EXPECT_EQ(back.disabled, 0);
  EXPECT_EQ(back.last_query_time, 1700000000);
  EXPECT_STREQ(back.password, "kept");

  // A record that cannot be stored whole changes nothing, not even the keys before the
  // bad one.
  const std::string stored = root.ReadFile(kAccountFile);
  std::strcpy(info.email, "new-owner@example.com");
  std::strcpy(info.auth_key, "key-2\nzephID=\"forged\"");
  EXPECT_EQ(VEXOZEPHAccountSet(&info), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), 19);
  std::strcpy(info.auth_key, "key-2");
  std::memset(info.email, 'e', sizeof(info.email) - 1);
  EXPECT_EQ(VEXOZEPHAccountSet(&info), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), 19);
  EXPECT_EQ(root.ReadFile(kAccountFile), stored);
  EXPECT_EQ(User().GetEmail(), "owner@example.com");

  // An auth key without a user id is no account.
  User().SetUserId("");
  EXPECT_EQ(VEXOZEPHAccountGet(&back), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), 3);
}

}  // namespace
