#include "store/privilege_section.h"

#include <errno.h>
#include <string.h>
#include <syslog.h>
#include <unistd.h>

#include <mutex>

#include "base/log.h"

namespace vexozeph {
namespace {

// The effective ids belong to the whole process, not to a thread: one lift is shared by
// every section inside at the same time, and only the last one out drops it, back to the
// ids the first one in found.
std::mutex g_lift_mutex;
int g_sections_inside = 0;
uid_t g_saved_uid = 0;
gid_t g_saved_gid = 0;

}  // namespace

PrivilegeSection::PrivilegeSection(const char *module, int line) : module_(module), line_(line) {}

PrivilegeSection::~PrivilegeSection() {
  Leave();
}

bool PrivilegeSection::SetEffective(bool group, id_t id) {
  const char *kind = group ? "resgid" : "resuid";
  int rc =
      group ? ::setresgid(static_cast<gid_t>(-1), static_cast<gid_t>(id), static_cast<gid_t>(-1))
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
  std::lock_guard<std::mutex> guard(g_lift_mutex);
  if (entered_) return true;
  // Another thread's section already lifted the process: share its lift.
  if (g_sections_inside > 0) {
    ++g_sections_inside;
    entered_ = true;
    errno = 0;
    return true;
  }
  if (::geteuid() == 0) return true;  // Already root: nothing to switch, nothing to log.
  const uid_t saved_uid = ::geteuid();
  const gid_t saved_gid = ::getegid();
  bool raised_group = false;
  bool ok = true;
  if (saved_gid != 0) {
    ok = SetEffective(true, 0);
    raised_group = ok;
  }
  if (ok) ok = SetEffective(false, 0);
  if (!ok) {
    // Do not keep a half-raised process: drop the group again if it went up (a failure to
    // do so is logged there).
    if (raised_group) SetEffective(true, saved_gid);
    log::Write(LOG_AUTH | LOG_ERR, "%s:%d ERROR: ENTERCriticalSection", module_, line_);
    errno = EPERM;
    log::Write(LOG_ERR, "%s:%d Change permission failed", module_, line_);
    return false;
  }
  g_saved_uid = saved_uid;
  g_saved_gid = saved_gid;
  g_sections_inside = 1;
  entered_ = true;
  errno = 0;
  return true;
}

void PrivilegeSection::Leave() {
  std::lock_guard<std::mutex> guard(g_lift_mutex);
  if (!entered_) return;
  entered_ = false;
  // The last section out drops the lift; until then the others still need it.
  if (--g_sections_inside > 0) {
    errno = 0;
    return;
  }
  bool ok = true;
  const bool uid_differs = g_saved_uid != ::geteuid();
  // The group can only be changed back while the user is still root.
  // Every step is tried even after a failure, so that the user is dropped whatever the
  // group did.
  if (uid_differs) ok = SetEffective(false, 0) && ok;
  if (g_saved_gid != ::getegid()) ok = SetEffective(true, g_saved_gid) && ok;
  if (uid_differs) ok = SetEffective(false, g_saved_uid) && ok;
  if (!ok) {
    log::Write(LOG_AUTH | LOG_ERR, "%s:%d ERROR: LEAVECriticalSection", module_, line_);
    errno = EPERM;
    return;
  }
  errno = 0;
}

}  // namespace vexozeph
