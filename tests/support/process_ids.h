// Sets a (forked child) process's user and group ids at once, for tests of the privilege
// switch: the same real, effective and saved value for the user and the group id.
#ifndef VEXOZEPH_TESTS_SUPPORT_PROCESS_IDS_H_
#define VEXOZEPH_TESTS_SUPPORT_PROCESS_IDS_H_

#include <grp.h>
#include <unistd.h>

namespace vexozeph {
namespace testing {

inline constexpr uid_t kNobody = 65534;

// False when the kernel refuses; supplementary groups are dropped with the group ids.
inline bool SetIds(uid_t real, uid_t effective, uid_t saved) {
  return ::setgroups(0, nullptr) == 0 && ::setresgid(real, effective, saved) == 0 &&
         ::setresuid(real, effective, saved) == 0;
}

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_PROCESS_IDS_H_
