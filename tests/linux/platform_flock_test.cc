// The generic-Linux file lock: held locks exclude other processes without blocking them,
// and a planted symlink is never followed.
#include <errno.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "support/child_process.h"
#include "support/temp_root.h"
#include "vexo_platform/vlib_error.h"
#include "vexo_platform/vlib_file.h"

namespace {

using vexozeph::testing::RunInChild;
using vexozeph::testing::TempRoot;

// Tries the lock in another process; 1 taken (and released), 0 busy, 2 odd failure.
int TryInChild(const std::string &path, int exclusive) {
  return RunInChild([&] {
    int handle = -1;
    if (VLIBCFileLockByFile(path.c_str(), exclusive, &handle) == 0) {
      return VLIBCErrGet() == EWOULDBLOCK ? 0 : 2;
    }
    return VLIBCFileUnlockByFile(handle) == 0 ? 1 : 2;
  });
}

TEST(PlatformFileLock, ExcludesOtherProcessesAndReturnsAtOnceWhenBusy) {
  TempRoot root;
  const std::string path = root.Path("/tmp/account_query_info.lock");

  int handle = -1;
  ASSERT_NE(VLIBCFileLockByFile(path.c_str(), 1, &handle), 0);
  EXPECT_EQ(TryInChild(path, 1), 0);
  EXPECT_EQ(TryInChild(path, 0), 0);
  ASSERT_EQ(VLIBCFileUnlockByFile(handle), 0);
  EXPECT_EQ(TryInChild(path, 1), 1);

  // Shared holders admit each other but keep an exclusive one out.
  ASSERT_NE(VLIBCFileLockByFile(path.c_str(), 0, &handle), 0);
  EXPECT_EQ(TryInChild(path, 0), 1);
  EXPECT_EQ(TryInChild(path, 1), 0);
  ASSERT_EQ(VLIBCFileUnlockByFile(handle), 0);

  EXPECT_LT(VLIBCFileUnlockByFile(-1), 0);
}

TEST(PlatformFileLock, DoesNotFollowASymlinkPlantedInTmp) {
  TempRoot root;
  const std::string target = root.Path("/etc/victim");
  const std::string link = root.Path("/tmp/account_evil.lock");
  ASSERT_EQ(0, symlink(target.c_str(), link.c_str()));
  int handle = -1;
  EXPECT_EQ(VLIBCFileLockByFile(link.c_str(), 1, &handle), 0);
  EXPECT_EQ(VLIBCErrGet(), ELOOP);
  EXPECT_FALSE(root.Exists("/etc/victim"));
}

}  // namespace
