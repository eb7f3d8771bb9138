// Lifts a process that is not root to effective root for one access to a root-only file
// and drops it again afterwards. Effective ids only: the real and saved ids stay, which is
// what lets a saved-set-user-ID root helper come back down. Sections of several threads
// at once share one lift of the process.
#ifndef VEXOZEPH_STORE_PRIVILEGE_SECTION_H_
#define VEXOZEPH_STORE_PRIVILEGE_SECTION_H_

#include <sys/types.h>

namespace vexozeph {

class PrivilegeSection {
 public:
  // `module` and `line` name the access in the log lines the section writes.
  PrivilegeSection(const char *module, int line);
  // Leaves the section if it was entered.
  ~PrivilegeSection();
  PrivilegeSection(const PrivilegeSection &) = delete;
  PrivilegeSection &operator=(const PrivilegeSection &) = delete;

  // Raises group then user to 0 when the process is not root. False (logged, errno 1, ids
  // restored) when that is refused; nothing is to be touched then.
  bool Enter();
  // Restores group then user; failures are logged and leave errno 1. Idempotent.
  void Leave();

 private:
  bool SetEffective(bool group, id_t id);

  const char *module_;
  int line_;
  bool entered_ = false;
};

}  // namespace vexozeph

#endif  // VEXOZEPH_STORE_PRIVILEGE_SECTION_H_
