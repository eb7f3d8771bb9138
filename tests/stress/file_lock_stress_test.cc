// FileLock between many real processes: exclusion under contention, release when the
// holder dies, and no lock kept alive by a program the holder started.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "support/child_process.h"
#include "support/temp_root.h"
#include "vexozeph/file_lock.h"

namespace {

using vexozeph::FileLock;
using vexozeph::testing::StartChild;
using vexozeph::testing::TempRoot;
using vexozeph::testing::WaitChild;

const char kLockPath[] = "/tmp/account_stress.lock";
// A waiter retries at most this long after the holder let go (the lock's longest pause),
// plus room for a loaded machine to schedule it.
const double kPauseBoundSeconds = 0.1;
const double kSchedulingSlackSeconds = 0.9;

// The monotonic clock is one for the whole machine: readings of two processes compare.
double MonotonicSeconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

bool WriteAll(int fd, const std::string &text) {
  return ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

TEST(FileLockStress, SixtyFourProcessesCyclingOneLockNeverHoldItAtOnce) {
  TempRoot root;
  const int kProcesses = 64;
  const int kCycles = 100;
  const std::string log_path = root.Path("/tmp/holders.log");
  std::vector<pid_t> children;
  for (int p = 0; p < kProcesses; ++p) {
    children.push_back(StartChild([&] {
      // Opened O_APPEND by each process: every bracket lands whole at the end of the log,
      // so two holders at once would show as interleaved brackets.
      int log = ::open(log_path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
      if (log < 0) return 2;
      const std::string me = std::to_string(::getpid());
      for (int i = 0; i < kCycles; ++i) {
        FileLock lock(kLockPath);
        if (!lock.Lock(30)) return 1;
        if (!WriteAll(log, "begin " + me + "\n")) return 3;
        ::sched_yield();
        if (!WriteAll(log, "end " + me + "\n")) return 3;
        lock.Unlock();
      }
      ::close(log);
      return 0;
    }));
  }
  for (pid_t child : children) EXPECT_EQ(WaitChild(child), 0);

  std::ifstream in(log_path);
  std::string word;
  std::string holder;
  int brackets = 0;
  while (in >> word >> holder) {
    std::string end_word;
    std::string end_holder;
    ASSERT_EQ(word, "begin") << "bracket " << brackets;
    ASSERT_TRUE(static_cast<bool>(in >> end_word >> end_holder));
    ASSERT_EQ(end_word, "end") << "bracket " << brackets << ": two holders at once";
    ASSERT_EQ(end_holder, holder) << "bracket " << brackets << ": two holders at once";
    ++brackets;
  }
  EXPECT_EQ(brackets, kProcesses * kCycles);
}

TEST(FileLockStress, AHolderKilledWithSigkillPassesTheLockOnWithinOnePause) {
  TempRoot root;
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  pid_t holder = StartChild([&] {
    FileLock lock(kLockPath);
    if (!lock.Lock(5)) return 1;
    WriteAll(ready[1], "h");
    for (;;) ::pause();
  });
  char byte = 0;
  ASSERT_EQ(::read(ready[0], &byte, 1), 1);

  int taken[2];
  ASSERT_EQ(::pipe(taken), 0);
  pid_t waiter = StartChild([&] {
    WriteAll(ready[1], "w");
    FileLock lock(kLockPath);
    if (!lock.Lock(30)) return 1;
    const double at = MonotonicSeconds();
    return ::write(taken[1], &at, sizeof(at)) == sizeof(at) ? 0 : 2;
  });
  ASSERT_EQ(::read(ready[0], &byte, 1), 1);
  // Let the waiter find the lock taken and enter its pauses.
  ::usleep(300 * 1000);
  const double killed_at = MonotonicSeconds();
  ASSERT_EQ(::kill(holder, SIGKILL), 0);
  EXPECT_EQ(WaitChild(holder), 128 + SIGKILL);
  double taken_at = 0;
  ASSERT_EQ(::read(taken[0], &taken_at, sizeof(taken_at)), static_cast<ssize_t>(sizeof(taken_at)));
  EXPECT_EQ(WaitChild(waiter), 0);
  EXPECT_LT(taken_at - killed_at, kPauseBoundSeconds + kSchedulingSlackSeconds);
  for (int fd : {ready[0], ready[1], taken[0], taken[1]}) ::close(fd);
}

TEST(FileLockStress, AProgramStartedByTheHolderDoesNotKeepTheLockAfterItIsReleased) {
  TempRoot root;
  int started[2];
  ASSERT_EQ(::pipe(started), 0);
  pid_t holder = StartChild([&] {
    FileLock lock(kLockPath);
    if (!lock.Lock(5)) return 1;
    pid_t program = ::fork();
    if (program == 0) {
      ::execl("/bin/sleep", "sleep", "60", static_cast<char *>(nullptr));
      ::_exit(127);
    }
    if (program < 0) return 2;
    if (::write(started[1], &program, sizeof(program)) != sizeof(program)) return 3;
    lock.Unlock();
    return 0;
  });
  pid_t program = -1;
  ASSERT_EQ(::read(started[0], &program, sizeof(program)), static_cast<ssize_t>(sizeof(program)));
  EXPECT_EQ(WaitChild(holder), 0);

  // The long-running program is still there; the lock must be free all the same.
  EXPECT_EQ(::kill(program, 0), 0);
  FileLock next(kLockPath);
  EXPECT_TRUE(next.Lock(3));
  ::kill(program, SIGKILL);
  ::close(started[0]);
  ::close(started[1]);
}

}  // namespace
