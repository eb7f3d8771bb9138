// The platform's last error, kept per thread. Every failing platform call records an
// errno-style number and the place that raised it, so that the library can print
// "[0x%04X file:line]" after its own message.
#ifndef VEXO_PLATFORM_LINUX_PLATFORM_ERROR_H_
#define VEXO_PLATFORM_LINUX_PLATFORM_ERROR_H_

namespace vexo_platform {

// Records `code` (an errno value; 0 is stored as EIO so a failure never reads as none)
// and the base name of `file` with `line`. `file` must outlive the thread (a literal).
void SetPlatformError(int code, const char *file, int line);

}  // namespace vexo_platform

// Records the error at the caller's place.
#define SET_PLATFORM_ERROR(code) ::vexo_platform::SetPlatformError((code), __FILE__, __LINE__)

#endif  // VEXO_PLATFORM_LINUX_PLATFORM_ERROR_H_
