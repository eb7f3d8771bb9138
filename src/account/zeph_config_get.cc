#include <cstring>
#include <string_view>

#include "account/account_operations.h"
#include "core/c_edge.h"
#include "core/failure.h"
#include "store/account_file.h"
#include "store/user_fields.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_exception.h"

static_assert(sizeof(ZEPH_INFO) == 20248, "the account record's layout is part of the C interface");

namespace {

// As much of `value` as the field holds, terminated. Stored values never hold a NUL.
template <size_t N>
void CopyText(char (&field)[N], std::string_view value) {
  const size_t size = value.size() < N ? value.size() : N - 1;
  std::memcpy(field, value.data(), size);
  field[size] = '\0';
}

}  // namespace

namespace vexozeph {

void ReadAccountRecord(ZEPH_INFO &info) {
  // One read of the file for the whole record, so that its fields belong together.
  AccountSnapshot account;
  try {
    account = AccountSnapshot::Read();
  } catch (const ZephException &e) {
    // Only the read can fail, before any field is copied: the record stays as it was.
    Fail(e.GetCode());
  }
  const std::string_view auth_key = account.GetAuthKey();
  const std::string_view user_id = account.GetUserId();
  if (auth_key.empty() || user_id.empty()) Fail(VEXOZEPH_ERR_NO_ACCOUNT);
  CopyText(info.auth_key, auth_key);
  CopyText(info.user_id, user_id);
#define VEXOZEPH_COPY_TEXT(field, Name) CopyText(info.field, account.Get##Name());
#define VEXOZEPH_COPY_FLAG(field, Name) info.field = account.Get##Name() ? 1 : 0;
  VEXOZEPH_PROFILE_TEXT_FIELDS(VEXOZEPH_COPY_TEXT)
  info.last_query_time = static_cast<int32_t>(account.GetLastQueryTime());
  VEXOZEPH_PROFILE_FLAG_FIELDS(VEXOZEPH_COPY_FLAG)
  VEXOZEPH_PROFILE_VERSION_FIELDS(VEXOZEPH_COPY_TEXT)
#undef VEXOZEPH_COPY_TEXT
#undef VEXOZEPH_COPY_FLAG
}

}  // namespace vexozeph

extern "C" VEXOZEPH_API int VEXOZEPHAccountGet(ZEPH_INFO *info) {
  return vexozeph::GuardCInterface("VEXOZEPHAccountGet", [&] {
    if (info == nullptr) vexozeph::Fail(VEXOZEPH_ERR_BAD_PARAMETER);
    vexozeph::ReadAccountRecord(*info);
    VEXOZEPHErrSet(VEXOZEPH_ERR_SUCCESS);
    return 0;
  });
}
