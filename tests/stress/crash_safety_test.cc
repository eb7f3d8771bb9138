// Writers of the token file, the account file and a package cache killed at random
// moments, at each point around their write, fsync and rename calls, and refused space:
// the file always holds one whole version, the old or the new one, and killed writers
// leave no pile of temporary files beside it.
#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "base/atomic_file.h"
#include "support/child_process.h"
#include "support/crash_writer/written_versions.h"
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
using vexozeph::testing::WriteVersions;
using vexozeph::testing::WrittenFile;

const WrittenFile kFiles[] = {WrittenFile::kTokenFile, WrittenFile::kAccountFile,
                              WrittenFile::kPackageCache};
const int kKilled = 128 + SIGKILL;

// The code each writer reports when its file cannot be replaced.
int FailureCodeOf(WrittenFile file) {
  return file == WrittenFile::kAccountFile ? VEXOZEPH_ERR_ACCOUNT_WRITE : VEXOZEPH_ERR_BAD_JSON;
}

// Runs the crash writer for `version` with `fault` ("" for none); how it ended.
int RunWriter(WrittenFile file, int64_t version, const std::string &fault = "") {
  const std::string word = WordOf(file);
  const std::string number = std::to_string(version);
  return WaitChild(StartChild([&] {
    ::dup2(::open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
    if (!fault.empty()) ::setenv("CRASH_WRITER_FAULT", fault.c_str(), 1);
    ::execl(CRASH_WRITER_BINARY, "crash_writer", word.c_str(), number.c_str(), number.c_str(),
            static_cast<char *>(nullptr));
    return 127;
  }));
}

// Entries beside the file that carry its name: what a writer made on the way to it.
std::vector<std::string> TemporariesBeside(const TempRoot &root, WrittenFile file) {
  const std::string path = root.Path(AbsolutePathOf(file));
  const std::string base = vexozeph::BaseNameOf(path);
  std::vector<std::string> found;
  for (const std::string &name : vexozeph::testing::NamesIn(vexozeph::DirectoryOf(path))) {
    if (name != base && name.find(base) != std::string::npos) found.push_back(name);
  }
  return found;
}

std::string Bytes(const TempRoot &root, WrittenFile file) {
  return root.ReadFile(AbsolutePathOf(file));
}

// A tmpfs of `size` mounted over a directory for the life of the object.
class MountedTmpfs {
 public:
  MountedTmpfs(const std::string &dir, const std::string &size) : dir_(dir) {
    const std::string options = "size=" + size + ",mode=0755";
    mounted_ = ::mount("tmpfs", dir.c_str(), "tmpfs", 0, options.c_str()) == 0;
    error_ = errno;
  }
  ~MountedTmpfs() {
    if (mounted_) ::umount2(dir_.c_str(), MNT_DETACH);
  }
  bool Mounted() const { return mounted_; }
  int Error() const { return error_; }

 private:
  std::string dir_;
  bool mounted_ = false;
  int error_ = 0;
};

TEST(CrashSafety, WritersKilledAtRandomMomentsLeaveOneWholeVersionAndNoPileOfTemporaries) {
  TempRoot root;
  // A kill stops the process's steps, whatever the disk; on a tmpfs, where fsync costs
  // nothing, the runs take seconds rather than minutes. Without one they run on disk.
  MountedTmpfs private_dir(root.Path("/usr/vexo/etc/vexona-account/private"), "4m");
  MountedTmpfs tmp_dir(root.Path("/tmp"), "4m");
  const int kRunsPerFile = 160;
  const int64_t kVersionsPerRun = 1000 * 1000;
  std::mt19937 random(std::random_device{}());
  std::uniform_int_distribution<long> pause_micros(0, 3000);
  int runs = 0;
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
      // Forked, not executed: the random moment needs no fault points, and a run then
      // costs a fork rather than a program start.
      const pid_t writer = StartChild([&] { return WriteVersions(file, first, last, ready[1]); });
      ::close(ready[1]);
      // Killed only once its first version is stored: that one is the least it may hold.
      char byte = 0;
      ssize_t got;
      while ((got = ::read(ready[0], &byte, 1)) < 0 && errno == EINTR) {
      }
      ::close(ready[0]);
      std::this_thread::sleep_for(std::chrono::microseconds(pause_micros(random)));
      ::kill(writer, SIGKILL);
      const int status = WaitChild(writer);
      ASSERT_EQ(got, 1) << "run " << run << ": the writer ended with " << status;
      ++runs;
      // The writer has more versions to store than it can in the pause: only the kill
      // ends it.
      ASSERT_EQ(status, kKilled) << "run " << run;

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
  std::printf("random kills: %d writers killed, %d temporaries left and removed later\n", runs,
              leftovers);
}

TEST(CrashSafety, WritersKilledOrRefusedAroundEachWriteFsyncAndRenameLeaveTheOldOrTheNewVersion) {
  TempRoot root;
  int points = 0;
  for (WrittenFile file : kFiles) {
    SCOPED_TRACE(WordOf(file));
    ASSERT_EQ(RunWriter(file, 1), 0);
    int64_t stored = 1;
    for (const std::string call : {"write", "fsync", "renameat"}) {
      // A refused call keeps the old file whole and the writer reports its own code.
      const std::string before = Bytes(root, file);
      EXPECT_EQ(RunWriter(file, stored + 1, call + ":1:enospc"), 100 + FailureCodeOf(file)) << call;
      EXPECT_EQ(Bytes(root, file), before) << call;
      EXPECT_TRUE(TemporariesBeside(root, file).empty()) << call;
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
  std::vector<std::unique_ptr<MountedTmpfs>> disks;
  for (const char *dir : {"/usr/vexo/etc/vexona-account/private", "/tmp"}) {
    disks.emplace_back(new MountedTmpfs(root.Path(dir), "64k"));
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
