// The code a call throws: what most tests of the classes assert on. -1 when the call
// returns normally; `message`, when given, receives the exception's text.
#ifndef VEXOZEPH_TESTS_SUPPORT_ZEPH_CODE_H_
#define VEXOZEPH_TESTS_SUPPORT_ZEPH_CODE_H_

#include <functional>
#include <string>

#include "vexozeph/zeph_exception.h"

namespace vexozeph {
namespace testing {

inline int CodeOf(const std::function<void()> &body, std::string *message = nullptr) {
  try {
    body();
  } catch (const ZephException &e) {
    if (message != nullptr) *message = e.what();
    return static_cast<int>(e.GetCode());
  }
  return -1;
}

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_ZEPH_CODE_H_
