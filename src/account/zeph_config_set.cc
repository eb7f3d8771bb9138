#include <cstring>
#include <string>

#include "account/account_operations.h"
#include "base/log.h"
#include "core/c_edge.h"
#include "core/failure.h"
#include "store/user_impl.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_exception.h"

namespace {

// The caller's record may not be terminated: read no further than the field.
template <size_t N>
std::string TextOf(const char (&field)[N]) {
  return std::string(field, strnlen(field, N));
}

}  // namespace

namespace vexozeph {

void WriteAccountRecord(const ZEPH_INFO &info) {
  UserUpdate update;
  update.SetEmail(TextOf(info.email))
      .SetAuthKey(TextOf(info.auth_key))
      .SetUserId(TextOf(info.user_id));
  // A caller with only the sign-in identity passes no query time and keeps the profile.
  if (info.last_query_time > 0) {
#define VEXOZEPH_TAKE_TEXT(field, Name) update.Set##Name(TextOf(info.field));
#define VEXOZEPH_TAKE_FLAG(field, Name) update.Set##Name(info.field != 0);
    VEXOZEPH_HOLDER_TEXT_FIELDS(VEXOZEPH_TAKE_TEXT)
    VEXOZEPH_PROFILE_FLAG_FIELDS(VEXOZEPH_TAKE_FLAG)
    VEXOZEPH_PROFILE_VERSION_FIELDS(VEXOZEPH_TAKE_TEXT)
#undef VEXOZEPH_TAKE_TEXT
#undef VEXOZEPH_TAKE_FLAG
    update.SetLastQueryTime(static_cast<int64_t>(info.last_query_time));
  }
  // One replacement of the file: a record that cannot be stored whole changes nothing.
  try {
    UserImpl().SetMany(update);
  } catch (const ZephException &e) {
    ZLOG("Failed on VEXOZEPHAccountSet: %s", e.what());
    Fail(e.GetCode());
  }
}

}  // namespace vexozeph

extern "C" VEXOZEPH_API int VEXOZEPHAccountSet(const ZEPH_INFO *info) {
  return vexozeph::GuardCInterface("VEXOZEPHAccountSet", [&] {
    if (info == nullptr) vexozeph::Fail(VEXOZEPH_ERR_BAD_PARAMETER);
    vexozeph::WriteAccountRecord(*info);
    VEXOZEPHErrSet(VEXOZEPH_ERR_SUCCESS);
    return 0;
  });
}
