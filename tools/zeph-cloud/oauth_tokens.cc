#include "oauth_tokens.h"

#include "base/json_utils.h"
#include "crypto_utils.h"

namespace zeph_cloud {

const AuthCode &IssueCode(Emulator &emulator, const std::string &client_id,
                          const std::string &redirect_uri, const std::string &challenge,
                          const std::string &account_id, const std::string &scope,
                          const std::string &serial) {
  AuthCode code;
  code.code = "zc_" + RandomHex(16);
  code.client_id = client_id;
  code.redirect_uri = redirect_uri;
  code.challenge = challenge;
  code.account_id = account_id;
  code.scope = scope;
  code.serial = serial;
  code.family = "zf_" + RandomHex(8);
  code.expires_at = emulator.Now() + emulator.state.settings.code_lifetime;
  return emulator.state.codes[code.code] = code;
}

Json::Value IssueTokenSet(Emulator &emulator, const std::string &account_id,
                          const std::string &client_id, const std::string &scope,
                          const std::string &serial, const std::string &family) {
  State &state = emulator.state;
  int64_t now = emulator.Now();
  Token access{"zat_" + RandomHex(24),
               "access",
               account_id,
               client_id,
               scope,
               serial,
               family,
               now,
               now + state.settings.access_token_lifetime,
               false,
               false};
  Token refresh{"zrt_" + RandomHex(24),
                "refresh",
                account_id,
                client_id,
                scope,
                serial,
                family,
                now,
                now + state.settings.refresh_token_lifetime,
                false,
                false};
  state.tokens[access.token] = access;
  state.tokens[refresh.token] = refresh;

  const Account *account = state.FindAccount(account_id);
  Json::Value claims;
  claims["iss"] = emulator.origins.identity;
  claims["sub"] = account_id;
  claims["aud"] = client_id;
  claims["email"] = account ? account->email : "";
  claims["iat"] = Json::Int64(now);
  claims["exp"] = Json::Int64(access.expires_at);
  claims["sid"] = family;
  claims["jti"] = RandomHex(8);

  Json::Value answer;
  answer["access_token"] = access.token;
  answer["id_token"] = SignJwt(vexozeph::json::ToCompactString(claims), state.id_token_secret);
  answer["refresh_token"] = refresh.token;
  answer["expires_in"] = Json::Int64(state.settings.access_token_lifetime);
  answer["token_type"] = "Bearer";
  answer["scope"] = scope;
  return answer;
}

const Token *LiveAccessToken(Emulator &emulator, const std::string &token, std::string &why) {
  auto it = emulator.state.tokens.find(token);
  if (token.empty() || it == emulator.state.tokens.end() || it->second.kind != "access") {
    why = "unknown access token";
    return nullptr;
  }
  const Token &found = it->second;
  if (found.revoked) {
    why = "access token revoked";
    return nullptr;
  }
  if (found.expires_at < emulator.Now()) {
    why = "access token expired";
    return nullptr;
  }
  const Account *account = emulator.state.FindAccount(found.account_id);
  if (account == nullptr || account->deleted) {
    why = "account no longer exists";
    return nullptr;
  }
  return &found;
}

int RevokeFamily(State &state, const std::string &family) {
  int revoked = 0;
  for (auto &entry : state.tokens) {
    Token &token = entry.second;
    if (token.family == family && !token.revoked) {
      token.revoked = true;
      ++revoked;
    }
  }
  return revoked;
}

std::string RedirectWithParams(const std::string &redirect_uri, const Pairs &params) {
  std::string location = redirect_uri;
  char separator = redirect_uri.find('?') == std::string::npos ? '?' : '&';
  for (const auto &param : params) {
    location += separator + UrlEncode(param.first) + "=" + UrlEncode(param.second);
    separator = '&';
  }
  return location;
}

void SendOAuthError(Exchange &exchange, int status, const std::string &error,
                    const std::string &description) {
  Json::Value body;
  body["error"] = error;
  body["error_description"] = description;
  exchange.res.set_header("Cache-Control", "no-store");
  if (status == 401) {
    exchange.res.set_header("WWW-Authenticate", "Bearer error=\"" + error + "\"");
  }
  exchange.SendJson(status, body);
}

bool IsAbsoluteHttpUrl(const std::string &url) {
  for (const char *scheme : {"https://", "http://"}) {
    std::string prefix(scheme);
    if (url.compare(0, prefix.size(), prefix) == 0 && url.size() > prefix.size() &&
        url[prefix.size()] != '/') {
      return url.find_first_of(" \t\r\n") == std::string::npos;
    }
  }
  return false;
}

std::string JoinWords(const std::vector<std::string> &words) {
  std::string joined;
  for (size_t i = 0; i < words.size(); ++i) joined += (i ? " " : "") + words[i];
  return joined;
}

}  // namespace zeph_cloud
