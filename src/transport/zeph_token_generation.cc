#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/log.h"
#include "base/request_token.h"
#include "core/c_edge.h"
#include "transport/device.h"
#include "vexo_platform/vlib_error.h"
#include "vexo_platform/vlib_string.h"
#include "vexozeph/vexozeph.h"

namespace {

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

void LogGenerateTokenFailed() {
  ZLOG("GenerateToken Failed, err=[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
}

// Reads the serial into the caller's buffer whole, or fails: a token signed over a cut
// serial would not match the "bx_sn" the server is sent.
bool ReadSerialInto(char *serial, size_t serial_size) {
  char whole[vexozeph::device::kSerialNumberSize] = {0};
  if (!vexozeph::device::CopySerialNumber(serial != nullptr ? whole : nullptr, sizeof(whole))) {
    return false;
  }
  size_t length = std::strlen(whole);
  if (length >= serial_size) {
    LogGenerateTokenFailed();
    return false;
  }
  std::memcpy(serial, whole, length + 1);
  return true;
}

}  // namespace

namespace vexozeph {
namespace device {

bool CopySerialNumber(char *buf, size_t size) {
  if (buf == nullptr) {
    ZLOG("Wrong parameters");
    return false;
  }
  std::string serial;
  if (!ReadSerialNumber(serial)) {
    ZLOG("Failed to get serial number from flash. [0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
    return false;
  }
  if (size > 0) std::snprintf(buf, size, "%s", serial.c_str());
  if (size == 0 || !SerialLooksValid(buf)) {
    ZLOG("Serial number is invalid: [%s][0x%04X %s:%d]", serial.c_str(), VLIB_LAST_ERROR_ARGS);
    return false;
  }
  return true;
}

bool GenerateRequestToken(const char *account, const char *password, char *serial,
                          size_t serial_size, char *token, size_t token_size) {
  if (serial != nullptr && serial_size > 0 && serial[0] != '\0') {
    // A given serial must end inside its buffer; past it lies someone else's memory.
    if (strnlen(serial, serial_size) == serial_size) {
      LogGenerateTokenFailed();
      return false;
    }
    if (!SerialLooksValid(serial)) {
      ZLOG("Serial number is invalid: [%s][0x%04X %s:%d]", serial, VLIB_LAST_ERROR_ARGS);
      return false;
    }
  } else if (!ReadSerialInto(serial, serial_size)) {
    return false;
  }

  HeapText input;
  input.data = static_cast<char *>(std::calloc(1, kTokenInputInitialSize));
  if (input.data == nullptr) {
    ZLOG("Fail to allocate");
    return false;
  }
  input.capacity = kTokenInputInitialSize;
  for (const char *part : {static_cast<const char *>(serial), account, password}) {
    if (part == nullptr) continue;
    if (VLIBCStrCat(&input.data, &input.capacity, part) < 0) {
      ZLOG("Fail to concat string");
      return false;
    }
  }

  std::string computed;
  // A cut token would be refused by the server as a wrong one: the buffer must take the
  // whole text and its NUL, or the call fails.
  if (!RequestTokenFromInput(input.data, computed) || token == nullptr ||
      token_size <= computed.size()) {
    LogGenerateTokenFailed();
    return false;
  }
  std::memcpy(token, computed.c_str(), computed.size() + 1);
  return true;
}

}  // namespace device
}  // namespace vexozeph

extern "C" {

VEXOZEPH_API int VEXOZEPHGetSerialNumber(char *buf, size_t size) {
  return vexozeph::GuardCInterface("VEXOZEPHGetSerialNumber", [&] {
    return vexozeph::device::CopySerialNumber(buf, size) ? 0 : -1;
  });
}

VEXOZEPH_API int VEXOZEPHGenerateToken(const char *account, const char *password, char *serial,
                                       size_t serial_size, char *token, size_t token_size) {
  return vexozeph::GuardCInterface("VEXOZEPHGenerateToken", [&] {
    return vexozeph::device::GenerateRequestToken(account, password, serial, serial_size, token,
                                                  token_size)
               ? 0
               : -1;
  });
}

}  // extern "C"
