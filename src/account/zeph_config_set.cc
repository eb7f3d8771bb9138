#include <cstring>
#include <string>

#include "internal/c_edge.h"
#include "internal/log.h"
#include "vexozeph/user.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_exception.h"

namespace {

// The caller's record may not be terminated: read no further than the field.
template <size_t N>
std::string TextOf(const char (&field)[N]) {
  return std::string(field, strnlen(field, N));
}

int AccountSet(const ZEPH_INFO *info) {
  if (info == nullptr) return VEXOZEPHErrSet(VEXOZEPH_ERR_BAD_PARAMETER), -1;
  try {
    vexozeph::User user;
    user.SetEmail(TextOf(info->email));
    user.SetAuthKey(TextOf(info->auth_key));
    user.SetUserId(TextOf(info->user_id));
    // A caller with only the sign-in identity passes no query time and keeps the profile.
    if (info->last_query_time > 0) {
      user.SetName(TextOf(info->full_name));
      user.SetCountry(TextOf(info->country));
      user.SetTimezone(TextOf(info->timezone));
      user.SetNotifyLanguage(TextOf(info->notify_language));
      user.SetIsActivated(info->activated != 0);
      user.SetIsDisabled(info->disabled != 0);
      user.SetIsEnews(info->enews != 0);
      user.SetIsEnewsLocalPromotion(info->enews_local_promotion != 0);
      user.SetIsCriticalRelease(info->critical_release != 0);
      user.SetCriticalVersionList(TextOf(info->critical_version_list));
      user.SetCriticalVersionDomain(TextOf(info->critical_version_domain));
      user.SetLastQueryTime(static_cast<int64_t>(info->last_query_time));
    }
  } catch (const vexozeph::ZephException &e) {
    ZLOG("Failed on VEXOZEPHAccountSet: %s", e.what());
    VEXOZEPHErrSet(e.GetCode());
    return -1;
  }
  VEXOZEPHErrSet(VEXOZEPH_ERR_SUCCESS);
  return 0;
}

}  // namespace

extern "C" VEXOZEPH_API int VEXOZEPHAccountSet(const ZEPH_INFO *info) {
  return vexozeph::GuardCInterface("VEXOZEPHAccountSet", [&] { return AccountSet(info); });
}
