#include "internal/privilege_section.h"

#include <errno.h>
#include <string.h>
#include <syslog.h>
#include <unistd.h>

#include "internal/log.h"

namespace vexozeph {

PrivilegeSection::PrivilegeSection(const char *module, int line) : module_(module), line_(line) {}

PrivilegeSection::~PrivilegeSection() { Leave(); }

bool PrivilegeSection::SetEffective(bool group, id_t id) {
  const char *kind = group ? "resgid" : "resuid";
  int rc = group ? ::setresgid(static_cast<gid_t>(-1), static_cast<gid_t>(id), static_cast<gid_t>(-1))
                 : ::setresuid(static_cast<uid_t>(-1), static_cast<uid_t>(id), static_cast<uid_t>(-1));
  if (rc != 0) {
    char reason[1024] = {0};
    const char *text = ::strerror_r(errno, reason, sizeof(reason));
    log::Write(LOG_AUTH | LOG_ERR, "%s:%d ERROR: set%s(%d, %d, %d) [%s]", module_, line_, kind, -1,
               static_cast<int>(id), -1, text);
    return false;
  }
  // Every move to root is worth a trace in the auth log.
  if (id == 0) {
    log::Write(LOG_AUTH | LOG_INFO, "%s:%d WARNING: set%s(%d, %d, %d)", module_, line_, kind, -1, 0,
               -1);
  }
  return true;
}

bool PrivilegeSection::Enter() {
  if (::geteuid() == 0) return true;  // Already root: nothing to switch, nothing to log.
  saved_uid_ = ::geteuid();
  saved_gid_ = ::getegid();
  bool raised_group = false;
  bool ok = true;
  if (saved_gid_ != 0) {
    ok = SetEffective(true, 0);
    raised_group = ok;
  }
  if (ok) ok = SetEffective(false, 0);
  if (!ok) {
    // Do not keep a half-raised process: drop the group again if it went up.
    if (raised_group) {
      ::setresgid(static_cast<gid_t>(-1), saved_gid_, static_cast<gid_t>(-1));
    }
    log::Write(LOG_AUTH | LOG_ERR, "%s:%d ERROR: ENTERCriticalSection", module_, line_);
    errno = EPERM;
    log::Write(LOG_ERR, "%s:%d Change permission failed", module_, line_);
    return false;
  }
  entered_ = true;
  errno = 0;
  return true;
}

void PrivilegeSection::Leave() {
  if (!entered_) return;
  entered_ = false;
  bool ok = true;
  const bool uid_differs = saved_uid_ != ::geteuid();
  // The group can only be changed back while the user is still root.
  // Every step is tried even after a failure, so that the user is dropped whatever the
  // group did.
  if (uid_differs) ok = SetEffective(false, 0) && ok;
  if (saved_gid_ != ::getegid()) ok = SetEffective(true, saved_gid_) && ok;
  if (uid_differs) ok = SetEffective(false, saved_uid_) && ok;
  if (!ok) {
    log::Write(LOG_AUTH | LOG_ERR, "%s:%d ERROR: LEAVECriticalSection", module_, line_);
    errno = EPERM;
    return;
  }
  errno = 0;
}

}  // namespace vexozeph
