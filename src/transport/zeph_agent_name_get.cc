#include "base/log.h"
#include "core/c_edge.h"
#include "core/failure.h"
#include "transport/device.h"
#include "vexo_platform/vlib_error.h"
#include "vexozeph/vexozeph.h"

namespace vexozeph {
namespace device {

void CopyUserAgent(char *buf, size_t size) {
  // A request without the appliance's own agent still works, so a platform failure is
  // logged and the caller's (cleared) buffer goes out as it is.
  if (!ReadUserAgent(buf, size)) {
    ZLOG("VLIBBxinfoUserAgentGet failed, vexoerr=[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
  }
}

}  // namespace device
}  // namespace vexozeph

extern "C" VEXOZEPH_API int VEXOZEPHUserAgentNameGet(char *buf, int size) {
  return vexozeph::GuardCInterface("VEXOZEPHUserAgentNameGet", [&] {
    if (buf == nullptr || size <= 0) vexozeph::Fail(VEXOZEPH_ERR_BAD_PARAMETER);
    vexozeph::device::CopyUserAgent(buf, static_cast<size_t>(size));
    return 0;
  });
}
