// The library called from many threads of one process at once: sign-in state reads,
// account queries (cache hits and real ones), reports, token reads and lock cycles, while
// another thread keeps creating files. Nothing process-wide may change under the caller:
// the umask, the working directory, any signal's disposition, the environment. The C last
// error is process-wide by design; the classes' codes are each caller's own.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <functional>

#include "support/account_appliance.h"
#include "support/signed_in_appliance.h"
#include "support/zeph_code.h"
#include "vexozeph/account_pkce_service.h"
#include "vexozeph/account_service.h"
#include "vexozeph/file_lock.h"
#include "vexozeph/pkce_client.h"
#include "vexozeph/user.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_account.h"

extern char **environ;

namespace vexozeph {
namespace testing {
namespace {

const int kCallerThreads = 8;
const int kPhases = 3;
const int kCyclesPerPhase = 25;
// Past the account query's 300-second freshness, so that each phase asks the server
// again; three of them also take the session token past its lifetime once.
const int64_t kPhaseSeconds = 1300;
const mode_t kStartUmask = 027;

// Everything process-wide that a library must leave as it found it, a line for each
// item, so that a difference shows as a diff. The umask is read from /proc: umask(2) can
// only be read by setting it, which is the very change looked for.
std::string ProcessState() {
  std::ostringstream state;
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.compare(0, 6, "Umask:") == 0) state << line << "\n";
  }
  char cwd[4096] = {0};
  state << "cwd " << (::getcwd(cwd, sizeof(cwd)) != nullptr ? cwd : "?") << "\n";
  for (int sig = 1; sig < NSIG; ++sig) {
    if (sig == SIGKILL || sig == SIGSTOP) continue;
    struct sigaction action = {};
    const int rc = ::sigaction(sig, nullptr, &action);
    state << "signal " << sig << ":" << rc << ":" << reinterpret_cast<uintptr_t>(action.sa_handler)
          << ":" << action.sa_flags << "\n";
  }
  for (char **entry = environ; *entry != nullptr; ++entry) state << "env " << *entry << "\n";
  return state.str();
}

class LibraryThreads : public SignedInAppliance {
 protected:
  void SetUp() override {
    previous_umask_ = ::umask(kStartUmask);
    SignedInAppliance::SetUp();
  }
  void TearDown() override {
    SignedInAppliance::TearDown();
    ::umask(previous_umask_);
  }

  // One caller's share of a phase; returns what went wrong, "" when nothing did.
  std::string CallerCycles(int caller, const Json::Value &config, std::atomic<int> &holders) {
    for (int cycle = 0; cycle < kCyclesPerPhase; ++cycle) {
      ZEPH_INFO info;
      if (VEXOZEPHAccountGet(&info) != 0 || owner_.id != info.user_id) return "account get";
      if (!User().Exists()) return "signed-in state";
      Json::Value profile;
      if (VEXOZEPHAccountQueryInfo(profile, true, false) != 0 ||
          profile["email"].asString() != owner_.email) {
        return "query: " + profile.toStyledString();
      }
      // Reports from a single caller: they read the time zone, renew the session and
      // store the schedule while the others read.
      if (caller == 0 && cycle % 5 == 0 && VEXOZEPHReportInfo() != 0) {
        return "report";
      }
      PkceClient client("tarn");
      client.SetPkceConfig(config);
      std::string token;
      const int code = CodeOf([&] { token = client.GetAccessToken(); });
      if (code != -1 || token.empty()) return "token read, code " + std::to_string(code);
      FileLock lock("/tmp/account_threads.lock");
      if (!lock.Lock(30)) return "lock";
      if (holders.fetch_add(1) != 0) return "two holders of one lock";
      std::this_thread::yield();
      holders.fetch_sub(1);
      lock.Unlock();
    }
    return std::string();
  }

  mode_t previous_umask_ = 0;
};

TEST_F(LibraryThreads, EightCallersAtOnceLeaveUmaskDirectorySignalsAndEnvironmentAlone) {
  const Json::Value config = AccountPkceService().GetLoginPkceConfig();
  const std::string before = ProcessState();
  std::atomic<bool> done{false};

  // Creates files the whole time: a transient umask change shows in their modes.
  std::vector<std::string> wrong_modes;
  int files_made = 0;
  std::thread maker([&] {
    const std::string path = root_.Path("/tmp/mode-probe");
    const mode_t wanted = 0666 & ~kStartUmask;
    while (!done.load()) {
      ::unlink(path.c_str());
      const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
      if (fd < 0) continue;
      struct stat made = {};
      if (::fstat(fd, &made) == 0 && (made.st_mode & 07777) != wanted) {
        wrong_modes.push_back(std::to_string(made.st_mode & 07777));
      }
      ::close(fd);
      ++files_made;
    }
  });
  // Samples the whole state now and then; between samples it only compares the
  // environment's entries by address, which is cheap enough to catch a variable set and
  // restored within a single call.
  std::vector<std::string> samples;
  int environment_changes = 0;
  std::thread sampler([&] {
    std::vector<const char *> entries;
    for (char **entry = environ; *entry != nullptr; ++entry) entries.push_back(*entry);
    for (unsigned round = 0; !done.load(); ++round) {
      size_t i = 0;
      bool same = true;
      for (char **entry = environ; *entry != nullptr; ++entry, ++i) {
        same = same && i < entries.size() && entries[i] == *entry;
      }
      environment_changes += !same || i != entries.size();
      if (round % 256 == 0) samples.push_back(ProcessState());
      std::this_thread::yield();
    }
  });

  std::atomic<int> holders{0};
  for (int phase = 0; phase < kPhases; ++phase) {
    clock::SetForTesting(kSignedInAt + (phase + 1) * kPhaseSeconds);
    std::vector<std::string> failures(kCallerThreads);
    std::vector<std::thread> callers;
    for (int caller = 0; caller < kCallerThreads; ++caller) {
      callers.emplace_back(
          [&, caller] { failures[caller] = CallerCycles(caller, config, holders); });
    }
    for (std::thread &caller : callers) caller.join();
    for (int caller = 0; caller < kCallerThreads; ++caller) {
      EXPECT_EQ(failures[caller], "") << "phase " << phase << ", caller " << caller;
    }
  }
  done.store(true);
  maker.join();
  sampler.join();

  // The calls were really made: each phase asked the server, the others were cache hits.
  EXPECT_GE(Requests(kQueryPath).size(), static_cast<size_t>(kPhases));
  EXPECT_LT(Requests(kQueryPath).size(), static_cast<size_t>(kPhases * kCallerThreads));
  EXPECT_GT(files_made, 0);
  EXPECT_TRUE(wrong_modes.empty()) << "modes seen: " << ::testing::PrintToString(wrong_modes);
  EXPECT_EQ(environment_changes, 0);
  EXPECT_FALSE(samples.empty());
  size_t changed = 0;
  for (const std::string &sample : samples) {
    if (sample != before && changed++ == 0) {
      EXPECT_EQ(sample, before) << "first changed sample";
    }
  }
  EXPECT_EQ(changed, 0u) << "of " << samples.size() << " samples";
  EXPECT_EQ(ProcessState(), before) << "after";
}

using FailingCallers = AccountAppliance;

// Operations of the classes failing at once, each for its own reason, while other threads
// keep setting the C last error: every exception carries its own failure's code, never
// one that another thread left in the last error.
TEST_F(FailingCallers, EachGetsItsOwnCodeWhileOthersFailAndTheCLastErrorChurns) {
  const Account owner = MakeAccount("ann@example.com");
  const std::string stored = AccountFile();
  const struct {
    const char *what;
    int code;
    std::function<void()> call;
  } callers[] = {
      {"refused password", VEXOZEPH_ERR_AUTH,
       [&] { AccountService().Login(owner.email, "wrong"); }},
      {"refused form", VEXOZEPH_ERR_BAD_PARAMETER, [] { AccountService().Login("", "pw"); }},
      {"no account", VEXOZEPH_ERR_NO_ACCOUNT, [] { AccountService().GetLocalJsonAccount(); }},
      {"no session", VEXOZEPH_ERR_TOKEN_STATE, [] { AccountPkceService().GetAccessToken(); }},
      {"unstorable name", VEXOZEPH_ERR_ACCOUNT_WRITE, [] { User().SetName("two\nlines"); }},
  };
  const int kRounds = 100;
  std::atomic<bool> done{false};
  std::atomic<int> churns{0};
  // Other callers of the C interface move its last error between 0 and 6 the whole time.
  std::vector<std::thread> churners;
  for (int i = 0; i < 2; ++i) {
    churners.emplace_back([&] {
      while (!done.load()) {
        MapLibZephCenterErrorCode("good");
        MapLibZephCenterErrorCode("badsys");
        churns.fetch_add(1);
      }
    });
  }
  std::vector<std::string> wrong(std::size(callers));
  std::vector<std::thread> threads;
  for (size_t i = 0; i < std::size(callers); ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < kRounds; ++round) {
        const int code = CodeOf(callers[i].call);
        if (code != callers[i].code) wrong[i] += " " + std::to_string(code);
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  done.store(true);
  for (std::thread &churner : churners) churner.join();

  for (size_t i = 0; i < std::size(callers); ++i) {
    EXPECT_EQ(wrong[i], "") << callers[i].what << ": codes other than " << callers[i].code;
  }
  EXPECT_GT(churns.load(), kRounds) << "the last error churned all along";
  EXPECT_EQ(Requests(kLoginPath).size(), 2u * kRounds) << "every sign-in reached the server";
  EXPECT_EQ(AccountFile(), stored) << "no failure stored anything";
}

}  // namespace
}  // namespace testing
}  // namespace vexozeph
