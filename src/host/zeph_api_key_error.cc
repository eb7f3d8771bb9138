// Operators know these lines by the module of the store page that first used them.
#define ZLOG_MODULE_NAME "zeph_get_iframe_info"

#include "vexozeph/zeph_api_key.h"

#include "base/log.h"
#include "core/c_edge.h"
#include "core/failure.h"
#include "vexo_platform/vexo_cloud_service.h"
#include "vexozeph/vexozeph.h"

namespace {

const size_t kApiKeySize = 1024;

int HandleApiKeyError(Json::Value &params, const char *code) {
  if (code == nullptr) {
    ZLOG("Bad Parameters");
    vexozeph::Fail(VEXOZEPH_ERR_BAD_PARAMETER);
  }
  const unsigned int error = MapLibZephCenterErrorCode(code);
  if (error == VEXOZEPH_ERR_APIKEY_NOT_FOUND) {
    ZLOG("ApiKey not found. Register new one.");
    char key[kApiKeySize] = {0};
    if (VEXOCloudServiceRegisterApiKey(key, sizeof(key)) < 0) {
      ZLOG("VEXOCloudServiceRegisterApiKey failed");
      return -1;
    }
    params["api_key"] = Json::Value(key);
    return 0;
  }
  if (error == VEXOZEPH_ERR_APIKEY_EXPIRED) {
    // Renewal is the platform's job; the caller signs in again afterwards.
    VEXOCloudServiceActionHandler(VEXO_CLOUD_SERVICE_ACTION_RENEW_APIKEY);
    return -1;
  }
  ZLOG("VEXOZEPHHandleApiKeyError failed, error=%u", error);
  return -1;
}

}  // namespace

VEXOZEPH_API int VEXOZEPHHandleApiKeyError(Json::Value &params, const char *code) {
  return vexozeph::GuardCInterface("VEXOZEPHHandleApiKeyError",
                                   [&] { return HandleApiKeyError(params, code); });
}
