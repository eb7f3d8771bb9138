// Runs every benchmark beside its floor and prints, after Google Benchmark's own report,
// one line per pair for bench/run-bench:
//   pair<TAB>what<TAB>measured ns<TAB>floor ns<TAB>ratio<TAB>budget<TAB>met|missed
// (measured, floor and ratio are "-" when a side gave no result).
// A pair's figures are the fastest repetition of each side (CPU time per iteration): on a
// shared machine the fastest run is the one least disturbed by other work, and both sides
// are taken the same way. Defaults: 25 repetitions of at least 0.2 s, randomly interleaved, so that
// a burst of load falls on both sides of a pair alike; any flag given on the command line wins.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <limits>
#include <map>
#include <string>
#include <vector>

namespace {

struct Pair {
  const char *what;
  const char *measured;
  const char *floor;
  double budget;
};

const Pair kPairs[] = {
    {"request token, 16 passes", "BM_RequestToken", "BM_RequestTokenFloor", 1.5},
    {"VEXOZEPHAccountGet", "BM_AccountGet", "BM_AccountGetFloor", 1.5},
    {"cache-hit VEXOZEPHAccountQueryInfo", "BM_QueryCacheHit", "BM_QueryCacheHitFloor", 2.0},
    {"FileLock Lock(30)+Unlock", "BM_FileLock", "BM_FileLockFloor", 2.0},
    {"PkceClient::GetAccessToken, fresh", "BM_FreshAccessToken", "BM_FreshAccessTokenFloor", 2.0},
};

// Keeps the console report and remembers the fastest repetition of each benchmark.
class FastestRunReporter : public benchmark::ConsoleReporter {
 public:
  // Colour only on a terminal: the pair lines are read by a script.
  FastestRunReporter() : ConsoleReporter(::isatty(STDOUT_FILENO) ? OO_Defaults : OO_Tabular) {}

  void ReportRuns(const std::vector<Run> &runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &run : runs) {
      if (run.run_type != Run::RT_Iteration || run.error_occurred || run.iterations == 0) continue;
      const double ns =
          run.GetAdjustedCPUTime() * 1e9 / benchmark::GetTimeUnitMultiplier(run.time_unit);
      const std::string name = run.run_name.function_name;
      auto found = fastest_.find(name);
      if (found == fastest_.end() || ns < found->second) fastest_[name] = ns;
    }
  }

  double Fastest(const std::string &name) const {
    auto found = fastest_.find(name);
    return found == fastest_.end() ? std::numeric_limits<double>::quiet_NaN() : found->second;
  }

 private:
  std::map<std::string, double> fastest_;
};

bool Given(int argc, char **argv, const char *flag) {
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], flag, std::strlen(flag)) == 0) return true;
  }
  return false;
}

}  // namespace

int main(int argc, char **argv) {
  std::vector<std::string> defaults;
  if (!Given(argc, argv, "--benchmark_repetitions"))
    defaults.push_back("--benchmark_repetitions=25");
  if (!Given(argc, argv, "--benchmark_min_time")) defaults.push_back("--benchmark_min_time=0.2");
  if (!Given(argc, argv, "--benchmark_enable_random_interleaving")) {
    defaults.push_back("--benchmark_enable_random_interleaving=true");
  }
  std::vector<char *> args(argv, argv + argc);
  for (std::string &flag : defaults) args.push_back(&flag[0]);
  int count = static_cast<int>(args.size());
  args.push_back(nullptr);

  benchmark::Initialize(&count, args.data());
  if (benchmark::ReportUnrecognizedArguments(count, args.data())) return 2;
  FastestRunReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();

  std::fflush(stdout);
  for (const Pair &pair : kPairs) {
    const double measured = reporter.Fastest(pair.measured);
    const double floor = reporter.Fastest(pair.floor);
    if (measured != measured || floor != floor) {  // filtered out, or it failed
      std::printf("pair\t%s\t-\t-\t-\t%.1f\tnot measured: no result (see the report above)\n",
                  pair.what, pair.budget);
      continue;
    }
    const double ratio = measured / floor;
    std::printf("pair\t%s\t%.0f\t%.0f\t%.2f\t%.1f\t%s\n", pair.what, measured, floor, ratio,
                pair.budget, ratio <= pair.budget ? "met" : "missed");
  }
  return 0;
}
