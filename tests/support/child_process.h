// Runs a function in a forked child and reports how it ended. For tests that need
// several processes (locks, crash safety, privilege changes).
#ifndef VEXOZEPH_TESTS_SUPPORT_CHILD_PROCESS_H_
#define VEXOZEPH_TESTS_SUPPORT_CHILD_PROCESS_H_

#include <sys/types.h>

#include <functional>

namespace vexozeph {
namespace testing {

// Forks; the child runs `body` and exits with its result (0..255) without running the
// parent's atexit handlers or gtest teardown. Returns the child's pid (or -1).
pid_t StartChild(const std::function<int()> &body);

// Waits for `pid`; its exit code, or 128 + signal number when killed, or -1.
int WaitChild(pid_t pid);

// StartChild followed by WaitChild.
int RunInChild(const std::function<int()> &body);

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_CHILD_PROCESS_H_
