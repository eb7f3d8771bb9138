// Reading the stored account: VEXOZEPHAccountGet against one stdio read of the account
// file, and a query answered from the file (its last query is recent) against one lock
// plus one read.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <json/value.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <memory>

#include "bench_root.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_account.h"

namespace {

using vexozeph::bench::BenchRoot;

const char kAccountFile[] = "/usr/vexo/etc/vexona-account/private/user.conf";
const char kQueryLock[] = "/tmp/account_query_info.lock";

std::unique_ptr<BenchRoot> SignedInRoot() {
  std::unique_ptr<BenchRoot> root(new BenchRoot());
  root->WriteFile(kAccountFile, vexozeph::bench::SignedInAccountFile(std::time(nullptr)));
  return root;
}

void BM_AccountGet(benchmark::State &state) {
  auto root = SignedInRoot();
  std::unique_ptr<ZEPH_INFO> info(new ZEPH_INFO());
  for (auto _ : state) {
    if (VEXOZEPHAccountGet(info.get()) != 0) {
      state.SkipWithError("VEXOZEPHAccountGet failed");
      break;
    }
    benchmark::DoNotOptimize(info->last_query_time);
  }
}
BENCHMARK(BM_AccountGet);

void BM_AccountGetFloor(benchmark::State &state) {
  auto root = SignedInRoot();
  const std::string path = root->Path(kAccountFile);
  char buffer[8192];
  for (auto _ : state) {
    if (!vexozeph::bench::StdioRead(path, buffer, sizeof(buffer))) {
      state.SkipWithError("account file not read");
      break;
    }
    benchmark::DoNotOptimize(buffer);
  }
}
BENCHMARK(BM_AccountGetFloor);

void BM_QueryCacheHit(benchmark::State &state) {
  auto root = SignedInRoot();
  Json::Value result;
  for (auto _ : state) {
    result.clear();
    if (VEXOZEPHAccountQueryInfo(result, false, false) != 0) {
      state.SkipWithError("query failed");
      break;
    }
    benchmark::DoNotOptimize(result);
  }
}
BENCHMARK(BM_QueryCacheHit);

void BM_QueryCacheHitFloor(benchmark::State &state) {
  auto root = SignedInRoot();
  const std::string lock_path = root->Path(kQueryLock);
  const std::string path = root->Path(kAccountFile);
  char buffer[8192];
  for (auto _ : state) {
    int fd =
        ::open(lock_path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, 0666);
    if (fd < 0 || ::flock(fd, LOCK_EX | LOCK_NB) != 0 ||
        !vexozeph::bench::StdioRead(path, buffer, sizeof(buffer))) {
      state.SkipWithError("lock or read failed");
      break;
    }
    ::close(fd);
    benchmark::DoNotOptimize(buffer);
  }
}
BENCHMARK(BM_QueryCacheHitFloor);

}  // namespace
