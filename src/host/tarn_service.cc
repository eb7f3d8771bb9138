#include "vexozeph/tarn_service.h"

#include "base/log.h"
#include "core/error_state.h"
#include "host/zeph_plugin_manager.h"
#include "transport/device.h"
#include "vexo_platform/vexo_cloud_service.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {

namespace {
const size_t kApiKeySize = 1024;
// Ask the cloud service to register a key when the device has none yet.
const int kRegisterWhenMissing = 1;
}  // namespace

TarnService::TarnService() = default;
TarnService::~TarnService() = default;

std::string TarnService::GetSerialNo() const {
  std::string serial;
  if (!device::ReadSerialNumber(ZLOG_HERE, serial)) throw ZephException(VEXOZEPH_ERR_SERIAL);
  return serial;
}

std::string TarnService::GetMac() const {
  std::string mac;
  if (!device::ReadMacAddress(ZLOG_HERE, mac)) throw ZephException(VEXOZEPH_ERR_MAC);
  return mac;
}

std::string TarnService::GetUserAgent() const {
  char agent[device::kUserAgentSize] = {0};
  device::CopyUserAgent(agent, sizeof(agent));
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
  FormHash notification;
  if (!notification.ok()) {
    ZLOG("Failed to notify: out of memory");
    return;
  }
  for (const auto &variable : variables) {
    if (!notification.Set(variable.first.c_str(), variable.second)) {
      ZLOG("Failed to set notify param: %s => %s", variable.first.c_str(), variable.second.c_str());
    }
  }
  if (!SendSysNotification(tag, notification))
    ZLOG("Failed to send notify by VEXOSysNotifySendNotifiction");
}

}  // namespace vexozeph
