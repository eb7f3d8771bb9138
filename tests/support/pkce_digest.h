// The S256 challenge of a PKCE verifier, computed here apart from the code under test:
// base64url of its SHA-256 digest, without padding.
#ifndef VEXOZEPH_TESTS_SUPPORT_PKCE_DIGEST_H_
#define VEXOZEPH_TESTS_SUPPORT_PKCE_DIGEST_H_

#include <openssl/evp.h>

#include <string>

namespace vexozeph {
namespace testing {

inline std::string S256Challenge(const std::string &verifier) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  EVP_Digest(verifier.data(), verifier.size(), digest, &length, EVP_sha256(), nullptr);
  unsigned char encoded[4 * ((EVP_MAX_MD_SIZE + 2) / 3) + 1] = {0};
  std::string text(reinterpret_cast<char *>(encoded),
                   static_cast<size_t>(EVP_EncodeBlock(encoded, digest, static_cast<int>(length))));
  while (!text.empty() && text.back() == '=') text.pop_back();
  for (char &c : text) c = c == '+' ? '-' : c == '/' ? '_' : c;
  return text;
}

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_PKCE_DIGEST_H_
