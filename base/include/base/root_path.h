// Every absolute path the library and its platform touch is resolved here, so that tests
// and the demo can run the whole system inside a throwaway directory tree.
#ifndef VEXOZEPH_BASE_ROOT_PATH_H_
#define VEXOZEPH_BASE_ROOT_PATH_H_

#include <string>
#include <string_view>

namespace vexozeph {

// The root prefix from VEXOZEPH_ROOT, read with secure_getenv so that a setuid or setgid
// process never honours it. Empty when unset. A trailing slash is dropped.
std::string RootPrefix();

// `absolute` (which must begin with '/') under the root prefix; unchanged when there is
// no prefix or the path is not absolute.
std::string RootedPath(std::string_view absolute);

}  // namespace vexozeph

#endif  // VEXOZEPH_BASE_ROOT_PATH_H_
