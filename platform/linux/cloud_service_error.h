// The cloud-service library's last error (VEXOCloudServiceGetErrorCode), per thread.
#ifndef VEXO_PLATFORM_LINUX_CLOUD_SERVICE_ERROR_H_
#define VEXO_PLATFORM_LINUX_CLOUD_SERVICE_ERROR_H_

namespace vexo_platform {

// Each cloud-service call sets it: 0 on success, VEXO_CLOUD_SERVICE_ERR_* on failure.
void SetCloudServiceError(int code);

}  // namespace vexo_platform

#endif  // VEXO_PLATFORM_LINUX_CLOUD_SERVICE_ERROR_H_
