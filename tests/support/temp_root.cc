#include "support/temp_root.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace vexozeph {
namespace testing {

namespace fs = std::filesystem;

std::set<std::string> NamesIn(const std::string &dir) {
  std::set<std::string> names;
  std::error_code error;
  for (const auto &entry : fs::directory_iterator(dir, error)) {
    names.insert(entry.path().filename().string());
  }
  return names;
}

TempRoot::TempRoot() {
  std::string pattern = (fs::temp_directory_path() / "vexozeph-root-XXXXXX").string();
  if (mkdtemp(&pattern[0]) == nullptr) throw std::runtime_error("mkdtemp failed");
  dir_ = pattern;
  for (const char *sub :
       {"/tmp", "/etc", "/etc.defaults", "/etc/ssl/certs", "/usr/vexo/etc/vexona-account/private",
        "/usr/vexo/etc.defaults/vexona-account/config", "/usr/vexo/bin", "/usr/vexo/sbin"}) {
    fs::create_directories(dir_ + sub);
  }
  ::chmod((dir_ + "/tmp").c_str(), 01777);
  if (const char *previous = std::getenv("VEXOZEPH_ROOT")) {
    had_previous_root_ = true;
    previous_root_ = previous;
  }
  ::setenv("VEXOZEPH_ROOT", dir_.c_str(), 1);
}

TempRoot::~TempRoot() {
  if (had_previous_root_) {
    ::setenv("VEXOZEPH_ROOT", previous_root_.c_str(), 1);
  } else {
    ::unsetenv("VEXOZEPH_ROOT");
  }
  std::error_code ignored;
  fs::remove_all(dir_, ignored);
}

void TempRoot::WriteFile(const std::string &absolute, const std::string &content) const {
  fs::path path(Path(absolute));
  fs::create_directories(path.parent_path());
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << content;
}

std::string TempRoot::ReadFile(const std::string &absolute) const {
  std::ifstream in(Path(absolute), std::ios::binary);
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

bool TempRoot::Exists(const std::string &absolute) const {
  return fs::exists(Path(absolute));
}

}  // namespace testing
}  // namespace vexozeph
