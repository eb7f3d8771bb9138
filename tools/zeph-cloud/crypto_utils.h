// Small cryptographic helpers: random identifiers, PKCE S256, and signed identity tokens.
#ifndef ZEPH_CLOUD_CRYPTO_UTILS_H_
#define ZEPH_CLOUD_CRYPTO_UTILS_H_

#include <string>

namespace zeph_cloud {

// `bytes` random bytes as lowercase hex (2 * bytes characters). Throws on RNG failure.
std::string RandomHex(size_t bytes);

// Unpadded base64url (RFC 4648 section 5).
std::string Base64Url(const std::string &bytes);

// Decodes unpadded base64url; false on a character outside the alphabet.
bool Base64UrlDecode(const std::string &text, std::string &out);

// Raw SHA-256 digest.
std::string Sha256(const std::string &data);

// BASE64URL(SHA256(verifier)): the S256 challenge of a PKCE verifier.
std::string S256Challenge(const std::string &verifier);

// A verifier is 43 to 128 characters of [A-Z a-z 0-9 - . _ ~] (RFC 7636 section 4.1).
bool IsValidVerifier(const std::string &verifier);

// A compact JWT "header.payload.signature" signed with HS256 under `secret`.
std::string SignJwt(const std::string &payload_json, const std::string &secret);

// Checks a JWT made by SignJwt under `secret` and returns its payload JSON text.
bool VerifyJwt(const std::string &jwt, const std::string &secret, std::string &payload_json);

}  // namespace zeph_cloud

#endif  // ZEPH_CLOUD_CRYPTO_UTILS_H_
