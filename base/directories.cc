#include "base/directories.h"

#include <errno.h>
#include <sys/stat.h>

namespace vexozeph {

bool MakeDirectories(const std::string &path, mode_t mode) {
  if (path.empty()) {
    errno = EINVAL;
    return false;
  }
  // Nearly always the directory stands already: one stat instead of a mkdir per level.
  struct stat info;
  if (::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) return true;
  for (size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
    std::string prefix = path.substr(0, slash);
    if (!prefix.empty() && ::mkdir(prefix.c_str(), mode) != 0 && errno != EEXIST) return false;
    if (slash == std::string::npos) break;
  }
  if (::stat(path.c_str(), &info) != 0) return false;
  if (!S_ISDIR(info.st_mode)) {
    errno = ENOTDIR;
    return false;
  }
  return true;
}

}  // namespace vexozeph
