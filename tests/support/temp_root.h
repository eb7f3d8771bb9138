// A throwaway directory tree that the library and its platform treat as "/" (through
// VEXOZEPH_ROOT) for the life of the object.
#ifndef VEXOZEPH_TESTS_SUPPORT_TEMP_ROOT_H_
#define VEXOZEPH_TESTS_SUPPORT_TEMP_ROOT_H_

#include <set>
#include <string>

namespace vexozeph {
namespace testing {

class TempRoot {
 public:
  // Creates the tree with the directories the appliance normally has ("/tmp",
  // "/etc", "/etc.defaults", "/usr/vexo/etc/vexona-account/private",
  // "/usr/vexo/etc.defaults/vexona-account/config", "/etc/ssl/certs") and sets
  // VEXOZEPH_ROOT to it.
  TempRoot();
  // Restores the previous VEXOZEPH_ROOT and removes the tree.
  ~TempRoot();
  TempRoot(const TempRoot &) = delete;
  TempRoot &operator=(const TempRoot &) = delete;

  const std::string &Dir() const { return dir_; }
  // `absolute` ("/etc/vexoinfo.conf") inside the tree.
  std::string Path(const std::string &absolute) const { return dir_ + absolute; }
  // Writes `content` to Path(absolute), creating parent directories.
  void WriteFile(const std::string &absolute, const std::string &content) const;
  // The content of Path(absolute); "" when missing.
  std::string ReadFile(const std::string &absolute) const;
  bool Exists(const std::string &absolute) const;

 private:
  std::string dir_;
  std::string previous_root_;
  bool had_previous_root_ = false;
};

// The names in the directory `dir` (a real path), without "." and ".."; none when it
// cannot be read.
std::set<std::string> NamesIn(const std::string &dir);

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_TEMP_ROOT_H_
