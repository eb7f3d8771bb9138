#include "crypto_utils.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <cctype>
#include <stdexcept>
#include <vector>

namespace zeph_cloud {

std::string RandomHex(size_t bytes) {
  std::vector<unsigned char> buffer(bytes);
  if (RAND_bytes(buffer.data(), static_cast<int>(buffer.size())) != 1) {
    throw std::runtime_error("random generator failed");
  }
  static const char kHex[] = "0123456789abcdef";
  std::string out;
  out.reserve(bytes * 2);
  for (unsigned char b : buffer) {
    out += kHex[b >> 4];
    out += kHex[b & 0x0f];
  }
  return out;
}

std::string Base64Url(const std::string &bytes) {
  static const char kAlphabet[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
  std::string out;
  size_t i = 0;
  const auto *data = reinterpret_cast<const unsigned char *>(bytes.data());
  for (; i + 2 < bytes.size(); i += 3) {
    unsigned value = (data[i] << 16) | (data[i + 1] << 8) | data[i + 2];
    out += kAlphabet[(value >> 18) & 63];
    out += kAlphabet[(value >> 12) & 63];
    out += kAlphabet[(value >> 6) & 63];
    out += kAlphabet[value & 63];
  }
  if (bytes.size() - i == 1) {
    unsigned value = data[i] << 16;
    out += kAlphabet[(value >> 18) & 63];
    out += kAlphabet[(value >> 12) & 63];
  } else if (bytes.size() - i == 2) {
    unsigned value = (data[i] << 16) | (data[i + 1] << 8);
    out += kAlphabet[(value >> 18) & 63];
    out += kAlphabet[(value >> 12) & 63];
    out += kAlphabet[(value >> 6) & 63];
  }
  return out;
}

bool Base64UrlDecode(const std::string &text, std::string &out) {
  out.clear();
  unsigned value = 0;
  int bits = 0;
  for (char c : text) {
    int digit;
    if (c >= 'A' && c <= 'Z') {
      digit = c - 'A';
    } else if (c >= 'a' && c <= 'z') {
      digit = c - 'a' + 26;
    } else if (c >= '0' && c <= '9') {
      digit = c - '0' + 52;
    } else if (c == '-') {
      digit = 62;
    } else if (c == '_') {
      digit = 63;
    } else {
      return false;
    }
    value = (value << 6) | static_cast<unsigned>(digit);
    bits += 6;
    if (bits >= 8) {
      bits -= 8;
      out += static_cast<char>((value >> bits) & 0xff);
    }
  }
  return true;
}

std::string Sha256(const std::string &data) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  if (EVP_Digest(data.data(), data.size(), digest, &length, EVP_sha256(), nullptr) != 1) {
    throw std::runtime_error("sha256 failed");
  }
  return std::string(reinterpret_cast<char *>(digest), length);
}

std::string S256Challenge(const std::string &verifier) {
  return Base64Url(Sha256(verifier));
}

bool IsValidVerifier(const std::string &verifier) {
  if (verifier.size() < 43 || verifier.size() > 128) return false;
  for (unsigned char c : verifier) {
    if (!std::isalnum(c) && c != '-' && c != '.' && c != '_' && c != '~') return false;
  }
  return true;
}

namespace {

std::string HmacSha256(const std::string &secret, const std::string &data) {
  unsigned char mac[EVP_MAX_MD_SIZE];
  unsigned int mac_length = 0;
  if (HMAC(EVP_sha256(), secret.data(), static_cast<int>(secret.size()),
           reinterpret_cast<const unsigned char *>(data.data()), data.size(), mac,
           &mac_length) == nullptr) {
    throw std::runtime_error("hmac failed");
  }
  return std::string(reinterpret_cast<char *>(mac), mac_length);
}

}  // namespace

std::string SignJwt(const std::string &payload_json, const std::string &secret) {
  std::string signing_input =
      Base64Url(R"({"alg":"HS256","typ":"JWT"})") + "." + Base64Url(payload_json);
  return signing_input + "." + Base64Url(HmacSha256(secret, signing_input));
}

bool VerifyJwt(const std::string &jwt, const std::string &secret, std::string &payload_json) {
  size_t first = jwt.find('.');
  size_t second = first == std::string::npos ? first : jwt.find('.', first + 1);
  if (second == std::string::npos) return false;
  std::string signing_input = jwt.substr(0, second);
  if (Base64Url(HmacSha256(secret, signing_input)) != jwt.substr(second + 1)) return false;
  return Base64UrlDecode(jwt.substr(first + 1, second - first - 1), payload_json);
}

}  // namespace zeph_cloud
