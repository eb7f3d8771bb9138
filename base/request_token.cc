// Shares its log module with the C functions that sign requests.
#define ZLOG_MODULE_NAME "zeph_token_generation"

#include "base/request_token.h"

#include <openssl/evp.h>

#include <cstdio>
#include <cstring>
#include <memory>

#include "base/log.h"
#include "base/string_utils.h"

namespace {

struct EvpMdCtxFree {
  void operator()(EVP_MD_CTX *ctx) const { EVP_MD_CTX_free(ctx); }
};

const size_t kMd5HexLength = 32;
// The working text of each pass is held in a fixed buffer: longer inputs are cut, as the
// appliance firmware has always done, so tokens stay comparable.
const size_t kPassInputSize = 4096;

int HexDigitValue(char c) {
  return (c >= 'a') ? c - 'a' + 10 : c - '0';
}

}  // namespace

int ZephGetMd5String(const char *text, char *out, size_t out_size) {
  if (text == nullptr || out == nullptr || out_size < kMd5HexLength) return -1;
  std::memset(out, 0, out_size);
  std::unique_ptr<EVP_MD_CTX, EvpMdCtxFree> ctx(EVP_MD_CTX_new());
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int digest_length = 0;
  if (!ctx || EVP_DigestInit_ex(ctx.get(), EVP_md5(), nullptr) != 1 ||
      EVP_DigestUpdate(ctx.get(), text, std::strlen(text)) != 1 ||
      EVP_DigestFinal_ex(ctx.get(), digest, &digest_length) != 1 || digest_length != 16) {
    return -1;
  }
  static const char kHex[] = "0123456789abcdef";
  for (unsigned int i = 0; i < digest_length; ++i) {
    out[2 * i] = kHex[digest[i] >> 4];
    out[2 * i + 1] = kHex[digest[i] & 0x0f];
  }
  if (out_size > kMd5HexLength) out[kMd5HexLength] = '\0';
  return 0;
}

namespace vexozeph {

int RequestTokenPasses(const char *input) {
  char digest[kMd5HexLength + 1];
  if (input == nullptr || ZephGetMd5String(input, digest, sizeof(digest)) != 0) return 0;
  return HexDigitValue(digest[0]) + 1;
}

bool RequestTokenFromInput(const char *input, std::string &token) {
  if (input == nullptr) {
    ZLOG("Parameter error");
    return false;
  }
  int passes = RequestTokenPasses(input);
  // The input joins the serial, the account name and the password: never logged whole,
  // and neither are the pass texts, the first of which still holds it.
  if (passes == 0) {
    ZLOG("Failed to get md5 string from \"%s\".", ShortenSecret(input).c_str());
    return false;
  }
  char x[kPassInputSize];
  std::snprintf(x, sizeof(x), "%s", input);
  char h[kMd5HexLength + 1];
  char y[kPassInputSize + kMd5HexLength + 1];
  for (int pass = 0; pass < passes; ++pass) {
    if (ZephGetMd5String(x, h, sizeof(h)) != 0) {
      ZLOG("Failed to get md5 string from \"%s\".", ShortenSecret(x).c_str());
      return false;
    }
    std::snprintf(y, sizeof(y), "%s%s", x, h);
    if (ZephGetMd5String(y, x, sizeof(x)) != 0) {
      ZLOG("Failed to get md5 string from \"%s\".", ShortenSecret(y).c_str());
      return false;
    }
  }
  token.assign(x, kMd5HexLength);
  return true;
}

}  // namespace vexozeph
