// The generic-Linux key-value settings files: exact key matching, byte-for-byte
// preservation of other lines, refusal of line breaks, and no lost updates between
// concurrent writers.
#include <errno.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "support/child_guard.h"
#include "support/child_process.h"
#include "support/temp_root.h"
#include "vexo_platform/vlib_error.h"
#include "vexo_platform/vlib_file.h"
#include "vexo_platform/vlib_string.h"

namespace {

using vexozeph::testing::ChildGuard;
using vexozeph::testing::NamesIn;
using vexozeph::testing::StartChild;
using vexozeph::testing::TempRoot;
using vexozeph::testing::WaitChild;

const char *kLine = "%s=\"%s\"\n";

std::string GetValue(const std::string &path, const char *key, int *rc = nullptr) {
  char value[8192] = {0};
  int result = VLIBCFileGetKeyValue(path.c_str(), key, value, sizeof(value), 0);
  if (rc != nullptr) *rc = result;
  return value;
}

// The keys of the file at `path`, in file order; none when it cannot be read.
std::vector<std::string> KeysOf(const std::string &path) {
  PVLIBSZLIST list = VLIBCSzListAlloc(512);
  std::vector<std::string> keys;
  if (VLIBCFileGetKeys(path.c_str(), list) >= 0) {
    for (int i = 0; i < VLIBCSzListSize(list); ++i) keys.push_back(VLIBCSzListGet(list, i));
  }
  VLIBCSzListFree(list);
  return keys;
}

// What lstat says of `path`; all zero when it fails.
struct stat StatOf(const std::string &path) {
  struct stat info {};
  ::lstat(path.c_str(), &info);
  return info;
}

// One key set with the usual line format.
int Set(const std::string &path, const std::string &key, const std::string &value) {
  return VLIBCFileSetKeyValue(path.c_str(), key.c_str(), value.c_str(), kLine);
}

// Names in `dir` starting with '.', i.e. the writer's temporary files.
std::vector<std::string> HiddenFiles(const std::string &dir) {
  std::vector<std::string> hidden;
  for (const std::string &name : NamesIn(dir)) {
    if (name[0] == '.') hidden.push_back(name);
  }
  return hidden;
}

TEST(PlatformKeyValueFile, ReplacesOnlyItsOwnKeyAndKeepsEverythingElseByteForByte) {
  TempRoot root;
  const std::string path = root.Path("/etc/user.conf");
  root.WriteFile("/etc/user.conf",
                 "# written by hand\n"
                 "zephIDSerial=\"12345\"\n"
                 "zephID=\"old@example.com\"\n"
                 "  spaced = \"a  b\"   \n"
                 "\n"
                 "zephID=\"duplicate@example.com\"\n"
                 "unquoted=plain");
  ASSERT_EQ(0, chmod(path.c_str(), 0644));

  ASSERT_GE(Set(path, "zephID", "new@example.com"), 0);
  // First occurrence replaced in place, later duplicate dropped, the prefix-sharing
  // "zephIDSerial" untouched, hand-written lines (odd spacing, blank, comment) intact.
  EXPECT_EQ(root.ReadFile("/etc/user.conf"),
            "# written by hand\n"
            "zephIDSerial=\"12345\"\n"
            "zephID=\"new@example.com\"\n"
            "  spaced = \"a  b\"   \n"
            "\n"
            "unquoted=plain");
  EXPECT_EQ(GetValue(path, "zephIDSerial"), "12345");
  EXPECT_EQ(GetValue(path, "spaced"), "a  b");
  EXPECT_EQ(GetValue(path, "unquoted"), "plain");

  // Appending after a last line without newline must not glue the two lines together.
  ASSERT_GE(Set(path, "zephIDS", "x\"y"), 0);
  EXPECT_EQ(GetValue(path, "unquoted"), "plain");
  EXPECT_EQ(GetValue(path, "zephIDS"), "x\"y");  // inner quotes survive a round trip
  EXPECT_EQ(GetValue(path, "zephIDSerial"), "12345");

  // The file may hold secrets: whatever it was before, it is 0600 after a write.
  EXPECT_EQ(StatOf(path).st_mode & 07777, 0600u);
  EXPECT_TRUE(HiddenFiles(root.Path("/etc")).empty());

  // A missing file is created with just the new line.
  const std::string fresh = root.Path("/etc/fresh.conf");
  ASSERT_GE(Set(fresh, "language", "enu"), 0);
  EXPECT_EQ(root.ReadFile("/etc/fresh.conf"), "language=\"enu\"\n");
}

TEST(PlatformKeyValueFile, RefusesAnythingThatCouldForgeALine) {
  TempRoot root;
  const std::string path = root.Path("/etc/user.conf");
  root.WriteFile("/etc/user.conf", "zephID=\"a@b\"\n");
  const std::string before = root.ReadFile("/etc/user.conf");

  struct Case {
    const char *key;
    const char *value;
    const char *format;
  } refused[] = {
      {"zephID", "evil\nbx_auth_key=\"stolen\"", kLine},
      {"zephID", "evil\r", kLine},
      {"", "v", kLine},
      {"a=b", "v", kLine},
      {"a\"b", "v", kLine},
      {"a\nb", "v", kLine},
      {"zephID", "v", "%s=\"%s\" %s\n"},  // a third argument that does not exist
      {"zephID", "v", "%s=%d\n"},
      {"zephID", "v", "%s\n=%s\n"},  // a format that itself splits the line
  };
  for (const Case &c : refused) {
    SCOPED_TRACE(std::string(c.key) + " / " + c.format);
    EXPECT_LT(VLIBCFileSetKeyValue(path.c_str(), c.key, c.value, c.format), 0);
    EXPECT_EQ(VLIBCErrGet(), EINVAL);
    EXPECT_STRNE(VLIBCErrorGetFile(), "");
  }
  EXPECT_EQ(root.ReadFile("/etc/user.conf"), before);
}

TEST(PlatformKeyValueFile, SeveralKeysAreStoredAsIfOneByOneButInOneCheckedReplacement) {
  TempRoot root;
  const std::string path = root.Path("/etc/user.conf");
  root.WriteFile("/etc/user.conf", "b=\"1\"\nkeep=\"k\"\n");

  // In order: "a" is appended, "b" replaced in place, "c" appended, then "a" replaced.
  // (A copy of server data: replaced whole all the same.)
  const char *keys[] = {"a", "b", "c", "a"};
  const char *values[] = {"x", "2", "y", "z"};
  ASSERT_GE(VLIBCFileSetKeyValues(path.c_str(), keys, values, 4, kLine, VLIB_FILE_NOT_DURABLE), 0);
  EXPECT_EQ(root.ReadFile("/etc/user.conf"), "b=\"2\"\nkeep=\"k\"\na=\"z\"\nc=\"y\"\n");

  // One refused value refuses them all before anything is written.
  const std::string before = root.ReadFile("/etc/user.conf");
  const ino_t old_inode = StatOf(path).st_ino;
  const char *bad[] = {"a", "evil\nkeep=\"forged\""};
  const char *pair[] = {"a", "b"};
  EXPECT_LT(VLIBCFileSetKeyValues(path.c_str(), pair, bad, 2, kLine, 0), 0);
  EXPECT_EQ(VLIBCErrGet(), EINVAL);
  EXPECT_LT(VLIBCFileSetKeyValues(path.c_str(), keys, values, 0, kLine, 0), 0);
  EXPECT_LT(VLIBCFileSetKeyValues(path.c_str(), keys, values, 4, kLine, 0x2), 0) << "unknown flag";
  EXPECT_EQ(root.ReadFile("/etc/user.conf"), before);
  EXPECT_EQ(StatOf(path).st_ino, old_inode) << "a refused write must not replace the file";

  // A reader in another process sees the pair change together, never one without the
  // other.
  const char *both[] = {"first", "second"};
  const char *ones[] = {"1", "1"};
  const char *twos[] = {"2", "2"};
  ASSERT_GE(VLIBCFileSetKeyValues(path.c_str(), both, ones, 2, kLine, 0), 0);
  pid_t child = StartChild([&] {
    for (int i = 0;; ++i) {
      VLIBCFileSetKeyValues(path.c_str(), both, i % 2 ? ones : twos, 2, kLine, 0);
    }
    return 0;
  });
  ASSERT_GT(child, 0);
  ChildGuard writer(child);
  for (int i = 0; i < 2000; ++i) {
    const std::string content = root.ReadFile("/etc/user.conf");
    ASSERT_TRUE(content.find("first=\"1\"\nsecond=\"1\"\n") != std::string::npos ||
                content.find("first=\"2\"\nsecond=\"2\"\n") != std::string::npos)
        << content;
  }
}

// Setting what a file already holds spares the replacement and its flushes, but only when
// the file is exactly what a replacement would leave: a wrong mode or a link in its place
// is still replaced.
TEST(PlatformKeyValueFile, SettingWhatTheFileHoldsLeavesItOnlyWhenAWriteWouldLeaveTheSame) {
  TempRoot root;
  const std::string path = root.Path("/etc/user.conf");
  ASSERT_GE(Set(path, "a", "1"), 0);
  const ino_t written = StatOf(path).st_ino;
  ASSERT_GE(Set(path, "a", "1"), 0);
  EXPECT_EQ(StatOf(path).st_ino, written);

  ASSERT_EQ(chmod(path.c_str(), 0644), 0);
  ASSERT_GE(Set(path, "a", "1"), 0);
  EXPECT_NE(StatOf(path).st_ino, written);
  EXPECT_EQ(StatOf(path).st_mode & 07777, 0600u);

  root.WriteFile("/etc/elsewhere", "a=\"1\"\n");
  ASSERT_EQ(chmod(root.Path("/etc/elsewhere").c_str(), 0600), 0);
  ASSERT_EQ(unlink(path.c_str()), 0);
  ASSERT_EQ(symlink(root.Path("/etc/elsewhere").c_str(), path.c_str()), 0);
  ASSERT_GE(Set(path, "a", "1"), 0);
  EXPECT_TRUE(S_ISREG(StatOf(path).st_mode));
  EXPECT_EQ(GetValue(path, "a"), "1");
}

// The reader refuses files over 4 MiB; a file it refuses would lose every key at once, for
// good, so the writer refuses to produce one and the file stays usable.
TEST(PlatformKeyValueFile, AWriteThatWouldOutgrowTheReaderIsRefused) {
  TempRoot root;
  const std::string path = root.Path("/etc/user.conf");
  const std::string big(4 * 1024 * 1024 - 64, 'b');
  ASSERT_GE(Set(path, "big", big), 0);
  const std::string before = root.ReadFile("/etc/user.conf");

  const std::string more(128, 'm');
  EXPECT_LT(Set(path, "more", more), 0);
  EXPECT_EQ(VLIBCErrGet(), EFBIG);
  const std::string huge(5 * 1024 * 1024, 'h');
  EXPECT_LT(Set(path, "big", huge), 0);
  EXPECT_EQ(root.ReadFile("/etc/user.conf"), before);
  EXPECT_EQ(GetValue(path, "big").size(), 8191u) << "still readable";

  // Making room again works.
  ASSERT_GE(Set(path, "big", "small"), 0);
  ASSERT_GE(Set(path, "more", more), 0);
  EXPECT_EQ(GetValue(path, "more"), more);
}

TEST(PlatformKeyValueFile, ReaderAnswersFoundAbsentAndUnreadableDistinctly) {
  TempRoot root;
  const std::string path = root.Path("/etc/vexoinfo.conf");
  root.WriteFile("/etc/vexoinfo.conf",
                 "language=\"enu\"\nempty=\"\"\nlanguage=\"ger\"\nzeph_disable_report=\"yes\"\n");
  int rc = 0;
  EXPECT_EQ(GetValue(path, "language", &rc), "enu");  // first occurrence wins
  EXPECT_EQ(rc, 3);
  for (const char *empty_or_absent : {"empty", "lang"}) {
    GetValue(path, empty_or_absent, &rc);
    EXPECT_EQ(rc, 0) << empty_or_absent;
  }
  GetValue(root.Path("/etc/missing.conf"), "language", &rc);
  EXPECT_LT(rc, 0);
  EXPECT_EQ(VLIBCErrGet(), ENOENT);

  char small[3];
  EXPECT_EQ(VLIBCFileGetKeyValue(path.c_str(), "language", small, sizeof(small), 0), 2);
  EXPECT_STREQ(small, "en");

  EXPECT_EQ(VLIBCFileCheckKeyValue(path.c_str(), "zeph_disable_report", "yes", 0), 1);
  EXPECT_EQ(VLIBCFileCheckKeyValue(path.c_str(), "zeph_disable_report", "ye", 0), 0);
  EXPECT_EQ(VLIBCFileCheckKeyValue(path.c_str(), "absent", "", 0), 0);

  EXPECT_EQ(KeysOf(path), (std::vector<std::string>{"language", "empty", "zeph_disable_report"}));
}

// A writer killed at any moment leaves the old or the new file and at most one temporary:
// the crash-safety stress harness kills the account file's writers, which go through here.

// Writers in several processes adding keys to one file at once: every key must survive.
// Without serialising the read-modify-write, one writer's rename drops the other's key.
TEST(PlatformKeyValueFile, ConcurrentWritersLoseNoKey) {
  TempRoot root;
  const std::string path = root.Path("/etc/shared.conf");
  const int kProcesses = 4;
  const int kKeysEach = 25;
  std::vector<pid_t> children;
  for (int p = 0; p < kProcesses; ++p) {
    children.push_back(StartChild([&, p] {
      for (int k = 0; k < kKeysEach; ++k) {
        std::string key = "p" + std::to_string(p) + "_" + std::to_string(k);
        if (VLIBCFileSetKeyValue(path.c_str(), key.c_str(), "v", kLine) < 0) return 1;
      }
      return 0;
    }));
  }
  for (pid_t child : children) EXPECT_EQ(WaitChild(child), 0);
  EXPECT_EQ(KeysOf(path).size(), static_cast<size_t>(kProcesses * kKeysEach));
}

}  // namespace
