// File locks, through the platform's calls and the library's FileLock over them: held
// locks exclude other processes without blocking them, a planted link is never followed,
// and creating a lock file leaves the process umask alone.
#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "support/child_process.h"
#include "support/log_capture.h"
#include "support/temp_root.h"
#include "vexo_platform/vlib_error.h"
#include "vexo_platform/vlib_file.h"
#include "vexozeph/file_lock.h"

namespace {

using vexozeph::FileLock;
using vexozeph::testing::LogCapture;
using vexozeph::testing::RunInChild;
using vexozeph::testing::StartChild;
using vexozeph::testing::TempRoot;
using vexozeph::testing::WaitChild;

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

// That no update is lost across processes is the stress harness's, with 64 of them.

TEST(FileLock, DeadlineIsCheckedFirstAndBusyLocksTimeOut) {
  TempRoot root;
  EXPECT_FALSE(FileLock("/tmp/account_idle.lock").Lock(0)) << "Lock(0) never attempts";

  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  pid_t holder = StartChild([&] {
    FileLock lock("/tmp/account_busy.lock");
    if (!lock.Lock(5)) return 1;
    char byte = 1;
    if (::write(ready[1], &byte, 1) != 1) return 2;
    ::sleep(3);
    return 0;
  });
  char byte = 0;
  ASSERT_EQ(::read(ready[0], &byte, 1), 1);

  FileLock waiter("/tmp/account_busy.lock");
  auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(waiter.Lock(1));
  double waited = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  // Not a timing target: only a sanity bound that the deadline, not the holder, ended it.
  EXPECT_GT(waited, 0.9);
  EXPECT_LT(waited, 2.5);

  ::kill(holder, SIGKILL);
  WaitChild(holder);
  EXPECT_TRUE(waiter.Lock(5)) << "a dead holder's lock is released by the kernel";
  ::close(ready[0]);
  ::close(ready[1]);
}

TEST(FileLock, RelockUnlockAndDestructionRelease) {
  TempRoot root;
  auto free_for_others = [] {
    return RunInChild([] { return FileLock("/tmp/account_relock.lock").Lock(1) ? 0 : 1; }) == 0;
  };
  {
    FileLock lock("/tmp/account_relock.lock");
    ASSERT_TRUE(lock.Lock(2));
    EXPECT_TRUE(lock.Lock(2)) << "re-locking releases first, so it cannot deadlock on itself";
    lock.Unlock();
    lock.Unlock();
    EXPECT_TRUE(free_for_others());
    ASSERT_TRUE(lock.Lock(2));
  }
  EXPECT_TRUE(free_for_others()) << "destroyed while held";
}

TEST(FileLock, UnpreparableFileFailsWithOneLogLine) {
  TempRoot root;
  LogCapture log;
  FileLock lock("/tmp/no-such-dir/account_x.lock");
  EXPECT_FALSE(lock.Lock(1));
  EXPECT_EQ(log.Count("Failed to open file: "), 1u);
  EXPECT_EQ(log.Lines().at(0).rfind("file_lock:", 0), 0u);
}

TEST(FileLock, LockingLeavesTheUmaskOfOtherThreadsAlone) {
  TempRoot root;
  const mode_t previous = ::umask(077);
  std::atomic<bool> locking{true};
  int world_readable = 0;
  int created = 0;
  // Creates files as a careful program does, relying on the umask to keep them private.
  std::thread creator([&] {
    const std::string base = root.Path("/tmp/private_");
    for (int i = 0; i < 20000 && (locking || i < 100); ++i) {
      const std::string path = base + std::to_string(i);
      int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
      if (fd < 0) continue;
      struct stat st {};
      if (::fstat(fd, &st) == 0 && (st.st_mode & 0077) != 0) ++world_readable;
      ::close(fd);
      ::unlink(path.c_str());
      ++created;
    }
  });
  bool all_locked = true;
  for (int i = 0; i < 2000; ++i) {
    // A new name each time creates a new lock file, and an old name reopens one.
    FileLock lock("/tmp/account_umask_" + std::to_string(i % 1000) + ".lock");
    all_locked = lock.Lock(5) && all_locked;
  }
  locking = false;
  creator.join();

  struct stat st {};
  ASSERT_EQ(::stat(root.Path("/tmp/account_umask_7.lock").c_str(), &st), 0);
  const mode_t umask_during_test = ::umask(previous);
  EXPECT_TRUE(all_locked);
  EXPECT_EQ(umask_during_test, 077u) << "the process umask is as the program set it";
  EXPECT_GT(created, 0);
  EXPECT_EQ(world_readable, 0) << "of " << created << " files created meanwhile";
  EXPECT_EQ(st.st_mode & 0777, 0666u) << "lock files are for every user, whatever the umask";
}

}  // namespace
