// Every absolute path the library and its platform touch is resolved here, so that tests
// and the demo can run the whole system inside a throwaway directory tree. Header-only:
// the command-line tool resolves the appliance's settings file the same way.
#ifndef VEXOZEPH_BASE_ROOT_PATH_H_
#define VEXOZEPH_BASE_ROOT_PATH_H_

#include <cstdlib>
#include <string>
#include <string_view>

namespace vexozeph {

namespace root_path_detail {

inline std::string_view PrefixView() {
  // secure_getenv answers null in a process whose ids differ from its real ones, so a
  // setuid helper can never be pointed at a tree of the caller's choosing.
  const char *root = secure_getenv("VEXOZEPH_ROOT");
  if (root == nullptr) return std::string_view();
  std::string_view prefix(root);
  while (!prefix.empty() && prefix.back() == '/') prefix.remove_suffix(1);
  return prefix;
}

}  // namespace root_path_detail

// The root prefix from VEXOZEPH_ROOT, read with secure_getenv so that a setuid or setgid
// process never honours it. Empty when unset. A trailing slash is dropped.
inline std::string RootPrefix() {
  return std::string(root_path_detail::PrefixView());
}

// `absolute` (which must begin with '/') under the root prefix; unchanged when there is
// no prefix or the path is not absolute.
inline std::string RootedPath(std::string_view absolute) {
  if (absolute.empty() || absolute[0] != '/') return std::string(absolute);
  // Built in place: every file access resolves a path, so one allocation each.
  const std::string_view prefix = root_path_detail::PrefixView();
  std::string path;
  path.reserve(prefix.size() + absolute.size());
  path.append(prefix).append(absolute);
  return path;
}

}  // namespace vexozeph

#endif  // VEXOZEPH_BASE_ROOT_PATH_H_
