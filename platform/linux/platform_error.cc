#include "platform_error.h"

#include <errno.h>

#include <cstring>

#include "vexo_platform/vlib_error.h"

namespace vexo_platform {
namespace {

struct PlatformError {
  int code = 0;
  const char *file = "";
  int line = 0;
};

thread_local PlatformError g_last_error;

}  // namespace

void SetPlatformError(int code, const char *file, int line) {
  const char *base = file != nullptr ? std::strrchr(file, '/') : nullptr;
  g_last_error.code = code != 0 ? code : EIO;
  g_last_error.file = base != nullptr ? base + 1 : (file != nullptr ? file : "");
  g_last_error.line = line;
}

}  // namespace vexo_platform

extern "C" {

int VLIBCErrGet(void) {
  return vexo_platform::g_last_error.code;
}

const char *VLIBCErrorGetFile(void) {
  return vexo_platform::g_last_error.file;
}

int VLIBCErrorGetLine(void) {
  return vexo_platform::g_last_error.line;
}

}  // extern "C"
