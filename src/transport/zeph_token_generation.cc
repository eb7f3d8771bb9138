#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "internal/c_edge.h"
#include "internal/log.h"
#include "internal/request_token.h"
#include "vexo_platform/vlib_device.h"
#include "vexo_platform/vlib_error.h"
#include "vexo_platform/vlib_string.h"
#include "vexozeph/vexozeph.h"

namespace {

const size_t kSerialBufferSize = 36;
const size_t kTokenInputInitialSize = 1024;

// Only the first character is examined: firmware has always accepted any serial that
// begins with an ASCII letter or digit.
bool SerialLooksValid(const char *serial) {
  unsigned char first = static_cast<unsigned char>(serial[0]);
  return (first >= '0' && first <= '9') || (first >= 'a' && first <= 'z') ||
         (first >= 'A' && first <= 'Z');
}

struct HeapText {
  char *data = nullptr;
  size_t capacity = 0;
  ~HeapText() { std::free(data); }
};

int GenerateToken(const char *account, const char *password, char *serial, size_t serial_size,
                  char *token, size_t token_size) {
  if (serial != nullptr && serial[0] != '\0') {
    if (!SerialLooksValid(serial)) {
      ZLOG("Serial number is invalid: [%s][0x%04X %s:%d]", serial, VLIBCErrGet(),
           VLIBCErrorGetFile(), VLIBCErrorGetLine());
      return -1;
    }
  } else if (VEXOZEPHGetSerialNumber(serial, serial_size) < 0) {
    return -1;
  }
  if (token == nullptr) return -1;

  HeapText input;
  input.data = static_cast<char *>(std::calloc(1, kTokenInputInitialSize));
  if (input.data == nullptr) {
    ZLOG("Fail to allocate");
    return -1;
  }
  input.capacity = kTokenInputInitialSize;
  for (const char *part : {static_cast<const char *>(serial), account, password}) {
    if (part == nullptr) continue;
    if (VLIBCStrCat(&input.data, &input.capacity, part) < 0) {
      ZLOG("Fail to concat string");
      return -1;
    }
  }

  std::string computed;
  if (!vexozeph::RequestTokenFromInput(input.data, computed)) {
    ZLOG("GenerateToken Failed, err=[0x%04X %s:%d]", VLIBCErrGet(), VLIBCErrorGetFile(),
         VLIBCErrorGetLine());
    return -1;
  }
  std::snprintf(token, token_size, "%s", computed.c_str());
  return 0;
}

}  // namespace

extern "C" {

VEXOZEPH_API int VEXOZEPHGetSerialNumber(char *buf, size_t size) {
  if (buf == nullptr) {
    ZLOG("Wrong parameters");
    return -1;
  }
  char serial[kSerialBufferSize] = {0};
  if (VLIBGetSerialNumber(serial, sizeof(serial)) < 0) {
    ZLOG("Failed to get serial number from flash. [0x%04X %s:%d]", VLIBCErrGet(),
         VLIBCErrorGetFile(), VLIBCErrorGetLine());
    return -1;
  }
  if (size > 0) std::snprintf(buf, size, "%s", serial);
  if (size == 0 || !SerialLooksValid(buf)) {
    ZLOG("Serial number is invalid: [%s][0x%04X %s:%d]", serial, VLIBCErrGet(),
         VLIBCErrorGetFile(), VLIBCErrorGetLine());
    return -1;
  }
  return 0;
}

VEXOZEPH_API int VEXOZEPHGenerateToken(const char *account, const char *password, char *serial,
                                       size_t serial_size, char *token, size_t token_size) {
  return vexozeph::GuardCInterface("VEXOZEPHGenerateToken", [&] {
    return GenerateToken(account, password, serial, serial_size, token, token_size);
  });
}

}  // extern "C"
