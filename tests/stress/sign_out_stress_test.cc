// Many processes querying the account and reporting while the appliance signs out in the
// middle: every call ends with a clear result (success before the sign-out, the defined
// not-signed-in result after it), none crashes or hangs, and a watcher reading the account
// file throughout always finds it absent or whole, with its identity. Nothing a call had
// in flight brings the account back after the sign-out.
#include <gtest/gtest.h>
#include <json/json.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "base/atomic_file.h"
#include "support/child_process.h"
#include "support/signed_in_appliance.h"
#include "vexozeph/error_codes.h"

namespace vexozeph {
namespace testing {
namespace {

const char kSignedOutMark[] = "/tmp/stress-signed-out";
const char kStopWatching[] = "/tmp/stress-stop-watching";
// No child may outlive this, whatever it waits for.
const unsigned kChildSeconds = 240;

// What is wrong with an account file's text; empty when it is whole: "key=\"value\"" lines
// only, ending in a line break, holding the account's identity. A half-written file, or one
// a late store brought back after the sign-out, is not.
std::string FaultOf(const std::string &text) {
  std::istringstream lines(text);
  std::set<std::string> keys;
  for (std::string line; std::getline(lines, line);) {
    const size_t equals = line.find("=\"");
    if (equals == std::string::npos || equals == 0 || line.back() != '"' ||
        line.size() < equals + 3) {
      return "malformed line: " + line.substr(0, 200);
    }
    keys.insert(line.substr(0, equals));
  }
  if (!text.empty() && text.back() != '\n') return "no final line break";
  if (keys.count("zephIDSerial") == 0 || keys.count("bx_auth_key") == 0) return "no identity";
  return "";
}

// The lines a child wrote to `path`.
std::vector<std::string> LinesOf(const std::string &path) {
  std::ifstream in(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

using SignOutStress = SignedInAppliance;

TEST_F(SignOutStress, QueriesAndReportsAroundOneSignOutAllEndClearlyAndTheFileStaysWhole) {
  const int kProcesses = 8;
  const int kIterations = 40;
  const int kCallsAfter = 3;
  const TempRoot &root = root_;
  ASSERT_TRUE(root.Exists(kAccountFile));
  ASSERT_TRUE(root.Exists(kCronJobs) && root.Exists(kCronFile));

  // The watcher: reads the file as fast as it can until told to stop.
  const std::string watch_out = root.Path("/tmp/stress-watch");
  const pid_t watcher = StartChild([&root, watch_out] {
    ::alarm(kChildSeconds);
    std::ofstream out(watch_out, std::ios::trunc);
    long reads = 0;
    long present = 0;
    for (std::string text; !root.Exists(kStopWatching); ++reads) {
      if (!ReadWholeFile(root.Path(kAccountFile), text)) continue;
      ++present;
      if (!FaultOf(text).empty()) out << "broken " << FaultOf(text) << "\n";
    }
    out << "reads " << reads << " " << present << "\n";
    return 0;
  });

  // The workers: a query or a report per iteration, each on a clock 300 seconds further
  // on, so that every query finds the stored profile stale and asks the server.
  std::vector<pid_t> workers;
  for (int p = 0; p < kProcesses; ++p) {
    const std::string out_path = root.Path("/tmp/stress-worker-" + std::to_string(p));
    workers.push_back(StartChild([&root, out_path, p, kCallsAfter] {
      ::alarm(kChildSeconds);
      std::ofstream out(out_path, std::ios::trunc);
      // At least kIterations calls, and a few more once the sign-out is done, however
      // late it comes.
      int after_calls = 0;
      for (int i = 0; i < kIterations || (after_calls < kCallsAfter && i < kIterations * 10); ++i) {
        // Past its share, a worker only waits for the sign-out: it need not spin.
        if (i >= kIterations) std::this_thread::sleep_for(std::chrono::milliseconds(10));
        clock::SetForTesting(kSignedInAt + 300 * (i + 1));
        const bool after = root.Exists(kSignedOutMark);
        after_calls += after;
        const bool query = (i + p) % 2 == 0;
        Json::Value result;
        const int rc = query ? VEXOZEPHAccountQueryInfo(result, true, false) : VEXOZEPHReportInfo();
        out << (query ? "query " : "report ") << (after ? "after " : "before ")
            << (rc == 0 ? 0 : VEXOZEPHErrGet()) << std::endl;
      }
      return 0;
    }));
  }

  // The sign-out, once half of the calls are done.
  const size_t kCalls = static_cast<size_t>(kProcesses) * kIterations;
  const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(120);
  for (;;) {
    size_t done = 0;
    for (int p = 0; p < kProcesses; ++p) {
      done += LinesOf(root.Path("/tmp/stress-worker-" + std::to_string(p))).size();
    }
    if (done >= kCalls / 2 || std::chrono::steady_clock::now() > give_up) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  AccountPkceService().Logout();
  root.WriteFile(kSignedOutMark, "");

  for (pid_t worker : workers) EXPECT_EQ(WaitChild(worker), 0);
  root.WriteFile(kStopWatching, "");
  EXPECT_EQ(WaitChild(watcher), 0);

  // Before the sign-out a query succeeds or, caught by it, finds no account (3); a report
  // succeeds or meets the refusal of the key the sign-out revoked (14). After it, a query
  // finds no account and a report has nothing to do.
  const std::set<std::string> kClearOutcomes = {
      "query before 0",
      "query before " + std::to_string(VEXOZEPH_ERR_NO_ACCOUNT),
      "report before 0",
      "report before " + std::to_string(VEXOZEPH_ERR_AUTH),
      "query after " + std::to_string(VEXOZEPH_ERR_NO_ACCOUNT),
      "report after 0"};
  std::map<std::string, int> outcomes;
  size_t calls = 0;
  for (int p = 0; p < kProcesses; ++p) {
    std::ifstream in(root.Path("/tmp/stress-worker-" + std::to_string(p)));
    std::string op;
    std::string when;
    int code = 0;
    while (in >> op >> when >> code) {
      ++calls;
      const std::string outcome = op + " " + when + " " + std::to_string(code);
      ++outcomes[outcome];
      EXPECT_EQ(kClearOutcomes.count(outcome), 1u) << outcome;
    }
  }
  EXPECT_GE(calls, kCalls);
  EXPECT_GT(outcomes["query before 0"] + outcomes["report before 0"], 0);
  EXPECT_GT(outcomes["query after 3"], 0);

  // The watcher's last line counts its reads; any line before it is a broken file it saw.
  std::vector<std::string> watched = LinesOf(watch_out);
  ASSERT_FALSE(watched.empty());
  const std::string reads = watched.back();
  watched.pop_back();
  EXPECT_EQ(reads.rfind("reads ", 0), 0u) << reads;
  EXPECT_TRUE(watched.empty()) << "the watcher saw " << ::testing::PrintToString(watched);

  // Signed out for good: nothing in flight brought the account, the job or a token back.
  EXPECT_FALSE(root.Exists(kAccountFile)) << root.ReadFile(kAccountFile);
  EXPECT_FALSE(root.Exists(kCronJobs) || root.Exists(kCronFile));
  EXPECT_FALSE(root.Exists(kSessionTokenFile));

  std::printf("processes: %d (+1 watcher), iterations: %d each, calls: %zu, answers: %zu, %s\n",
              kProcesses, kIterations, calls, cloud_->Requests().size(), reads.c_str());
  for (const auto &outcome : outcomes)
    std::printf("  %s: %d\n", outcome.first.c_str(), outcome.second);
}

}  // namespace
}  // namespace testing
}  // namespace vexozeph
