// A PKCE pair (RFC 7636, method S256): the verifier is 32 random bytes from OpenSSL's
// generator in base64url without padding (43 characters); the challenge is the base64url
// form, without padding, of the SHA-256 of the verifier's text. Nothing is stored.
#include <errno.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <string>

#include "platform_error.h"
#include "text_file.h"
#include "vexo_platform/vexo_pkce.h"

namespace vexo_platform {
namespace {

constexpr size_t kBufferSize = 44;  // 43 characters and the NUL
constexpr size_t kVerifierBytes = 32;

std::string Base64Url(const unsigned char *data, size_t length) {
  std::string text(4 * ((length + 2) / 3) + 1, '\0');
  int written =
      EVP_EncodeBlock(reinterpret_cast<unsigned char *>(&text[0]), data, static_cast<int>(length));
  text.resize(written > 0 ? static_cast<size_t>(written) : 0);
  while (!text.empty() && text.back() == '=') text.pop_back();
  for (char &c : text) {
    if (c == '+') c = '-';
    if (c == '/') c = '_';
  }
  return text;
}

}  // namespace
}  // namespace vexo_platform

extern "C" int vexo_challenge_verifier_no_save(char *challenge, size_t challenge_size,
                                               char *verifier, size_t verifier_size) {
  using namespace vexo_platform;
  if (challenge == nullptr || verifier == nullptr || challenge_size < kBufferSize ||
      verifier_size < kBufferSize) {
    SET_PLATFORM_ERROR(challenge == nullptr || verifier == nullptr ? EINVAL : ERANGE);
    return -1;
  }
  unsigned char random[kVerifierBytes];
  if (RAND_bytes(random, sizeof(random)) != 1) {
    SET_PLATFORM_ERROR(EIO);
    return -1;
  }
  const std::string verifier_text = Base64Url(random, sizeof(random));
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  if (EVP_Digest(verifier_text.data(), verifier_text.size(), digest, &length, EVP_sha256(),
                 nullptr) != 1) {
    SET_PLATFORM_ERROR(EIO);
    return -1;
  }
  const std::string challenge_text = Base64Url(digest, length);
  if (!CopyOut(challenge_text, challenge, challenge_size) ||
      !CopyOut(verifier_text, verifier, verifier_size)) {
    SET_PLATFORM_ERROR(ERANGE);
    return -1;
  }
  return 0;
}
