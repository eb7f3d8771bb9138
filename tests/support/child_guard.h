// Kills and reaps a forked child when a test leaves its scope, also through a failed
// ASSERT, so that a child looping for ever never outlives its test.
#ifndef VEXOZEPH_TESTS_SUPPORT_CHILD_GUARD_H_
#define VEXOZEPH_TESTS_SUPPORT_CHILD_GUARD_H_

#include <signal.h>
#include <sys/types.h>

#include "support/child_process.h"

namespace vexozeph {
namespace testing {

class ChildGuard {
 public:
  explicit ChildGuard(pid_t pid) : pid_(pid) {}
  ~ChildGuard() {
    if (pid_ > 0) {
      ::kill(pid_, SIGKILL);
      WaitChild(pid_);
    }
  }
  ChildGuard(const ChildGuard &) = delete;
  ChildGuard &operator=(const ChildGuard &) = delete;

 private:
  pid_t pid_;
};

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_CHILD_GUARD_H_
