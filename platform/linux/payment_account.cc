// The package-store side's account reader on a generic Linux host: the "zephID" stored in
// <root>/usr/vexo/etc/vexona-account/private/user.conf, copied to the start of the record
// (NUL-terminated, the rest zeroed). Fails when no account is stored, when the record is
// too small, or when the file cannot be read (it is root's own, mode 0600).
#include <errno.h>

#include <cstring>

#include "base/root_path.h"
#include "kv_file.h"
#include "platform_error.h"
#include "vexo_platform/vexo_payment.h"

extern "C" int VEXOPaymentZephAccountGet(void *record, size_t size) {
  using namespace vexo_platform;
  if (record == nullptr || size == 0) {
    SET_PLATFORM_ERROR(EINVAL);
    return -1;
  }
  char account[2048] = {0};
  const std::string path = vexozeph::RootedPath("/usr/vexo/etc/vexona-account/private/user.conf");
  int found = kv::Get(path.c_str(), "zephID", account, sizeof(account));
  if (found < 0) return -1;
  if (found == 0) {
    SET_PLATFORM_ERROR(ENOENT);
    return -1;
  }
  size_t length = std::strlen(account);
  if (length >= size) {
    SET_PLATFORM_ERROR(ERANGE);
    return -1;
  }
  std::memset(record, 0, size);
  std::memcpy(record, account, length);
  return 0;
}
