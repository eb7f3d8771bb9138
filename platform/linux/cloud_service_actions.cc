// The cloud-service library's actions and device token on a generic Linux host.
//   action 2 (the API key has expired): a new key is registered in its place;
//   any other action: logged and accepted.
// The device token is HMAC-SHA256 of the serial keyed with the device's API key (one is
// registered when none exists), as lower-case hex cut to its first 32 characters.
#include <errno.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "base/log.h"
#include "cloud_service_error.h"
#include "platform_error.h"
#include "vexo_platform/vexo_cloud_service.h"
#include "vexo_platform/vlib_error.h"

namespace vexo_platform {
namespace {

constexpr size_t kTokenLength = 32;
constexpr size_t kApiKeySize = 1024;

}  // namespace
}  // namespace vexo_platform

extern "C" {

int VEXOCloudServiceActionHandler(int action) {
  using namespace vexo_platform;
  if (action != VEXO_CLOUD_SERVICE_ACTION_RENEW_APIKEY) {
    ZLOG_AT(LOG_NOTICE, "cloud-service action %d has nothing to do here", action);
    SetCloudServiceError(VEXO_CLOUD_SERVICE_OK);
    return 0;
  }
  char key[kApiKeySize] = {0};
  if (VEXOCloudServiceRegisterApiKey(key, sizeof(key)) < 0) {
    ZLOG("renewing the expired API key failed [0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
    return -1;
  }
  ZLOG_AT(LOG_NOTICE, "expired API key replaced by a new one");
  return 0;
}

int VEXOCloudServiceBxtokenGenerateToken(const char *serial, char *token, size_t size) {
  using namespace vexo_platform;
  if (serial == nullptr || serial[0] == '\0' || token == nullptr || size < kTokenLength + 1) {
    SET_PLATFORM_ERROR(token != nullptr && size < kTokenLength + 1 ? ERANGE : EINVAL);
    SetCloudServiceError(VEXO_CLOUD_SERVICE_ERR_OTHER);
    return -1;
  }
  char key[kApiKeySize] = {0};
  if (VEXOCloudServiceGetApiKey(key, sizeof(key), 1) < 0) return -1;
  unsigned char mac[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  if (HMAC(EVP_sha256(), key, static_cast<int>(std::strlen(key)),
           reinterpret_cast<const unsigned char *>(serial), std::strlen(serial), mac,
           &length) == nullptr ||
      length * 2 < kTokenLength) {
    SET_PLATFORM_ERROR(EIO);
    SetCloudServiceError(VEXO_CLOUD_SERVICE_ERR_OTHER);
    return -1;
  }
  for (size_t i = 0; i < kTokenLength / 2; ++i) std::snprintf(token + 2 * i, 3, "%02x", mac[i]);
  SetCloudServiceError(VEXO_CLOUD_SERVICE_OK);
  return 0;
}

}  // extern "C"
