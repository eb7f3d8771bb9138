// The appliance's serial number on a generic Linux host. Sources, first usable one wins:
//   1. <root>/etc/vexozeph/serial, first line: set by the owner or the image builder;
//   2. <root>/sys/class/dmi/id/product_serial: the firmware's serial (root-only on most
//      hosts, and often a placeholder on virtual machines, which is skipped);
//   3. <root>/etc/machine-id: "VZ" + the first 10 upper-case hex digits of its MD5, stable
//      for the installation.
// A candidate is usable when it starts with a letter or digit, holds only letters,
// digits, '.', '_' and '-', and is not a known placeholder.
#include <errno.h>
#include <openssl/evp.h>

#include <cctype>
#include <cstdio>
#include <string>

#include "base/root_path.h"
#include "platform_error.h"
#include "text_file.h"
#include "vexo_platform/vlib_device.h"

namespace vexo_platform {
namespace {

bool IsPlaceholder(const std::string &serial) {
  std::string lower;
  for (char c : serial) lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (lower == "none" || lower == "unknown" || lower == "default" || lower == "0123456789") {
    return true;
  }
  return lower.find_first_not_of('0') == std::string::npos;
}

bool Usable(const std::string &serial) {
  if (serial.empty() || !std::isalnum(static_cast<unsigned char>(serial[0]))) return false;
  for (char c : serial) {
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '.' && c != '_' && c != '-') {
      return false;
    }
  }
  return !IsPlaceholder(serial);
}

bool FromFile(const char *absolute, std::string &serial) {
  return ReadFirstLine(vexozeph::RootedPath(absolute), serial) && Usable(serial);
}

bool FromMachineId(std::string &serial) {
  std::string id;
  if (!ReadFirstLine(vexozeph::RootedPath("/etc/machine-id"), id) || id.empty()) return false;
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  if (EVP_Digest(id.data(), id.size(), digest, &length, EVP_md5(), nullptr) != 1) return false;
  char hex[11];
  for (int i = 0; i < 5; ++i) std::snprintf(hex + 2 * i, 3, "%02X", digest[i]);
  serial = std::string("VZ") + hex;
  return true;
}

}  // namespace
}  // namespace vexo_platform

extern "C" int VLIBGetSerialNumber(char *buf, size_t size) {
  using namespace vexo_platform;
  if (buf == nullptr || size == 0) {
    SET_PLATFORM_ERROR(EINVAL);
    return -1;
  }
  buf[0] = '\0';
  std::string serial;
  if (!FromFile("/etc/vexozeph/serial", serial) &&
      !FromFile("/sys/class/dmi/id/product_serial", serial) && !FromMachineId(serial)) {
    SET_PLATFORM_ERROR(ENOENT);
    return -1;
  }
  if (serial.size() >= size) serial.resize(size - 1);
  CopyOut(serial, buf, size);
  return 0;
}
