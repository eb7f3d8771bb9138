// A throwaway appliance tree for a fuzz target, made once per process: every rooted path
// the library opens lands in it, and it is removed when the process ends normally. A
// crash leaves it behind in $TMPDIR on purpose, next to the input that caused it.
#ifndef VEXOZEPH_TESTS_FUZZ_FUZZ_ROOT_H_
#define VEXOZEPH_TESTS_FUZZ_FUZZ_ROOT_H_

#include <memory>

#include "support/temp_root.h"

namespace vexozeph {
namespace fuzz {

inline const testing::TempRoot &Root() {
  static std::unique_ptr<testing::TempRoot> root(new testing::TempRoot());
  return *root;
}

// Stops the run at once with a message: libFuzzer then keeps the input as a crash.
#define FUZZ_CHECK(condition)                                                       \
  do {                                                                              \
    if (!(condition)) {                                                             \
      fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #condition); \
      abort();                                                                      \
    }                                                                               \
  } while (0)

}  // namespace fuzz
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_FUZZ_FUZZ_ROOT_H_
