#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "support/appliance_files.h"
#include "support/child_process.h"
#include "support/log_capture.h"
#include "support/temp_root.h"
#include "support/process_ids.h"
#include "support/zeph_code.h"
#include "vexozeph/user.h"
#include "vexozeph/zeph_exception.h"

namespace {

using vexozeph::User;
using vexozeph::ZephException;
using vexozeph::testing::CodeOf;
using vexozeph::testing::kAccountFile;
using vexozeph::testing::kNobody;
using vexozeph::testing::LogCapture;
using vexozeph::testing::RunInChild;
using vexozeph::testing::SetIds;
using vexozeph::testing::TempRoot;

TEST(UserRecord, ValuesRoundTripWithExactKeysAndOnlyTheTwoTrueWords) {
  TempRoot root;
  EXPECT_FALSE(User().Exists());
  EXPECT_FALSE(root.Exists(kAccountFile)) << "reading must not create the file";
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
  user.SetIsEnews(false);
  user.SetLastQueryTime(-5);
  user.SetIsRealnameValidationPass(false);
  EXPECT_EQ(user.GetLastQueryTime(), -5);
  EXPECT_FALSE(user.GetIsRealnameValidationPass());
  const std::string content = root.ReadFile(kAccountFile);
  for (const char *line : {"enews=\"no\"\n", "last_query_time=\"-5\"\n",
                           "zephID=\"owner@example.com\"\n", "zephIDSerial=\"u-1\"\n"}) {
    EXPECT_NE(content.find(line), std::string::npos) << line << content;
  }
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
  EXPECT_EQ(CodeOf([&] { user.SetAuthKey("secret-key" + std::string(2038, 'k')); }), 19);
  EXPECT_EQ(CodeOf([&] { user.SetName(std::string(5 * 1024 * 1024, 'n')); }), 19);
  EXPECT_EQ(CodeOf([&] {
              user.SetUserId(
                  std::string("7\0"
                              "77",
                              4));
            }),
            19);
  EXPECT_EQ(root.ReadFile(kAccountFile), before);
  EXPECT_EQ(user.GetAuthKey(), longest);
  EXPECT_EQ(log.Count("user:379 Failed to set zeph config for bx_auth_key:secret-key..."), 1);
  EXPECT_EQ(log.Count("kkkkkkkkkk"), 0u) << "the value never reaches the log whole";
}

void ExpectRootOnly(const TempRoot &root) {
  struct stat st {};
  ASSERT_EQ(::stat(root.Path(kAccountFile).c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0600u);
  EXPECT_EQ(st.st_uid, 0u);
  EXPECT_EQ(st.st_gid, 0u);
}

TEST(UserRecord, WritesLeaveTheFileRootOnlyAndPrivilegesAreRestored) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to test the privilege switch";
  TempRoot root;
  User().SetEmail("owner@example.com");
  ExpectRootOnly(root);

  // A helper that keeps root only as its saved id: it must be lifted for each access and
  // put back exactly where it was, group raised before user, each raise traced.
  EXPECT_EQ(RunInChild([&] {
              if (!SetIds(0, kNobody, 0)) return 10;
              LogCapture log;
              User user;
              if (user.GetEmail() != "owner@example.com") return 11;
              if (::geteuid() != kNobody || ::getegid() != kNobody) return 12;
              user.SetCountry("NL");
              uid_t r, e, s;
              ::getresuid(&r, &e, &s);
              if (r != 0 || e != kNobody || s != 0 || ::getegid() != kNobody) return 13;
              auto lines = log.Lines();
              if (lines.size() < 2 ||
                  lines[0].find("WARNING: setresgid(-1, 0, -1)") == std::string::npos ||
                  lines[1].find("WARNING: setresuid(-1, 0, -1)") == std::string::npos) {
                return 15;
              }
              return 0;
            }),
            0);
  ExpectRootOnly(root);
  EXPECT_NE(root.ReadFile(kAccountFile).find("country=\"NL\""), std::string::npos);

  // A process that dropped root for good gets code 6 and never touches the file.
  const std::string before = root.ReadFile(kAccountFile);
  EXPECT_EQ(RunInChild([&] {
              if (!SetIds(kNobody, kNobody, kNobody)) return 10;
              LogCapture log;
              User user;
              if (CodeOf([&] { user.GetEmail(); }) != 6) return 11;
              if (CodeOf([&] { user.SetEmail("intruder@example.com"); }) != 6) return 12;
              if (log.Count("Change permission failed") != 2) return 13;
              return ::getegid() != kNobody ? 14 : 0;
            }),
            0);
  EXPECT_EQ(root.ReadFile(kAccountFile), before);
}

TEST(UserRecord, ThreadsOfAHelperShareTheLiftAndTheHelperEndsWithItsOwnIds) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to test the privilege switch";
  TempRoot root;
  User().SetEmail("owner@example.com");
  // Lifting and dropping are process-wide: one thread's drop must not pull the ids out
  // from under another thread's access, nor a half-done lift be saved as "the" ids.
  EXPECT_EQ(RunInChild([&] {
              if (!SetIds(0, kNobody, 0)) return 10;
              std::atomic<int> failures{0};
              std::vector<std::thread> threads;
              for (int t = 0; t < 8; ++t) {
                threads.emplace_back([&, t] {
                  for (int i = 0; i < 100; ++i) {
                    User user;
                    failures += CodeOf([&] {
                                  if (user.GetEmail() != "owner@example.com") {
                                    throw ZephException(99, "wrong e-mail");
                                  }
                                  if (i % 10 == t) user.SetCountry("NL");
                                }) != -1;  // -1: nothing thrown
                  }
                });
              }
              for (std::thread &thread : threads) thread.join();
              if (failures.load() != 0) return 11;
              return ::geteuid() != kNobody || ::getegid() != kNobody ? 12 : 0;
            }),
            0);
}

}  // namespace
