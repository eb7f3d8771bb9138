// Removing the account file: the three callers differ only in what a process that cannot
// be lifted to root does, and each line names the operation that asked.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "fakes/fake_platform.h"
#include "internal/account_file.h"
#include "support/child_process.h"
#include "support/log_capture.h"
#include "support/temp_root.h"
#include "vexozeph/vexozeph.h"

namespace {

namespace fake = vexozeph::fake;
using vexozeph::RemovalResult;
using vexozeph::RemovalRule;
using vexozeph::RemoveAccountFile;
using vexozeph::testing::LogCapture;
using vexozeph::testing::TempRoot;

const char kAccountFile[] = "/usr/vexo/etc/vexona-account/private/user.conf";
const uid_t kNobody = 65534;

TEST(AccountFileRemoval, AProcessThatCannotBeLiftedKeepsTheFileOnlyWhereTheRuleSaysSo) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to drop to a user that cannot come back";
  fake::Reset();
  TempRoot root;
  root.WriteFile(kAccountFile, "zephID=\"owner@example.com\"\n");
  const vexozeph::log::Place here{"caller_module", 42};

  const int status = vexozeph::testing::RunInChild([&] {
    // No saved root id: every attempt to lift the process is refused.
    if (::setresgid(kNobody, kNobody, kNobody) != 0 ||
        ::setresuid(kNobody, kNobody, kNobody) != 0) {
      return 10;
    }
    LogCapture log;
    if (RemoveAccountFile(here, RemovalRule::kOnlyWhenLifted) != RemovalResult::kNotLifted) {
      return 11;
    }
    if (log.Count("caller_module:42 Change permission failed") != 1) return 12;
    if (RemoveAccountFile(here, RemovalRule::kAnyway) != RemovalResult::kDeletionFailed) return 13;
    if (log.Count("Failed to unlink") != 0) return 14;
    if (RemoveAccountFile(here, RemovalRule::kAnywayLoggingFailure) !=
        RemovalResult::kDeletionFailed) {
      return 15;
    }
    if (log.Count("caller_module:42 Failed to unlink ") != 1) return 16;
    // The C removal tells the listeners first and then keeps the file.
    if (VEXOZEPHAccountRemove() != -1) return 17;
    if (log.Count("zeph_config_remove:") < 1) return 18;
    if (::geteuid() != kNobody || ::getegid() != kNobody) return 19;
    return 0;
  });
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(root.Exists(kAccountFile));

  // Root removes it; a second removal finds nothing to delete.
  EXPECT_EQ(RemoveAccountFile(here, RemovalRule::kOnlyWhenLifted), RemovalResult::kRemoved);
  EXPECT_FALSE(root.Exists(kAccountFile));
  EXPECT_EQ(RemoveAccountFile(here, RemovalRule::kOnlyWhenLifted), RemovalResult::kDeletionFailed);
}

}  // namespace
