// An uncontended FileLock taken and released, against the bare system calls of one lock:
// open, flock, close. The lock file exists, as it does for every lock but a name's first.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "bench_root.h"
#include "vexozeph/file_lock.h"

namespace {

const char kLockPath[] = "/tmp/account_bench.lock";

void BM_FileLock(benchmark::State &state) {
  vexozeph::bench::BenchRoot root;
  vexozeph::FileLock lock(kLockPath);
  for (auto _ : state) {
    if (!lock.Lock(30)) {
      state.SkipWithError("lock not taken");
      break;
    }
    lock.Unlock();
  }
}
BENCHMARK(BM_FileLock);

void BM_FileLockFloor(benchmark::State &state) {
  vexozeph::bench::BenchRoot root;
  const std::string path = root.Path(kLockPath);
  for (auto _ : state) {
    int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, 0666);
    if (fd < 0 || ::flock(fd, LOCK_EX | LOCK_NB) != 0) {
      state.SkipWithError("lock not taken");
      break;
    }
    ::close(fd);
  }
}
BENCHMARK(BM_FileLockFloor);

}  // namespace
