// Shares its log module with the C functions that sign requests.
#define ZLOG_MODULE_NAME "zeph_token_generation"

#include "base/request_token.h"

#include <openssl/evp.h>

#include <cstring>
#include <memory>

#include "base/log.h"
#include "base/string_utils.h"

namespace {

const size_t kMd5Length = 16;
const size_t kMd5HexLength = 2 * kMd5Length;
// The working text of each pass is held in a fixed buffer: longer inputs are cut, as the
// appliance firmware has always done, so tokens stay comparable.
const size_t kPassInputSize = 4096;

// MD5 as the provider implements it, looked up once per process. EVP_md5() would make
// every EVP_DigestInit_ex look the implementation up again, which costs more than the
// digest of a short text. When the lookup fails (no provider offers MD5) the legacy name
// is kept, and every digest then fails as it would have.
const EVP_MD *Md5() {
  static const EVP_MD *const md5 = [] {
    EVP_MD *fetched = EVP_MD_fetch(nullptr, "MD5", nullptr);
    return fetched != nullptr ? static_cast<const EVP_MD *>(fetched) : EVP_md5();
  }();
  return md5;
}

struct EvpMdCtxFree {
  void operator()(EVP_MD_CTX *ctx) const { EVP_MD_CTX_free(ctx); }
};

// One digest context reused for every digest of a computation.
class Md5Hex {
 public:
  Md5Hex() : ctx_(EVP_MD_CTX_new()) {}

  // The digest of `length` bytes at `data` as 32 lowercase hex digits into `out`, which
  // receives exactly those 32 bytes.
  bool Digest(const char *data, size_t length, char *out) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int digest_length = 0;
    if (!ctx_ || EVP_DigestInit_ex(ctx_.get(), Md5(), nullptr) != 1 ||
        EVP_DigestUpdate(ctx_.get(), data, length) != 1 ||
        EVP_DigestFinal_ex(ctx_.get(), digest, &digest_length) != 1 ||
        digest_length != kMd5Length) {
      return false;
    }
    static const char kHex[] = "0123456789abcdef";
    for (unsigned int i = 0; i < kMd5Length; ++i) {
      out[2 * i] = kHex[digest[i] >> 4];
      out[2 * i + 1] = kHex[digest[i] & 0x0f];
    }
    return true;
  }

 private:
  std::unique_ptr<EVP_MD_CTX, EvpMdCtxFree> ctx_;
};

int HexDigitValue(char c) {
  return (c >= 'a') ? c - 'a' + 10 : c - '0';
}

}  // namespace

int ZephGetMd5String(const char *text, char *out, size_t out_size) {
  if (text == nullptr || out == nullptr || out_size < kMd5HexLength) return -1;
  std::memset(out, 0, out_size);
  Md5Hex md5;
  return md5.Digest(text, std::strlen(text), out) ? 0 : -1;
}

namespace vexozeph {

int RequestTokenPasses(const char *input) {
  char digest[kMd5HexLength];
  Md5Hex md5;
  if (input == nullptr || !md5.Digest(input, std::strlen(input), digest)) return 0;
  return HexDigitValue(digest[0]) + 1;
}

bool RequestTokenFromInput(const char *input, std::string &token) {
  if (input == nullptr) {
    ZLOG("Parameter error");
    return false;
  }
  Md5Hex md5;
  // The input joins the serial, the account name and the password: never logged whole,
  // and neither are the pass texts, the first of which still holds it.
  const size_t input_length = std::strlen(input);
  char input_digest[kMd5HexLength];
  if (!md5.Digest(input, input_length, input_digest)) {
    ZLOG("Failed to get md5 string from \"%s\".", ShortenSecret(input).c_str());
    return false;
  }
  const int passes = HexDigitValue(input_digest[0]) + 1;

  // x: the working text (the input, cut to the pass buffer); y: x followed by md5(x).
  char y[kPassInputSize + kMd5HexLength];
  size_t x_length = input_length < kPassInputSize ? input_length : kPassInputSize - 1;
  std::memcpy(y, input, x_length);
  for (int pass = 0; pass < passes; ++pass) {
    const bool x_is_input = pass == 0 && x_length == input_length;
    if (x_is_input) {
      std::memcpy(y + x_length, input_digest, kMd5HexLength);  // md5(x) is known already
    } else if (!md5.Digest(y, x_length, y + x_length)) {
      ZLOG("Failed to get md5 string from \"%s\".",
           ShortenSecret(std::string(y, x_length)).c_str());
      return false;
    }
    if (!md5.Digest(y, x_length + kMd5HexLength, y)) {
      ZLOG("Failed to get md5 string from \"%s\".",
           ShortenSecret(std::string(y, x_length + kMd5HexLength)).c_str());
      return false;
    }
    x_length = kMd5HexLength;
  }
  token.assign(y, kMd5HexLength);
  return true;
}

}  // namespace vexozeph
