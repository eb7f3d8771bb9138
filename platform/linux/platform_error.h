// The platform's last error, kept per thread. Every failing platform call records an
// errno-style number and the place that raised it, so that the library can print
// "[0x%04X file:line]" after its own message.
#ifndef VEXO_PLATFORM_LINUX_PLATFORM_ERROR_H_
#define VEXO_PLATFORM_LINUX_PLATFORM_ERROR_H_

namespace vexo_platform {

// Records `code` (an errno value; 0 is stored as EIO so a failure never reads as none)
// and the base name of `file` with `line`. `file` must outlive the thread (a literal).
void SetPlatformError(int code, const char *file, int line);

// Runs `body` and says whether it ran to its end: false when it threw. The platform
// reports its failures by return value; what can still throw inside it is the standard
// library (running out of memory, in practice), and that must never cross the platform's
// C interface. The platform's one catch-all.
template <typename Body>
bool RanWithoutThrowing(Body &&body) noexcept {
  try {
    body();
    return true;
  } catch (...) {
    return false;
  }
}

// Runs `body` and returns its result; if it throws, records `error` at the caller's place
// and returns `failed`.
template <typename Result, typename Body>
Result GuardPlatformCall(int error, Result failed, Body &&body, const char *file = __builtin_FILE(),
                         int line = __builtin_LINE()) noexcept {
  Result result = failed;
  if (!RanWithoutThrowing([&] { result = body(); })) SetPlatformError(error, file, line);
  return result;
}

}  // namespace vexo_platform

// Records the error at the caller's place.
#define SET_PLATFORM_ERROR(code) ::vexo_platform::SetPlatformError((code), __FILE__, __LINE__)

#endif  // VEXO_PLATFORM_LINUX_PLATFORM_ERROR_H_
