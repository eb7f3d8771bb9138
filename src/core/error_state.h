// Internal error helpers shared by the library's modules.
#ifndef VEXOZEPH_CORE_ERROR_STATE_H_
#define VEXOZEPH_CORE_ERROR_STATE_H_

namespace vexozeph {

// The cloud-service library's last error as a library code: 0 -> 0, 1 -> 15, else 24.
// Does not store it.
unsigned int GetErrorCodeFromCloudService();

}  // namespace vexozeph

#endif  // VEXOZEPH_CORE_ERROR_STATE_H_
