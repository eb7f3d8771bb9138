#include "authorization_request.h"

#include <sys/random.h>

#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

#include "output.h"
#include "vexo_platform/vexo_pkce.h"

namespace vexozeph {
namespace cli {
namespace {

constexpr size_t kPkceBufferSize = 44;  // 43 characters and the NUL
constexpr size_t kStateBytes = 16;

bool IsUnreserved(unsigned char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '.' || c == '_' || c == '~';
}

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// 128 bits from the kernel, as hex: enough that a page guessing it cannot forge a
// redirect.
bool MakeState(std::string *state, std::string *why) {
  unsigned char random[kStateBytes];
  size_t filled = 0;
  while (filled < sizeof(random)) {
    const ssize_t n = getrandom(random + filled, sizeof(random) - filled, 0);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      *why = std::string("no random state: ") + std::strerror(errno);
      return false;
    }
    filled += static_cast<size_t>(n);
  }
  static const char kHex[] = "0123456789abcdef";
  state->clear();
  for (unsigned char byte : random) {
    state->push_back(kHex[byte >> 4]);
    state->push_back(kHex[byte & 0x0f]);
  }
  return true;
}

// The platform's generator is the one every sign-in of the appliance uses, so the tool's
// pair is made exactly like the library's own rescue grant.
bool MakePkcePair(std::string *verifier, std::string *challenge, std::string *why) {
  char challenge_text[kPkceBufferSize] = {};
  char verifier_text[kPkceBufferSize] = {};
  const bool made = vexo_challenge_verifier_no_save(challenge_text, sizeof(challenge_text),
                                                    verifier_text, sizeof(verifier_text)) >= 0;
  if (made) {
    *challenge = challenge_text;
    *verifier = verifier_text;
  } else {
    *why = "the platform could not make a PKCE pair";
  }
  // The verifier is a secret until the exchange: leave no copy of it on the stack.
  volatile char *wipe = verifier_text;
  for (size_t i = 0; i < sizeof(verifier_text); ++i) wipe[i] = 0;
  return made;
}

}  // namespace

std::string PercentEncode(const std::string &text) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string encoded;
  for (unsigned char c : text) {
    if (IsUnreserved(c)) {
      encoded.push_back(static_cast<char>(c));
    } else {
      encoded.push_back('%');
      encoded.push_back(kHex[c >> 4]);
      encoded.push_back(kHex[c & 0x0f]);
    }
  }
  return encoded;
}

std::string PercentDecode(const std::string &text) {
  std::string decoded;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '+') {
      decoded.push_back(' ');
    } else if (text[i] == '%' && i + 2 < text.size() && HexValue(text[i + 1]) >= 0 &&
               HexValue(text[i + 2]) >= 0) {
      decoded.push_back(static_cast<char>(HexValue(text[i + 1]) * 16 + HexValue(text[i + 2])));
      i += 2;
    } else {
      decoded.push_back(text[i]);
    }
  }
  return decoded;
}

bool MakeAuthorizationRequest(const Json::Value &config, const std::string &redirect_uri,
                              AuthorizationRequest *request, std::string *why) {
  const std::string endpoint = StringMember(config, "auth_endpoint");
  if (endpoint.empty()) {
    *why = "the sign-in configuration names no authorization endpoint";
    return false;
  }
  std::string challenge;
  if (!MakeState(&request->state, why) || !MakePkcePair(&request->code_verifier, &challenge, why)) {
    return false;
  }
  request->redirect_uri = redirect_uri;
  const std::vector<std::pair<const char *, std::string>> query = {
      {"response_type", "code"},         {"client_id", StringMember(config, "client_id")},
      {"redirect_uri", redirect_uri},    {"scope", StringMember(config, "scope")},
      {"state", request->state},         {"code_challenge", challenge},
      {"code_challenge_method", "S256"},
  };
  request->address = endpoint;
  char separator = endpoint.find('?') == std::string::npos ? '?' : '&';
  for (const auto &parameter : query) {
    request->address += separator;
    request->address += parameter.first;
    request->address += '=';
    request->address += PercentEncode(parameter.second);
    separator = '&';
  }
  return true;
}

AuthorizationResponse ParseAuthorizationResponse(const std::string &address) {
  std::string query = address.substr(0, address.find('#'));
  const size_t question = query.find('?');
  if (question != std::string::npos) query.erase(0, question + 1);

  AuthorizationResponse response;
  std::vector<std::pair<const char *, std::string *>> wanted = {
      {"code", &response.code},
      {"state", &response.state},
      {"error", &response.error},
      {"error_description", &response.error_description},
  };
  size_t start = 0;
  while (start <= query.size()) {
    size_t end = query.find('&', start);
    if (end == std::string::npos) end = query.size();
    const std::string pair = query.substr(start, end - start);
    const size_t equals = pair.find('=');
    const std::string key = PercentDecode(pair.substr(0, equals));
    for (auto &member : wanted) {
      if (member.second != nullptr && key == member.first) {
        *member.second = equals == std::string::npos ? "" : PercentDecode(pair.substr(equals + 1));
        member.second = nullptr;  // the first value counts
      }
    }
    start = end + 1;
  }
  return response;
}

}  // namespace cli
}  // namespace vexozeph
