// Sets the process umask for the life of the object and puts the previous one back.
#ifndef VEXOZEPH_TESTS_SUPPORT_UMASK_SCOPE_H_
#define VEXOZEPH_TESTS_SUPPORT_UMASK_SCOPE_H_

#include <sys/stat.h>

namespace vexozeph {
namespace testing {

class UmaskScope {
 public:
  explicit UmaskScope(mode_t mask) : previous_(::umask(mask)) {}
  ~UmaskScope() { ::umask(previous_); }
  UmaskScope(const UmaskScope &) = delete;
  UmaskScope &operator=(const UmaskScope &) = delete;

 private:
  mode_t previous_;
};

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_UMASK_SCOPE_H_
