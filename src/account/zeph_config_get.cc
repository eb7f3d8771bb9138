#include <cstdio>

#include "internal/c_edge.h"
#include "vexozeph/user.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_exception.h"

static_assert(sizeof(ZEPH_INFO) == 20248, "the account record's layout is part of the C interface");

namespace {

template <size_t N>
void CopyText(char (&field)[N], const std::string &value) {
  std::snprintf(field, N, "%s", value.c_str());
}

int AccountGet(ZEPH_INFO *info) {
  if (info == nullptr) return VEXOZEPHErrSet(VEXOZEPH_ERR_BAD_PARAMETER), -1;
  try {
    vexozeph::User user;
    const std::string auth_key = user.GetAuthKey();
    const std::string user_id = auth_key.empty() ? std::string() : user.GetUserId();
    if (auth_key.empty() || user_id.empty()) return VEXOZEPHErrSet(VEXOZEPH_ERR_NO_ACCOUNT), -1;
    CopyText(info->auth_key, auth_key);
    CopyText(info->user_id, user_id);
    CopyText(info->email, user.GetEmail());
    CopyText(info->full_name, user.GetName());
    CopyText(info->country, user.GetCountry());
    CopyText(info->timezone, user.GetTimezone());
    CopyText(info->notify_language, user.GetNotifyLanguage());
    info->last_query_time = static_cast<int32_t>(user.GetLastQueryTime());
    info->activated = user.GetIsActivated() ? 1 : 0;
    info->disabled = user.GetIsDisabled() ? 1 : 0;
    info->enews = user.GetIsEnews() ? 1 : 0;
    info->critical_release = user.GetIsCriticalRelease() ? 1 : 0;
    info->enews_local_promotion = user.GetIsEnewsLocalPromotion() ? 1 : 0;
    CopyText(info->critical_version_list, user.GetCriticalVersionList());
    CopyText(info->critical_version_domain, user.GetCriticalVersionDomain());
  } catch (const vexozeph::ZephException &e) {
    // The fields copied so far stay filled; the caller goes by the result.
    VEXOZEPHErrSet(e.GetCode());
    return -1;
  }
  VEXOZEPHErrSet(VEXOZEPH_ERR_SUCCESS);
  return 0;
}

}  // namespace

extern "C" VEXOZEPH_API int VEXOZEPHAccountGet(ZEPH_INFO *info) {
  return vexozeph::GuardCInterface("VEXOZEPHAccountGet", [&] { return AccountGet(info); });
}
