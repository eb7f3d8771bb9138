// The device session's two auth-key calls at the account host: trading an access token
// for the device auth key, and granting a new authorization code for that key (the
// rescue that needs no user).
#define ZLOG_MODULE_NAME "account_pkce_service"

#include <string>

#include "base/clock.h"
#include "base/log.h"
#include "internal/json_utils.h"
#include "internal/string_utils.h"
#include "pkce/pkce_grant.h"
#include "session/account_pkce_service_impl.h"
#include "store/user_impl.h"
#include "transport/http/session.h"
#include "transport/oauth_answer.h"
#include "transport/shown_answer.h"
#include "vexozeph/error_codes.h"
#include "vexozeph/tarn_service.h"
#include "vexozeph/user.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {

namespace {

const long kRequestTimeoutMs = 30000;
const char kExchangePath[] = "/oauth2/api/v1/device/core/authkey/exchange";
const char kGrantPath[] = "/migration/api/v1/device/core/authorization_code/grant";

// A member that can go into the account file as it stands: non-empty text without line
// breaks, short enough to be read back whole.
bool StorableText(const Json::Value &answer, const char *key) {
  std::string text;
  return json::GetString(answer, key, text) && !text.empty() && IsStorableUserValue(text);
}

}  // namespace

Json::Value AccountPkceServiceImpl::ExchangeAuthKey(const std::string &access_token) const {
  http::Session session;
  session.SetUrl(http::Url{GetAccountHost() + kExchangePath});
  session.SetTimeout(http::Timeout{kRequestTimeoutMs});
  session.SetUserAgent(http::UserAgent{TarnService().GetUserAgent()});
  // Two header sets in this order: a session keeps only the last, so the request carries
  // "Authorization" alone. The account host identifies the client by the token itself.
  session.SetHeader(http::Header{{"X-Client-ID", GetClientId()}});
  session.SetHeader(http::Header{{"Authorization", "Bearer " + access_token}});
  const http::Response response = session.Post();
  const Json::Value answer = AcceptedAnswer(response, "Failed to exchange authkey");
  if (StorableText(answer, "user_id") && StorableText(answer, "auth_key")) return answer;

  const std::string shown = ShownAnswer(answer, response.text);
  ZLOG("Failed to ExchangeAuthKey by [%s], code=%ld, resp=%s", ShortenSecret(access_token).c_str(),
       response.status_code, shown.c_str());
  throw ZephException(VEXOZEPH_ERR_TOKEN_STATE,
                      format("Failed to parse exchange authkey resp, code=%ld, resp=%s",
                             response.status_code, shown.c_str()));
}

void AccountPkceServiceImpl::GrantByAuthKey() const {
  const Json::Value config = GetLoginPkceConfig();
  const std::string client_id = json::StringOr(config, "client_id");
  const std::string redirect_uri = json::StringOr(config, "login_redirect_uri");
  const PkcePair pair = MakePkcePair();
  const http::Payload form = GrantForm(config, pair, {{"auth_key", User().GetAuthKey()}});

  // The grant goes to the configured account host, not to hosts fixed for this object.
  const http::Response response =
      http::Post(http::Url{AccountService().GetAccountHost() + kGrantPath},
                 http::Timeout{kRequestTimeoutMs}, http::UserAgent{TarnService().GetUserAgent()},
                 http::Header{{"X-Client-ID", client_id}}, form);
  // A refused key is told apart from any other refusal. A request without an answer has
  // no status, so this comes before the common steps without changing their order.
  if (response.status_code == 401) {
    throw ZephException(VEXOZEPH_ERR_AUTH,
                        format("Failed to auth on grant by authkey, code=%ld, resp=%s",
                               response.status_code, TruncatedAnswer(response.text).c_str()));
  }
  const Json::Value answer = AcceptedAnswer(response, "Failed to grant by authkey");
  std::string grant_code;
  if (!json::GetString(answer, "grant_code", grant_code) || grant_code.empty()) {
    throw ZephException(VEXOZEPH_ERR_NO_REPLY,
                        format("Failed to parse grant by authkey resp, code=%ld, resp=%s",
                               response.status_code, ShownAnswer(answer, response.text).c_str()));
  }
  pkce_.ExchangeToken(grant_code, pair.verifier, redirect_uri);
}

}  // namespace vexozeph
