#include "base/root_path.h"

#include <cstdlib>

namespace vexozeph {

namespace {

std::string_view PrefixView() {
  // secure_getenv answers null in a process whose ids differ from its real ones, so a
  // setuid helper can never be pointed at a tree of the caller's choosing.
  const char *root = secure_getenv("VEXOZEPH_ROOT");
  if (root == nullptr) return std::string_view();
  std::string_view prefix(root);
  while (!prefix.empty() && prefix.back() == '/') prefix.remove_suffix(1);
  return prefix;
}

}  // namespace

std::string RootPrefix() {
  return std::string(PrefixView());
}

std::string RootedPath(std::string_view absolute) {
  if (absolute.empty() || absolute[0] != '/') return std::string(absolute);
  // Built in place: every file access resolves a path, so one allocation each.
  const std::string_view prefix = PrefixView();
  std::string path;
  path.reserve(prefix.size() + absolute.size());
  path.append(prefix).append(absolute);
  return path;
}

}  // namespace vexozeph
