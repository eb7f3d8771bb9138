// How often a text stands in another, overlapping occurrences counted.
#ifndef VEXOZEPH_TESTS_SUPPORT_OCCURRENCES_H_
#define VEXOZEPH_TESTS_SUPPORT_OCCURRENCES_H_

#include <cstddef>
#include <string>

namespace vexozeph {
namespace testing {

inline size_t Occurrences(const std::string &text, const std::string &needle) {
  size_t count = 0;
  for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1)) {
    ++count;
  }
  return count;
}

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_OCCURRENCES_H_
