// How much the stateless design costs: every getter of the account record re-reads its
// file, every setter rewrites it atomically, and every request is signed with an iterated
// digest. These run once per sign-in or report, so they must stay well under a
// millisecond; this measures them on the build machine.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "internal/request_token.h"
#include "vexozeph/user.h"

namespace {

class BenchRoot {
 public:
  BenchRoot() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vexozeph-bench-XXXXXX").string();
    dir_ = mkdtemp(&pattern[0]);
    std::filesystem::create_directories(dir_ + "/usr/vexo/etc/vexona-account/private");
    setenv("VEXOZEPH_ROOT", dir_.c_str(), 1);
  }
  ~BenchRoot() {
    unsetenv("VEXOZEPH_ROOT");
    std::filesystem::remove_all(dir_);
  }

 private:
  std::string dir_;
};

void BM_RequestToken(benchmark::State &state) {
  // Sixteen passes: the slowest input there is.
  const char *input = "SN0000";
  std::string token;
  for (auto _ : state) {
    vexozeph::RequestTokenFromInput(input, token);
    benchmark::DoNotOptimize(token);
  }
}
BENCHMARK(BM_RequestToken);

void BM_AccountRecordRead(benchmark::State &state) {
  BenchRoot root;
  vexozeph::User user;
  user.SetEmail("owner@example.com");
  for (int i = 0; i < 20; ++i) user.SetName("Owner " + std::to_string(i));
  for (auto _ : state) benchmark::DoNotOptimize(user.GetEmail());
}
BENCHMARK(BM_AccountRecordRead);

void BM_AccountRecordWrite(benchmark::State &state) {
  BenchRoot root;
  vexozeph::User user;
  int64_t now = 1700000000;
  for (auto _ : state) user.SetLastQueryTime(++now);
}
BENCHMARK(BM_AccountRecordWrite);

}  // namespace

BENCHMARK_MAIN();
