#ifndef VEXOZEPH_INTERNAL_STRING_UTILS_H_
#define VEXOZEPH_INTERNAL_STRING_UTILS_H_

#include <string>

namespace vexozeph {

// printf-style formatting into a new string. Never throws; a format that cannot be
// printed gives "" and one log line.
std::string format(const char *fmt, ...) noexcept __attribute__((format(printf, 1, 2)));

}  // namespace vexozeph

#endif  // VEXOZEPH_INTERNAL_STRING_UTILS_H_
