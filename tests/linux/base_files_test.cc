// The base's whole-file helpers: an atomic write either replaces the file, with the mode
// asked for, or leaves it as it was, and never leaves a temporary file behind.
#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <set>
#include <string>

#include "base/atomic_file.h"
#include "base/json_utils.h"
#include "base/unique_fd.h"
#include "support/temp_root.h"

namespace {

using vexozeph::testing::NamesIn;
using vexozeph::testing::TempRoot;

mode_t ModeOf(const std::string &path) {
  struct stat info;
  return ::stat(path.c_str(), &info) == 0 ? (info.st_mode & 07777) : 0;
}

TEST(BaseFiles, AtomicWriteReplacesWholeOrNotAtAllAndLeavesNoTemporary) {
  TempRoot root;
  root.WriteFile("/data/kept.conf", "old");
  const std::string dir = root.Path("/data");
  const std::string path = dir + "/kept.conf";

  ASSERT_TRUE(vexozeph::WriteFileAtomically(path, "new", 0640));
  EXPECT_EQ(root.ReadFile("/data/kept.conf"), "new");
  EXPECT_EQ(ModeOf(path), 0640u);
  EXPECT_EQ(NamesIn(dir), std::set<std::string>{"kept.conf"});

  // The rename fails over a directory: the directory stays, and so does nothing else.
  ASSERT_EQ(::mkdir((dir + "/taken").c_str(), 0700), 0);
  errno = 0;
  EXPECT_FALSE(vexozeph::WriteFileAtomically(dir + "/taken", "x"));
  EXPECT_NE(errno, 0);
  EXPECT_EQ(NamesIn(dir), (std::set<std::string>{"kept.conf", "taken"}));
  EXPECT_FALSE(vexozeph::WriteFileAtomically(dir + "/missing/file", "x"));
  EXPECT_EQ(errno, ENOENT);
}

TEST(BaseFiles, AtomicWriteRemovesOnlyTemporariesThatNoLivingWriterHolds) {
  TempRoot root;
  root.WriteFile("/outside/target", "kept");
  const std::string dir = root.Path("/data");
  const std::string temp = ".kept.conf.vztmp.";
  for (const char *name :
       {"kept.conf", ".kept.conf.vztmp.Abandon1", ".kept.conf.vztmp.Heldfor1",
        ".kept.conf.vztmp.Another1", ".kept.conf.vztmp.short", "kept.conf.backup"}) {
    root.WriteFile(std::string("/data/") + name, "x");
  }
  // A writer still at work holds its temporary locked; another user's is not ours to
  // remove; a link is never opened.
  vexozeph::UniqueFd held(::open((dir + "/" + temp + "Heldfor1").c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_EQ(::flock(held.Get(), LOCK_EX), 0);
  ASSERT_EQ(::chown((dir + "/" + temp + "Another1").c_str(), 65534, 65534), 0);
  ASSERT_EQ(
      ::symlink(root.Path("/outside/target").c_str(), (dir + "/" + temp + "Linked01").c_str()), 0);

  ASSERT_TRUE(vexozeph::WriteFileAtomically(dir + "/kept.conf", "new"));
  EXPECT_EQ(root.ReadFile("/data/kept.conf"), "new");
  EXPECT_EQ(root.ReadFile("/outside/target"), "kept");
  EXPECT_EQ(NamesIn(dir),
            (std::set<std::string>{"kept.conf", temp + "Heldfor1", temp + "Another1",
                                   temp + "short", temp + "Linked01", "kept.conf.backup"}));
  held.Close();
  ASSERT_TRUE(vexozeph::WriteFileAtomically(dir + "/kept.conf", "newer"));
  EXPECT_EQ(NamesIn(dir).count(temp + "Heldfor1"), 0u);
}

TEST(BaseFiles, WholeFileReadStopsAtItsCap) {
  TempRoot root;
  root.WriteFile("/data/ten", "0123456789");
  std::string content;
  EXPECT_TRUE(vexozeph::ReadWholeFile(root.Path("/data/ten"), content, 10));
  EXPECT_EQ(content, "0123456789");
  errno = 0;
  EXPECT_FALSE(vexozeph::ReadWholeFile(root.Path("/data/ten"), content, 9));
  EXPECT_EQ(errno, EFBIG);
  EXPECT_FALSE(vexozeph::ReadWholeFile(root.Path("/data/none"), content));
  EXPECT_EQ(errno, ENOENT);

  // A JSON file one byte over the cap is unreadable, however valid: a planted file cannot
  // make a reader load it whole. At the cap it still parses.
  const size_t cap = vexozeph::json::kMaxFileBytes;
  std::string padded = "[" + std::string(cap - 2, ' ') + "]";
  root.WriteFile("/data/at_cap.json", padded);
  root.WriteFile("/data/over_cap.json", padded + " ");
  Json::Value parsed;
  EXPECT_TRUE(vexozeph::json::FromFile(root.Path("/data/at_cap.json"), parsed));
  EXPECT_FALSE(vexozeph::json::FromFile(root.Path("/data/over_cap.json"), parsed));
}

}  // namespace
