// The body of vexozeph::PkceClient, visible to the library's other OAuth clients and to
// the tests: the token store (file, expiry, locked save) and the token endpoint calls.
//
// Locks, always taken from the outside in, per client name:
//   "_get_token" -> "_renew_token" -> "_save_token"
//   "_exchange_token" -> "_save_token"
// each "/tmp/account_<name><suffix>.lock", waited for up to 30 seconds.
#ifndef VEXOZEPH_PKCE_PKCE_CLIENT_IMPL_H_
#define VEXOZEPH_PKCE_PKCE_CLIENT_IMPL_H_

#include <json/value.h>

#include <cstdint>
#include <string>

namespace vexozeph {

class FileLock;

class PkceClientImpl {
 public:
  explicit PkceClientImpl(const std::string &name);

  const std::string &GetName() const { return name_; }

  // Configuration (see PkceClient).
  Json::Value FormatPkceConfig(const Json::Value &tmpl) const;
  void SetPkceConfig(const Json::Value &config) { config_ = config; }

  // The token file (store/token_file.h), under the root prefix.
  std::string GetTokenFilePath() const;
  bool HasTokenFile() const;
  // The member `key` of the token file as text: a string as it stands, a number in its
  // decimal form. Code 22 when the file is missing or the member is absent or of another
  // type, 2 when the file is not JSON.
  std::string GetPkceTokenVal(const std::string &key) const;
  // "created_at" + "expires_in" in seconds since the epoch, as a 64-bit sum that
  // saturates instead of overflowing. Code 2 when either is not a whole decimal number.
  int64_t GetExpiredAt() const;
  // True once the library's clock has passed the expiry time: at that very second the
  // token is still valid.
  bool IsTokenExpired() const;
  // Writes `token` with "created_at" set to the library's clock, under "_save_token",
  // atomically and with mode 0600.
  void SaveToken(const Json::Value &token) const;

  // Token endpoint (see PkceClient).
  void ExchangeToken(const std::string &code, const std::string &code_verifier,
                     const std::string &redirect_uri) const;
  // Renews with the file's refresh token, whatever the expiry, and saves the answer.
  void RenewToken() const;
  std::string GetAccessToken() const;
  std::string GetIdToken() const;

  // Rules shared by the store and the token endpoint calls.
  // The member as text into `out`: a string, or (unless `text_only`) a number in decimal.
  static bool MemberText(const Json::Value &object, const std::string &key, bool text_only,
                         std::string &out);
  // A whole decimal number with an optional sign, within 64 bits; nothing else.
  static bool ParseWholeNumber(const std::string &text, int64_t &out);
  // True when `answer` can become the token file: an object with the three tokens as
  // text and a whole-number "expires_in", so that every later read of it works.
  static bool IsTokenSet(const Json::Value &answer);
  // The member `key` of a parsed token file as text; `text_only` refuses numbers (tokens
  // are text). Code 22 "Failed to get key: <key>" when absent or of another type.
  static std::string TokenMember(const Json::Value &file, const std::string &key, bool text_only);
  // GetExpiredAt and IsTokenExpired of a file already parsed.
  static int64_t ExpiredAtOf(const Json::Value &file);
  static bool IsLapsed(const Json::Value &file);

 private:
  // The token under "_get_token", renewed first if the file read under the lock lapsed.
  std::string GetTokenRenewingIfLapsed(const char *key) const;
  // Under "_renew_token": renews unless `only_if_lapsed` and the file read under the
  // lock is no longer lapsed (another process renewed it in the meantime).
  void Renew(bool only_if_lapsed) const;
  // The token file, opened and parsed once: code 22 "Failed to find an existed token
  // file" when it cannot be opened for reading, 2 when it cannot be read or is not JSON.
  Json::Value ReadTokenFile() const;
  std::string LockPath(const char *suffix) const;

  std::string name_;
  Json::Value config_;
};

}  // namespace vexozeph

#endif  // VEXOZEPH_PKCE_PKCE_CLIENT_IMPL_H_
