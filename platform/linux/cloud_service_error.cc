#include "cloud_service_error.h"

#include "vexo_platform/vexo_cloud_service.h"

namespace vexo_platform {
namespace {
thread_local int g_cloud_service_error = VEXO_CLOUD_SERVICE_OK;
}  // namespace

void SetCloudServiceError(int code) {
  g_cloud_service_error = code;
}

}  // namespace vexo_platform

extern "C" int VEXOCloudServiceGetErrorCode(void) {
  return vexo_platform::g_cloud_service_error;
}
