// A system notification on its way to the host's notification service: a tag and its
// "%NAME%" variables in a platform hash of 1024 entries. TarnService::SendSysNotify is
// the class side's way to send one; C operations with their own log lines build one here.
#ifndef VEXOZEPH_INTERNAL_SYS_NOTIFICATION_H_
#define VEXOZEPH_INTERNAL_SYS_NOTIFICATION_H_

#include <string>

#include "internal/form_hash.h"

namespace vexozeph {

class SysNotification {
 public:
  SysNotification() = default;

  // False when the variables' hash could not be allocated: nothing can be sent then.
  bool ok() const { return variables_.ok(); }
  // False when the hash refuses the variable.
  bool Set(const std::string &name, const std::string &value);
  // Posts `tag` with the variables set so far (VEXOSysNotifySendNotifiction); false when
  // the host refuses it.
  bool Send(const std::string &tag) const;

 private:
  FormHash variables_;
};

}  // namespace vexozeph

#endif  // VEXOZEPH_INTERNAL_SYS_NOTIFICATION_H_
