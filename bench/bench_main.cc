// Runs every benchmark beside its floor and prints, after Google Benchmark's own report,
// one line per pair for bench/run-bench:
//   pair<TAB>what<TAB>measured ns<TAB>floor
//   ns<TAB>ratio<TAB>lowest<TAB>highest<TAB>budget<TAB>met|missed
// (the figures are "-" when a side gave no result).
// Each repetition of a side is paired with the same repetition of the other, and a pair is
// judged on the median of those repetitions' ratios (CPU time per iteration): one
// repetition slowed by other work on a shared machine moves the median by one place at
// most, where it would decide a verdict taken on a single repetition. The measured and
// floor figures are each side's median, and the lowest and highest ratio show the spread.
// Defaults: 25 repetitions of at least 0.2 s, randomly interleaved, so that a burst of load
// falls on both sides of a pair alike and a side's n-th repetition runs at about the time
// of the other's; any flag given on the command line wins.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
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

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const size_t n = values.size();
  return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

// Keeps the console report and remembers every repetition of each benchmark.
class RepetitionReporter : public benchmark::ConsoleReporter {
 public:
  // Colour only on a terminal: the pair lines are read by a script.
  RepetitionReporter() : ConsoleReporter(::isatty(STDOUT_FILENO) ? OO_Defaults : OO_Tabular) {}

  void ReportRuns(const std::vector<Run> &runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &run : runs) {
      if (run.run_type != Run::RT_Iteration || run.error_occurred || run.iterations == 0) continue;
      const double ns =
          run.GetAdjustedCPUTime() * 1e9 / benchmark::GetTimeUnitMultiplier(run.time_unit);
      runs_[run.run_name.function_name][run.repetition_index] = ns;
    }
  }

  // ns per iteration of each repetition, by repetition.
  const std::map<int64_t, double> &Repetitions(const std::string &name) { return runs_[name]; }

 private:
  std::map<std::string, std::map<int64_t, double>> runs_;
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
  RepetitionReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();

  std::fflush(stdout);
  for (const Pair &pair : kPairs) {
    std::vector<double> measured;
    std::vector<double> floor;
    std::vector<double> ratios;
    const std::map<int64_t, double> &floors = reporter.Repetitions(pair.floor);
    for (const auto &repetition : reporter.Repetitions(pair.measured)) {
      auto other = floors.find(repetition.first);
      if (other == floors.end()) continue;
      measured.push_back(repetition.second);
      floor.push_back(other->second);
      ratios.push_back(repetition.second / other->second);
    }
    if (ratios.empty()) {  // filtered out, or it failed
      std::printf("pair\t%s\t-\t-\t-\t-\t-\t%.1f\tnot measured: no result (see the report above)\n",
                  pair.what, pair.budget);
      continue;
    }
    const double ratio = Median(ratios);
    std::printf("pair\t%s\t%.0f\t%.0f\t%.2f\t%.2f\t%.2f\t%.1f\t%s\n", pair.what, Median(measured),
                Median(floor), ratio, *std::min_element(ratios.begin(), ratios.end()),
                *std::max_element(ratios.begin(), ratios.end()), pair.budget,
                ratio <= pair.budget ? "met" : "missed");
  }
  return 0;
}
