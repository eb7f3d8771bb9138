#include "transport/device.h"

#include "vexo_platform/vexo_cloud_service.h"
#include "vexo_platform/vlib_device.h"
#include "vexo_platform/vlib_error.h"

namespace vexozeph {
namespace device {

bool ReadSerialNumber(std::string &serial) {
  char buffer[kSerialNumberSize] = {0};
  if (VLIBGetSerialNumber(buffer, sizeof(buffer)) < 0) return false;
  serial = buffer;
  return true;
}

bool ReadSerialNumber(const log::Place &where, std::string &serial) {
  if (ReadSerialNumber(serial)) return true;
  ZLOG_FROM(where, "Failed to get serial number, err=[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
  return false;
}

bool ReadMacAddress(const log::Place &where, std::string &mac) {
  char buffer[kMacAddressSize] = {0};
  if (VEXOBxinfoCloudServiceGetMacAddress(buffer, sizeof(buffer)) < 0) {
    ZLOG_FROM(where, "Failed to get mac address");
    return false;
  }
  mac = buffer;
  return true;
}

bool ReadUserAgent(char *buf, size_t size) {
  return VLIBBxinfoUserAgentGet(buf, size) >= 0;
}

}  // namespace device
}  // namespace vexozeph
