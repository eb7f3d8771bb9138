// The cloud-service API key on a generic Linux host: one line in
// <root>/usr/vexo/etc/cloud_service/apikey (mode 0600, directory 0700). Registering makes
// a new random key (16 bytes from OpenSSL's generator, as 32 lower-case hex digits) and
// replaces the file atomically. Everything happens on this host, so the only cloud-service
// error these calls report is "other" (2).
#include <errno.h>
#include <openssl/rand.h>

#include <cstdio>
#include <memory>
#include <string>

#include "atomic_replace.h"
#include "base/directories.h"
#include "base/log.h"
#include "base/root_path.h"
#include "cloud_service_error.h"
#include "platform_error.h"
#include "text_file.h"
#include "vexo_platform/vexo_cloud_service.h"

namespace vexo_platform {
using vexozeph::MakeDirectories;

namespace {

constexpr size_t kKeyBytes = 16;

std::string KeyPath() {
  return vexozeph::RootedPath("/usr/vexo/etc/cloud_service/apikey");
}

int Fail(int platform_error, const char *file, int line) {
  SetPlatformError(platform_error, file, line);
  SetCloudServiceError(VEXO_CLOUD_SERVICE_ERR_OTHER);
  return -1;
}
#define FAIL(code) Fail((code), __FILE__, __LINE__)

// The stored key: 1 found, 0 none stored, -1 unreadable or corrupt (errno set).
int ReadKey(std::string &key) {
  if (!ReadFirstLine(KeyPath(), key)) return errno == ENOENT ? 0 : -1;
  if (key.empty()) return 0;
  for (char c : key) {
    if (c < 0x21 || c > 0x7e) {
      errno = EBADMSG;
      return -1;
    }
  }
  return 1;
}

bool NewKey(std::string &key) {
  unsigned char bytes[kKeyBytes];
  if (RAND_bytes(bytes, sizeof(bytes)) != 1) return false;
  char hex[2 * kKeyBytes + 1];
  for (size_t i = 0; i < kKeyBytes; ++i) std::snprintf(hex + 2 * i, 3, "%02x", bytes[i]);
  key = hex;
  return true;
}

// Makes and stores a new key while `lock` is held on the key's directory.
int RegisterLocked(const DirectoryLock &lock, std::string &key) {
  if (!NewKey(key)) return FAIL(EIO);
  if (!ReplaceFile(lock, KeyPath(), key + "\n")) return FAIL(errno);
  ZLOG_AT(LOG_NOTICE, "registered a new cloud-service API key");
  return 0;
}

// Creates the key's directory and locks it, so that processes registering at the same
// moment agree on one key.
bool LockKeyDirectory(std::unique_ptr<DirectoryLock> &lock) {
  const std::string dir = DirectoryOf(KeyPath());
  if (!MakeDirectories(dir, 0700)) return false;
  lock.reset(new DirectoryLock(dir));
  return lock->Held();
}

}  // namespace
}  // namespace vexo_platform

extern "C" {

int VEXOCloudServiceRegisterApiKey(char *buf, size_t size) {
  using namespace vexo_platform;
  if (buf == nullptr || size < 2 * kKeyBytes + 1) return FAIL(buf == nullptr ? EINVAL : ERANGE);
  std::unique_ptr<DirectoryLock> lock;
  if (!LockKeyDirectory(lock)) return FAIL(errno);
  std::string key;
  if (RegisterLocked(*lock, key) < 0) return -1;
  CopyOut(key, buf, size);
  SetCloudServiceError(VEXO_CLOUD_SERVICE_OK);
  return 0;
}

int VEXOCloudServiceGetApiKey(char *buf, size_t size, int flag) {
  using namespace vexo_platform;
  if (buf == nullptr || size == 0) return FAIL(EINVAL);
  buf[0] = '\0';
  std::string key;
  int found = ReadKey(key);
  if (found < 0) return FAIL(errno);
  if (found == 0) {
    if (flag != 1) return FAIL(ENOENT);
    std::unique_ptr<DirectoryLock> lock;
    if (!LockKeyDirectory(lock)) return FAIL(errno);
    // Another process may have registered while we waited for the lock.
    found = ReadKey(key);
    if (found < 0) return FAIL(errno);
    if (found == 0 && RegisterLocked(*lock, key) < 0) return -1;
  }
  if (!CopyOut(key, buf, size)) return FAIL(ERANGE);
  SetCloudServiceError(VEXO_CLOUD_SERVICE_OK);
  return 0;
}

}  // extern "C"
