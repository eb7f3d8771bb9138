#include "transport/https_transfer.h"

#include <openssl/ssl.h>

#include <algorithm>
#include <cstring>

#include "base/root_path.h"

namespace vexozeph {
namespace https {

size_t WriteMemoryCallback(char *bytes, size_t size, size_t count, void *user) {
  ReplyBody *body = static_cast<ReplyBody *>(user);
  size_t offered = size * count;
  if (offered > kMaxReplyBytes - body->length) {
    body->too_large = true;
    return 0;
  }
  size_t needed = body->length + offered + 1;
  if (needed > body->capacity) {
    size_t capacity = std::min(std::max(needed, body->capacity * 2), kMaxReplyBytes + 1);
    char *grown = static_cast<char *>(std::realloc(body->data, capacity));
    if (grown == nullptr) {
      body->Clear();
      return 0;
    }
    body->data = grown;
    body->capacity = capacity;
  }
  std::memcpy(body->data + body->length, bytes, offered);
  body->length += offered;
  body->data[body->length] = '\0';
  return offered;
}

namespace {

// libcurl hands every TLS session secret to the file named by SSLKEYLOGFILE, read from
// the process environment; traffic captured anywhere could then be decrypted, passwords,
// auth keys and tokens with it. Run just before each handshake, after libcurl installed
// its key log hook, this takes the hook out again.
CURLcode WithoutKeyLog(CURL *, void *ssl_ctx, void *) {
  SSL_CTX_set_keylog_callback(static_cast<SSL_CTX *>(ssl_ctx), nullptr);
  return CURLE_OK;
}

}  // namespace

CURLcode SetVerifiedTls(CURL *curl) {
  CURLcode rc = CURLE_OK;
  if ((rc = curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 1L)) != CURLE_OK ||
      (rc = curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 2L)) != CURLE_OK ||
      (rc = curl_easy_setopt(curl, CURLOPT_CAINFO, RootedPath(kCaFile).c_str())) != CURLE_OK ||
      (rc = curl_easy_setopt(curl, CURLOPT_CAPATH, nullptr)) != CURLE_OK ||
      (rc = curl_easy_setopt(curl, CURLOPT_SSLVERSION, CURL_SSLVERSION_TLSv1)) != CURLE_OK ||
      (rc = curl_easy_setopt(curl, CURLOPT_SSL_CTX_FUNCTION, WithoutKeyLog)) != CURLE_OK) {
    return rc;
  }
  return CURLE_OK;
}

CURLcode SetHttpsOnlyRedirects(CURL *curl) {
  CURLcode rc = CURLE_OK;
  if ((rc = curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L)) != CURLE_OK ||
      (rc = curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "https")) != CURLE_OK ||
      (rc = curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "https")) != CURLE_OK ||
      (rc = curl_easy_setopt(curl, CURLOPT_MAXREDIRS, kMaxRedirects)) != CURLE_OK) {
    return rc;
  }
  return CURLE_OK;
}

}  // namespace https
}  // namespace vexozeph
