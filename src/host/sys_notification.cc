#include "internal/sys_notification.h"

#include "vexo_platform/vexo_notify.h"

namespace vexozeph {

bool SysNotification::Set(const std::string &name, const std::string &value) {
  return variables_.Set(name.c_str(), value);
}

bool SysNotification::Send(const std::string &tag) const {
  return VEXOSysNotifySendNotifiction(tag.c_str(), variables_.get()) >= 0;
}

}  // namespace vexozeph
