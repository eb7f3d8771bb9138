#include "base/root_path.h"

#include <cstdlib>

namespace vexozeph {

std::string RootPrefix() {
  // secure_getenv answers null in a process whose ids differ from its real ones, so a
  // setuid helper can never be pointed at a tree of the caller's choosing.
  const char *root = secure_getenv("VEXOZEPH_ROOT");
  if (root == nullptr) return std::string();
  std::string prefix(root);
  while (!prefix.empty() && prefix.back() == '/') prefix.pop_back();
  return prefix;
}

std::string RootedPath(const std::string &absolute) {
  if (absolute.empty() || absolute[0] != '/') return absolute;
  return RootPrefix() + absolute;
}

}  // namespace vexozeph
