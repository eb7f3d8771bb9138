#include "base/log.h"
#include "transport/device.h"
#include "vexo_platform/vlib_error.h"
#include "vexozeph/vexozeph.h"

extern "C" VEXOZEPH_API int VEXOZEPHUserAgentNameGet(char *buf, int size) {
  if (buf == nullptr || size <= 0) {
    VEXOZEPHErrSet(VEXOZEPH_ERR_BAD_PARAMETER);
    return -1;
  }
  // A request without the appliance's own agent still works, so a platform failure is
  // logged and the caller's (cleared) buffer goes out as it is.
  if (!vexozeph::device::ReadUserAgent(buf, static_cast<size_t>(size))) {
    ZLOG("VLIBBxinfoUserAgentGet failed, vexoerr=[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
  }
  return 0;
}
