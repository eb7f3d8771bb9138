// The network half of an OAuth client: the authorization-code exchange, the renewal with
// the refresh token, and the token getters that renew on the way.
#define ZLOG_MODULE_NAME "pkce_client"

#include "base/log.h"
#include "internal/json_utils.h"
#include "internal/string_utils.h"
#include "pkce/pkce_client_impl.h"
#include "store/token_file.h"
#include "transport/http/session.h"
#include "transport/oauth_answer.h"
#include "transport/shown_answer.h"
#include "vexozeph/error_codes.h"
#include "vexozeph/file_lock.h"
#include "vexozeph/tarn_service.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {

namespace {

const long kRequestTimeoutMs = 30000;

http::Response PostForm(const Json::Value &config, const http::Payload &form) {
  const std::string client_id = json::StringOr(config, "client_id");
  return http::Post(http::Url{json::StringOr(config, "token_endpoint")},
                    http::Timeout{kRequestTimeoutMs}, http::UserAgent{TarnService().GetUserAgent()},
                    http::Header{{"X-Client-ID", client_id}}, form);
}

}  // namespace

void PkceClientImpl::ExchangeToken(const std::string &code, const std::string &code_verifier,
                                   const std::string &redirect_uri) const {
  FileLock lock(LockPath("_exchange_token"));
  token_files::LockOrThrow(lock);
  http::Response response =
      PostForm(config_, http::Payload{
                            {"grant_type", "authorization_code"},
                            {"client_id", json::StringOr(config_, "client_id")},
                            {"redirect_uri", redirect_uri},
                            {"code", code},
                            {"code_verifier", code_verifier},
                        });
  const Json::Value answer = AcceptedAnswer(response, "Failed to exchange token");
  if (!IsTokenSet(answer)) {
    const std::string shown = ShownAnswer(answer, response.text);
    ZLOG("Failed to PkceLogin by [%s|%s], resp=%s", ShortenSecret(code).c_str(),
         ShortenSecret(code_verifier).c_str(), shown.c_str());
    // The wording names the auth-key exchange; callers and log readers know it so.
    throw ZephException(VEXOZEPH_ERR_TOKEN_STATE,
                        format("Failed to parse exchange authkey resp, code=%ld, resp=%s",
                               response.status_code, shown.c_str()));
  }
  SaveToken(answer);
}

void PkceClientImpl::RenewToken() const {
  Renew(false);
}

void PkceClientImpl::Renew(bool only_if_lapsed) const {
  FileLock lock(LockPath("_renew_token"));
  token_files::LockOrThrow(lock);
  // Decided on the file as it is now, under the lock: a caller that waited here while
  // another renewed adopts that token instead of spending the rotated refresh token.
  const Json::Value file = ReadTokenFile();
  if (only_if_lapsed && !IsLapsed(file)) return;
  const std::string refresh_token = TokenMember(file, "refresh_token", true);
  http::Response response =
      PostForm(config_, http::Payload{
                            {"grant_type", "refresh_token"},
                            {"refresh_token", refresh_token},
                            {"client_id", json::StringOr(config_, "client_id")},
                        });
  // Parsed before the status is looked at: an error page that is not JSON is code 2.
  const Json::Value answer = ParsedAnswer(response, "Failed to renew token");
  if (!answer.isObject()) {
    std::string message = format("Failed to parse renew token resp, code=%ld, resp=%s",
                                 response.status_code, ShownAnswer(answer, response.text).c_str());
    ZLOG("%s", message.c_str());
    throw ZephException(VEXOZEPH_ERR_NO_REPLY, message);
  }
  if (response.status_code != 200) {
    // Whatever the status, a JSON refusal means the refresh token is no longer good.
    std::string message =
        format("Failed to renew token, refresh_token is expired or revoked, code=%ld, resp=%s",
               response.status_code, ShownAnswer(answer, response.text).c_str());
    ZLOG("%s", message.c_str());
    throw ZephException(VEXOZEPH_ERR_AUTH, message);
  }
  if (!IsTokenSet(answer)) {
    ZLOG("Failed to RenewToken by [%s], resp=%s", ShortenSecret(refresh_token).c_str(),
         ShownAnswer(answer, response.text, true).c_str());
    throw ZephException(VEXOZEPH_ERR_TOKEN_STATE,
                        format("Failed to parse renew token resp, code=%ld, resp=%s",
                               response.status_code, ShownAnswer(answer, response.text).c_str()));
  }
  SaveToken(answer);
}

std::string PkceClientImpl::GetTokenRenewingIfLapsed(const char *key) const {
  FileLock lock(LockPath("_get_token"));
  token_files::LockOrThrow(lock);
  // The expiry decision and the token come from one parse of the file; only a renewal,
  // which rewrote it, makes a second read.
  const Json::Value file = ReadTokenFile();
  if (!IsLapsed(file)) return TokenMember(file, key, true);
  Renew(true);
  return TokenMember(ReadTokenFile(), key, true);
}

std::string PkceClientImpl::GetAccessToken() const {
  return GetTokenRenewingIfLapsed("access_token");
}

std::string PkceClientImpl::GetIdToken() const {
  return GetTokenRenewingIfLapsed("id_token");
}

}  // namespace vexozeph
