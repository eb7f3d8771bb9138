// The token file of one OAuth client as the client sees it: reading one member, and the
// expiry rule. The file itself (where it lives, the read, the locked save) is the store's.
#include <climits>

#include "base/clock.h"
#include "internal/json_utils.h"
#include "internal/string_utils.h"
#include "pkce/pkce_client_impl.h"
#include "store/token_file.h"
#include "vexozeph/error_codes.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {

namespace {

int64_t TimeMember(const Json::Value &file, const char *key) {
  int64_t value = 0;
  if (!PkceClientImpl::ParseWholeNumber(PkceClientImpl::TokenMember(file, key, false), value)) {
    throw ZephException(VEXOZEPH_ERR_BAD_JSON,
                        format("Token member is not a whole number of seconds: %s", key));
  }
  return value;
}

}  // namespace

std::string PkceClientImpl::GetTokenFilePath() const {
  return token_files::PathOf(name_);
}

std::string PkceClientImpl::LockPath(const char *suffix) const {
  return token_files::LockFilePath(name_ + suffix);
}

bool PkceClientImpl::HasTokenFile() const {
  return token_files::Exists(name_);
}

bool PkceClientImpl::ParseWholeNumber(const std::string &text, int64_t &out) {
  size_t at = 0;
  bool negative = false;
  if (at < text.size() && (text[at] == '+' || text[at] == '-')) negative = text[at++] == '-';
  if (at == text.size()) return false;
  // Accumulated as a negative number, whose range holds INT64_MIN.
  int64_t value = 0;
  for (; at < text.size(); ++at) {
    if (text[at] < '0' || text[at] > '9') return false;
    int digit = text[at] - '0';
    if (value < (INT64_MIN + digit) / 10) return false;
    value = value * 10 - digit;
  }
  if (!negative && value == INT64_MIN) return false;
  out = negative ? value : -value;
  return true;
}

bool PkceClientImpl::MemberText(const Json::Value &object, const std::string &key, bool text_only,
                                std::string &out) {
  const Json::Value &member = json::Member(object, key.c_str());
  if (member.isString()) {
    out = member.asString();
    return true;
  }
  // Times may come as numbers; JsonCpp renders integers in plain decimal.
  if (!text_only && member.isNumeric()) {
    out = member.asString();
    return true;
  }
  return false;
}

bool PkceClientImpl::IsTokenSet(const Json::Value &answer) {
  std::string text;
  int64_t seconds = 0;
  return answer.isObject() && MemberText(answer, "access_token", true, text) &&
         MemberText(answer, "id_token", true, text) &&
         MemberText(answer, "refresh_token", true, text) &&
         MemberText(answer, "expires_in", false, text) && ParseWholeNumber(text, seconds);
}

Json::Value PkceClientImpl::ReadTokenFile() const {
  return token_files::Read(name_);
}

std::string PkceClientImpl::TokenMember(const Json::Value &file, const std::string &key,
                                        bool text_only) {
  std::string text;
  if (MemberText(file, key, text_only, text)) return text;
  throw ZephException(VEXOZEPH_ERR_TOKEN_STATE, "Failed to get key: " + key);
}

std::string PkceClientImpl::GetPkceTokenVal(const std::string &key) const {
  return TokenMember(ReadTokenFile(), key, false);
}

int64_t PkceClientImpl::ExpiredAtOf(const Json::Value &file) {
  const int64_t created_at = TimeMember(file, "created_at");
  const int64_t expires_in = TimeMember(file, "expires_in");
  int64_t expired_at = 0;
  // A lifetime no clock reaches is as good as forever, and a time before any clock as
  // good as long past.
  if (__builtin_add_overflow(created_at, expires_in, &expired_at)) {
    return expires_in > 0 ? INT64_MAX : INT64_MIN;
  }
  return expired_at;
}

bool PkceClientImpl::IsLapsed(const Json::Value &file) {
  return ExpiredAtOf(file) < clock::Now();
}

int64_t PkceClientImpl::GetExpiredAt() const {
  return ExpiredAtOf(ReadTokenFile());
}

bool PkceClientImpl::IsTokenExpired() const {
  return IsLapsed(ReadTokenFile());
}

void PkceClientImpl::SaveToken(const Json::Value &token) const {
  token_files::Save(name_, token);
}

}  // namespace vexozeph
