#include "vexozeph/tarn_service.h"

#include "internal/error_state.h"
#include "internal/log.h"
#include "vexo_platform/vexo_cloud_service.h"
#include "vexo_platform/vexo_notify.h"
#include "vexo_platform/vlib_string.h"
#include "vexo_platform/vlib_device.h"
#include "vexo_platform/vlib_error.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {

namespace {
const size_t kSerialSize = 36;
const size_t kMacSize = 24;
const int kUserAgentSize = 256;
const size_t kApiKeySize = 1024;
// Ask the cloud service to register a key when the device has none yet.
const int kRegisterWhenMissing = 1;
const int kNotifyHashSize = 1024;
}  // namespace

TarnService::TarnService() = default;
TarnService::~TarnService() = default;

std::string TarnService::GetSerialNo() const {
  char serial[kSerialSize] = {0};
  if (VLIBGetSerialNumber(serial, sizeof(serial)) < 0) {
    ZLOG("Failed to get serial number, err=[0x%04X %s:%d]", VLIBCErrGet(), VLIBCErrorGetFile(),
         VLIBCErrorGetLine());
    throw ZephException(VEXOZEPH_ERR_SERIAL);
  }
  return serial;
}

std::string TarnService::GetMac() const {
  char mac[kMacSize] = {0};
  if (VEXOBxinfoCloudServiceGetMacAddress(mac, sizeof(mac)) < 0) {
    ZLOG("Failed to get mac address");
    throw ZephException(VEXOZEPH_ERR_MAC);
  }
  return mac;
}

std::string TarnService::GetUserAgent() const {
  char agent[kUserAgentSize] = {0};
  if (VEXOZEPHUserAgentNameGet(agent, kUserAgentSize) < 0) {
    ZLOG("Failed to get zeph user agent");
    throw ZephException(VEXOZEPH_ERR_SYSTEM);
  }
  return agent;
}

std::string TarnService::GetApiKey() const {
  char key[kApiKeySize] = {0};
  if (VEXOCloudServiceGetApiKey(key, sizeof(key), kRegisterWhenMissing) < 0) {
    ZLOG("Failed to get apikey");
    throw ZephException(GetErrorCodeFromCloudService());
  }
  return key;
}

std::string TarnService::NewApiKey() const {
  char key[kApiKeySize] = {0};
  if (VEXOCloudServiceRegisterApiKey(key, sizeof(key)) < 0) {
    ZLOG("Failed to register apikey");
    throw ZephException(GetErrorCodeFromCloudService());
  }
  return key;
}

void TarnService::SendSysNotify(const std::string &tag,
                                const std::map<std::string, std::string> &variables) const {
  PVLIBSZHASH hash = VLIBCSzHashAlloc(kNotifyHashSize);
  if (hash == nullptr) {
    ZLOG("Failed to notify: out of memory");
    return;
  }
  for (const auto &variable : variables) {
    if (VLIBCSzHashSetValue(&hash, variable.first.c_str(), variable.second.c_str()) < 0) {
      ZLOG("Failed to set notify param: %s => %s", variable.first.c_str(),
           variable.second.c_str());
    }
  }
  if (VEXOSysNotifySendNotifiction(tag.c_str(), hash) < 0) {
    ZLOG("Failed to send notify by VEXOSysNotifySendNotifiction");
  }
  VLIBCSzHashFree(hash);
}

}  // namespace vexozeph
