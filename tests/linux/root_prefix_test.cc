#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "base/root_path.h"
#include "support/temp_root.h"

namespace {

std::string RunProbe(const std::string &binary, const std::string &root) {
  // The leak checker cannot run inside a set-id process; the probe holds nothing anyway.
  std::string command =
      "ASAN_OPTIONS=detect_leaks=0 VEXOZEPH_ROOT='" + root + "' '" + binary + "'";
  FILE *pipe = ::popen(command.c_str(), "r");
  if (pipe == nullptr) return "<popen failed>";
  char line[4096] = {0};
  if (std::fgets(line, sizeof(line), pipe) == nullptr) line[0] = '\0';
  ::pclose(pipe);
  std::string out(line);
  if (!out.empty() && out.back() == '\n') out.pop_back();
  return out;
}

TEST(RootPrefix, PrefixesAbsolutePathsOnly) {
  vexozeph::testing::TempRoot root;
  EXPECT_EQ(vexozeph::RootedPath("/etc/vexoinfo.conf"), root.Dir() + "/etc/vexoinfo.conf");
  EXPECT_EQ(vexozeph::RootedPath("relative/x"), "relative/x");
  ::setenv("VEXOZEPH_ROOT", (root.Dir() + "//").c_str(), 1);
  EXPECT_EQ(vexozeph::RootedPath("/tmp/a"), root.Dir() + "/tmp/a");
}

TEST(RootPrefix, NotHonouredInASetuidOrSetgidProcess) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to make a setuid copy of the probe";
  struct passwd *nobody = ::getpwnam("nobody");
  if (nobody == nullptr) GTEST_SKIP() << "no 'nobody' user";
  vexozeph::testing::TempRoot root;
  // The copy lives in the test root; the directory must be reachable by 'nobody'.
  std::string copy = root.Path("/usr/vexo/bin/probe");
  std::filesystem::copy_file(ROOT_PREFIX_PROBE, copy);
  for (std::string dir = root.Path("/usr/vexo/bin"); dir.size() > 1;
       dir = std::filesystem::path(dir).parent_path().string()) {
    ::chmod(dir.c_str(), 0755);
    if (dir == root.Dir()) break;
  }
  ASSERT_EQ(::chmod(copy.c_str(), 0755), 0);
  EXPECT_EQ(RunProbe(copy, "/fake-root"), "/fake-root/etc/vexoinfo.conf") << "plain run honours it";

  ASSERT_EQ(::chown(copy.c_str(), nobody->pw_uid, nobody->pw_gid), 0);
  ASSERT_EQ(::chmod(copy.c_str(), 04755), 0);
  std::string setuid_out = RunProbe(copy, "/fake-root");
  if (setuid_out == "/fake-root/etc/vexoinfo.conf") {
    // A filesystem mounted nosuid runs the copy without its set-id bit.
    struct stat st {};
    ::stat(copy.c_str(), &st);
    GTEST_SKIP() << "set-id bits not honoured on this filesystem";
  }
  EXPECT_EQ(setuid_out, "/etc/vexoinfo.conf");

  ASSERT_EQ(::chown(copy.c_str(), 0, nobody->pw_gid), 0);
  ASSERT_EQ(::chmod(copy.c_str(), 02755), 0);
  EXPECT_EQ(RunProbe(copy, "/fake-root"), "/etc/vexoinfo.conf");
}

}  // namespace
