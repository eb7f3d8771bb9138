// Writers of the token file, the account file and a package cache killed at random
// moments, at each point around their write, fsync and rename calls, and refused space:
// the file always holds one whole version, the old or the new one, and killed writers
// leave no pile of temporary files beside it.
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "base/atomic_file.h"
#include "stress/crash_writer/written_versions.h"
#include "support/child_process.h"
#include "support/temp_root.h"
#include "vexozeph/error_codes.h"

namespace {

using vexozeph::testing::AbsolutePathOf;
using vexozeph::testing::StartChild;
using vexozeph::testing::TempRoot;
using vexozeph::testing::WaitChild;
using vexozeph::testing::WholeVersionIn;
using vexozeph::testing::WordOf;
using vexozeph::testing::WriteVersion;
using vexozeph::testing::WrittenFile;

const WrittenFile kFiles[] = {WrittenFile::kTokenFile, WrittenFile::kAccountFile,
                              WrittenFile::kPackageCache};
const int kKilled = 128 + SIGKILL;

// The code each writer reports when its file cannot be replaced.
int FailureCodeOf(WrittenFile file) {
  return file == WrittenFile::kAccountFile ? VEXOZEPH_ERR_ACCOUNT_WRITE : VEXOZEPH_ERR_BAD_JSON;
}

// Starts the crash writer for versions first..last with `fault` ("" for none). Its
// standard output goes to `ready_fd` when that is given.
pid_t StartWriter(WrittenFile file, int64_t first, int64_t last, const std::string &fault,
                  int ready_fd = -1) {
  const std::string word = WordOf(file);
  const std::string from = std::to_string(first);
  const std::string to = std::to_string(last);
  return StartChild([&] {
    const int out = ready_fd >= 0 ? ready_fd : ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    ::dup2(out, STDOUT_FILENO);
    if (!fault.empty()) ::setenv("CRASH_WRITER_FAULT", fault.c_str(), 1);
    ::execl(CRASH_WRITER_BINARY, "crash_writer", word.c_str(), from.c_str(), to.c_str(),
            static_cast<char *>(nullptr));
    return 127;
  });
}

int RunWriter(WrittenFile file, int64_t version, const std::string &fault = "") {
  return WaitChild(StartWriter(file, version, version, fault));
}

// Entries beside the file that carry its name: what a writer made on the way to it.
std::vector<std::string> TemporariesBeside(const TempRoot &root, WrittenFile file) {
  const std::string path = root.Path(AbsolutePathOf(file));
  const std::string base = vexozeph::BaseNameOf(path);
  std::vector<std::string> found;
  DIR *dir = ::opendir(vexozeph::DirectoryOf(path).c_str());
  if (dir == nullptr) return {"(directory unreadable)"};
  while (const struct dirent *entry = ::readdir(dir)) {
    const std::string name = entry->d_name;
    if (name != base && name.find(base) != std::string::npos) found.push_back(name);
  }
  ::closedir(dir);
  return found;
}

std::string Bytes(const TempRoot &root, WrittenFile file) {
  return root.ReadFile(AbsolutePathOf(file));
}

void PauseMicros(long micros) {
  struct timespec pause = {0, micros * 1000L};
  while (::nanosleep(&pause, &pause) != 0 && errno == EINTR) {
  }
}

TEST(CrashSafety, WritersKilledAtRandomMomentsLeaveOneWholeVersionAndNoPileOfTemporaries) {
  TempRoot root;
  const int kRunsPerFile = 160;
  const int64_t kVersionsPerRun = 1000;
  std::mt19937 random(std::random_device{}());
  std::uniform_int_distribution<long> pause_micros(0, 3000);
  int runs = 0;
  int kills = 0;
  int leftovers = 0;
  for (WrittenFile file : kFiles) {
    SCOPED_TRACE(WordOf(file));
    ASSERT_EQ(RunWriter(file, 1), 0);
    int64_t stored = 1;
    for (int run = 0; run < kRunsPerFile; ++run) {
      const int64_t first = stored + 1;
      const int64_t last = stored + kVersionsPerRun;
      int ready[2];
      ASSERT_EQ(::pipe2(ready, O_CLOEXEC), 0);
      const pid_t writer = StartWriter(file, first, last, "", ready[1]);
      ::close(ready[1]);
      // Killed only once its first version is stored: that one is the least it may hold.
      char byte = 0;
      ssize_t got;
      while ((got = ::read(ready[0], &byte, 1)) < 0 && errno == EINTR) {
      }
      ::close(ready[0]);
      PauseMicros(pause_micros(random));
      ::kill(writer, SIGKILL);
      const int status = WaitChild(writer);
      ASSERT_EQ(got, 1) << "run " << run << ": the writer ended with " << status;
      ++runs;
      kills += status == kKilled;

      const int64_t held = WholeVersionIn(file);
      ASSERT_GE(held, first) << "run " << run << ": not one whole version";
      ASSERT_LE(held, last) << "run " << run;
      const std::vector<std::string> temporaries = TemporariesBeside(root, file);
      ASSERT_LE(temporaries.size(), 1u)
          << "run " << run << ": " << temporaries[0] << " and " << temporaries[1] << "...";
      leftovers += static_cast<int>(temporaries.size());
      stored = held;
    }
    // What the last killed writer left goes with the next replacement.
    ASSERT_EQ(RunWriter(file, stored + 1), 0);
    EXPECT_EQ(WholeVersionIn(file), stored + 1);
    EXPECT_TRUE(TemporariesBeside(root, file).empty());
  }
  std::printf("random kills: %d runs, %d killed while writing, %d leftovers removed later\n", runs,
              kills, leftovers);
}

TEST(CrashSafety, WritersKilledAroundEachWriteFsyncAndRenameLeaveTheOldOrTheNewVersion) {
  TempRoot root;
  int points = 0;
  for (WrittenFile file : kFiles) {
    SCOPED_TRACE(WordOf(file));
    ASSERT_EQ(RunWriter(file, 1), 0);
    int64_t stored = 1;
    for (const std::string call : {"write", "fsync", "renameat"}) {
      int nth = 1;
      for (bool reached = true; reached; ++nth) {
        ASSERT_LE(nth, 8) << "more " << call << " calls than one replacement makes";
        reached = false;
        for (const std::string when : {"before", "after"}) {
          const std::string fault = call + ":" + std::to_string(nth) + ":" + when;
          const int status = RunWriter(file, stored + 1, fault);
          const int64_t held = WholeVersionIn(file);
          const std::vector<std::string> temporaries = TemporariesBeside(root, file);
          if (status == 0) {
            // The writer made fewer such calls: its replacement went through.
            EXPECT_EQ(held, stored + 1) << fault;
          } else {
            ASSERT_EQ(status, kKilled) << fault;
            reached = true;
            ++points;
            // Nothing a reader sees changes before the rename; all of it does with it.
            if (call == "renameat") {
              EXPECT_EQ(held, when == "before" ? stored : stored + 1) << fault;
            } else {
              EXPECT_TRUE(held == stored || held == stored + 1) << fault << ": " << held;
            }
          }
          ASSERT_LE(temporaries.size(), 1u) << fault;
          ASSERT_GT(held, 0) << fault;
          stored = held;
        }
      }
      // The first call of each kind was reached: the writer goes through calls a fault
      // can be put into, so the points above were really crossed.
      EXPECT_GT(nth, 2) << call << " never reached";
    }
  }
  std::printf("injected kills: %d points crossed\n", points);
}

TEST(CrashSafety, AFailedWriteFsyncOrRenameKeepsTheOldFileAndReportsTheWritersCode) {
  TempRoot root;
  for (WrittenFile file : kFiles) {
    ASSERT_EQ(RunWriter(file, 1), 0);
    const std::string before = Bytes(root, file);
    for (const std::string call : {"write", "fsync", "renameat"}) {
      SCOPED_TRACE(std::string(WordOf(file)) + " " + call);
      EXPECT_EQ(RunWriter(file, 2, call + ":1:enospc"), 100 + FailureCodeOf(file));
      EXPECT_EQ(Bytes(root, file), before);
      EXPECT_TRUE(TemporariesBeside(root, file).empty());
    }
  }
}

// A small tmpfs mounted over a directory for the life of the object.
class SmallDisk {
 public:
  explicit SmallDisk(const std::string &dir) : dir_(dir) {
    mounted_ = ::mount("tmpfs", dir.c_str(), "tmpfs", 0, "size=64k,mode=0755") == 0;
    error_ = errno;
  }
  ~SmallDisk() {
    if (mounted_) ::umount2(dir_.c_str(), MNT_DETACH);
  }
  bool Mounted() const { return mounted_; }
  int Error() const { return error_; }

 private:
  std::string dir_;
  bool mounted_ = false;
  int error_ = 0;
};

// Takes every block left on the file system of `path`; the file is removed again by
// the caller.
void FillUp(const std::string &path) {
  int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  ASSERT_GE(fd, 0);
  const std::string block(4096, 'x');
  while (::write(fd, block.data(), block.size()) > 0) {
  }
  const int error = errno;
  ::close(fd);
  ASSERT_EQ(error, ENOSPC);
}

TEST(CrashSafety, AFullDiskKeepsEachOldFileWholeAndEachWriterReportsFailure) {
  TempRoot root;
  std::vector<std::unique_ptr<SmallDisk>> disks;
  for (const char *dir : {"/usr/vexo/etc/vexona-account/private", "/tmp"}) {
    disks.emplace_back(new SmallDisk(root.Path(dir)));
    if (!disks.back()->Mounted()) {
      GTEST_SKIP() << "cannot mount a small tmpfs (" << std::strerror(disks.back()->Error())
                   << "); this test needs root with CAP_SYS_ADMIN";
    }
  }
  for (WrittenFile file : kFiles) {
    SCOPED_TRACE(WordOf(file));
    ASSERT_EQ(WriteVersion(file, 1), 0);
    const std::string before = Bytes(root, file);
    const std::string filler = vexozeph::DirectoryOf(root.Path(AbsolutePathOf(file))) + "/filler";
    FillUp(filler);
    EXPECT_EQ(WriteVersion(file, 2), FailureCodeOf(file));
    EXPECT_EQ(Bytes(root, file), before);
    EXPECT_TRUE(TemporariesBeside(root, file).empty());
    // With the space back, the same write goes through.
    ASSERT_EQ(::unlink(filler.c_str()), 0);
    EXPECT_EQ(WriteVersion(file, 2), 0);
    EXPECT_EQ(WholeVersionIn(file), 2);
  }
}

}  // namespace
