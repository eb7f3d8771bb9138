#include "account_oauth_api.h"

#include <mutex>

#include "html.h"
#include "oauth_tokens.h"
#include "pkce_templates.h"

namespace zeph_cloud {
namespace {

// The live access token of the request's bearer header, or null after answering 401.
const Token *Bearer(Exchange &exchange, Emulator &emulator) {
  std::string why;
  const Token *token = LiveAccessToken(emulator, exchange.BearerToken(), why);
  if (token == nullptr) SendOAuthError(exchange, 401, "invalid_token", why);
  return token;
}

// The bearer must be a token of `client_id`; otherwise answers 403.
bool BearerOfClient(Exchange &exchange, const Token &token, const std::string &client_id) {
  if (token.client_id == client_id) return true;
  SendOAuthError(exchange, 403, "insufficient_scope",
                 "this call needs a token of client " + client_id);
  return false;
}

// An "X-Client-ID" header, when sent, must name the form's client.
bool ClientHeaderMatches(Exchange &exchange, const std::string &client_id) {
  std::string header = exchange.Header("X-Client-ID");
  if (header.empty() || header == client_id) return true;
  SendOAuthError(exchange, 400, "invalid_request", "X-Client-ID does not match client_id");
  return false;
}

struct GrantForm {
  std::string client_id;
  std::string redirect_url;
  std::string state;
  std::string challenge;
  std::string scope;
};

// Reads the grant form; answers 400 and returns false when a required field is missing.
bool ReadGrantForm(Exchange &exchange, bool needs_challenge, GrantForm &form) {
  const std::string *client_id = FirstValue(exchange.form, "client_id");
  const std::string *redirect_url = FirstValue(exchange.form, "redirect_url");
  const std::string *state = FirstValue(exchange.form, "state");
  const std::string *challenge = FirstValue(exchange.form, "code_challenge");
  if (client_id == nullptr || client_id->empty() || redirect_url == nullptr ||
      !IsAbsoluteHttpUrl(*redirect_url) || state == nullptr) {
    SendOAuthError(exchange, 400, "invalid_request",
                   "client_id, an absolute redirect_url and state are required");
    return false;
  }
  if (needs_challenge && (challenge == nullptr || challenge->size() != 43)) {
    SendOAuthError(exchange, 400, "invalid_request", "an S256 code_challenge is required");
    return false;
  }
  form.client_id = *client_id;
  form.redirect_url = *redirect_url;
  form.state = *state;
  form.challenge = challenge ? *challenge : "";
  form.scope = JoinWords(AllValues(exchange.form, "scopes[]"));
  return ClientHeaderMatches(exchange, form.client_id);
}

void SendGrant(Exchange &exchange, const AuthCode &code, const std::string &state) {
  Json::Value body;
  body["grant_code"] = code.code;
  body["state"] = state;
  exchange.SendJson(200, body);
}

void ExchangeAuthKey(Exchange &exchange, Emulator &emulator) {
  std::lock_guard<std::mutex> guard(emulator.mutex);
  const Token *token = Bearer(exchange, emulator);
  if (token == nullptr || !BearerOfClient(exchange, *token, kDeviceClientId)) return;
  if (token->serial.empty()) {
    return SendOAuthError(exchange, 400, "invalid_scope", "the token names no device");
  }
  const AuthKey &key = emulator.state.AuthKeyFor(token->account_id, token->serial, emulator.Now());
  Json::Value body;
  body["user_id"] = token->account_id;
  body["auth_key"] = key.key;
  emulator.Persist();
  exchange.SendJson(200, body);
}

void GrantByAuthKey(Exchange &exchange, Emulator &emulator) {
  GrantForm form;
  if (!ReadGrantForm(exchange, true, form)) return;
  if (form.client_id != kDeviceClientId) {
    return SendOAuthError(exchange, 400, "unauthorized_client",
                          "auth-key grants are for the device client only");
  }
  const std::string *auth_key = FirstValue(exchange.form, "auth_key");
  std::lock_guard<std::mutex> guard(emulator.mutex);
  State &state = emulator.state;
  auto key = state.auth_keys.find(auth_key ? *auth_key : "");
  const Account *account =
      key == state.auth_keys.end() ? nullptr : state.FindAccount(key->second.account_id);
  if (key == state.auth_keys.end() || key->second.revoked || account == nullptr ||
      account->deleted) {
    return SendOAuthError(exchange, 401, "invalid_grant", "auth key refused");
  }
  std::string scope_serial = ScopeItem(form.scope, kSerialScopePrefix);
  if (!scope_serial.empty() && scope_serial != key->second.serial) {
    return SendOAuthError(exchange, 400, "invalid_scope", "the scope names another device");
  }
  const AuthCode &code = IssueCode(emulator, form.client_id, form.redirect_url, form.challenge,
                                   account->id, form.scope, key->second.serial);
  emulator.Persist();
  SendGrant(exchange, code, form.state);
}

void Logout(Exchange &exchange, Emulator &emulator) {
  const std::string *serial = FirstValue(exchange.form, "serial_no");
  const std::string *id = FirstValue(exchange.form, "id");
  if (serial == nullptr || serial->empty() || id == nullptr || id->empty() ||
      FirstValue(exchange.form, "auth_key") == nullptr) {
    Json::Value body;
    body["code"] = "badparam";
    return exchange.SendJson(400, body);
  }
  std::lock_guard<std::mutex> guard(emulator.mutex);
  State &state = emulator.state;
  std::string client = exchange.Header("X-Client-ID");
  if (!client.empty() && state.clients.count(client) == 0) {
    Json::Value body;
    body["code"] = "badparam";
    return exchange.SendJson(400, body);
  }
  if (auto forced = emulator.answers.Take(exchange.req.path)) {
    Json::Value body = forced->extra.isObject() ? forced->extra : Json::Value(Json::objectValue);
    body["code"] = forced->word;
    return exchange.SendJson(200, body);
  }
  // Signing out is idempotent: a key that is already gone still gets "good", so that an
  // appliance whose key was refused can always leave.
  for (auto &entry : state.auth_keys) {
    AuthKey &key = entry.second;
    if (key.account_id == *id && key.serial == *serial) key.revoked = true;
  }
  for (auto &entry : state.tokens) {
    Token &token = entry.second;
    if (token.account_id == *id && token.serial == *serial) token.revoked = true;
  }
  if (const std::string *access = FirstValue(exchange.form, "access_token")) {
    auto it = state.tokens.find(*access);
    if (it != state.tokens.end() && it->second.account_id == *id) {
      RevokeFamily(state, it->second.family);
    }
  }
  emulator.Persist();
  Json::Value body;
  body["code"] = "good";
  exchange.SendJson(200, body);
}

void PackageConfig(Exchange &exchange, Emulator &emulator) {
  std::lock_guard<std::mutex> guard(emulator.mutex);
  const Token *token = Bearer(exchange, emulator);
  if (token == nullptr || !BearerOfClient(exchange, *token, kDeviceClientId)) return;
  const std::string *name = FirstValue(exchange.query, "package_name");
  if (name == nullptr || name->empty()) {
    return SendOAuthError(exchange, 400, "invalid_request", "package_name is required");
  }
  auto package = emulator.state.packages.find(*name);
  if (package == emulator.state.packages.end()) {
    return SendOAuthError(exchange, 404, "package_not_found", "no such package: " + *name);
  }
  exchange.SendJson(200, PackageTemplate(package->second));
}

void PackageGrant(Exchange &exchange, Emulator &emulator) {
  GrantForm form;
  if (!ReadGrantForm(exchange, true, form)) return;
  std::lock_guard<std::mutex> guard(emulator.mutex);
  const Token *token = Bearer(exchange, emulator);
  if (token == nullptr || !BearerOfClient(exchange, *token, kDeviceClientId)) return;
  if (emulator.state.FindPackageByClient(form.client_id) == nullptr) {
    return SendOAuthError(exchange, 400, "unauthorized_client",
                          form.client_id + " is not a package client");
  }
  std::string scope_serial = ScopeItem(form.scope, kSerialScopePrefix);
  if (!scope_serial.empty() && scope_serial != token->serial) {
    return SendOAuthError(exchange, 400, "invalid_scope", "the scope names another device");
  }
  const AuthCode &code = IssueCode(emulator, form.client_id, form.redirect_url, form.challenge,
                                   token->account_id, form.scope, token->serial);
  emulator.Persist();
  SendGrant(exchange, code, form.state);
}

void MonitorGrant(Exchange &exchange, Emulator &emulator) {
  GrantForm form;
  if (!ReadGrantForm(exchange, false, form)) return;
  std::lock_guard<std::mutex> guard(emulator.mutex);
  const Token *token = Bearer(exchange, emulator);
  auto vigilon = emulator.state.packages.find("vigilon");
  if (token == nullptr) return;
  if (vigilon == emulator.state.packages.end()) {
    return SendOAuthError(exchange, 404, "package_not_found", "no vigilon package");
  }
  if (!BearerOfClient(exchange, *token, vigilon->second.client_id)) return;
  if (emulator.state.clients.count(form.client_id) == 0) {
    return SendOAuthError(exchange, 400, "unauthorized_client", "unknown client");
  }
  // The monitoring side runs its own PKCE, if any: this code carries no challenge.
  const AuthCode &code = IssueCode(emulator, form.client_id, form.redirect_url, "",
                                   token->account_id, form.scope, token->serial);
  emulator.Persist();
  SendGrant(exchange, code, form.state);
}

// Where the browser lands after signing in or out: shows what it was handed.
void LandingPage(Exchange &exchange, const std::string &title) {
  std::string rows;
  for (const auto &pair : exchange.query) {
    rows += "<tr><th>" + HtmlEscape(pair.first) + "</th><td><code>" + HtmlEscape(pair.second) +
            "</code></td></tr>\n";
  }
  exchange.SendHtml(200, HtmlPage(title, "<table>\n" + rows + "</table>"));
}

}  // namespace

void AddAccountOAuthApi(Router &router, Emulator &emulator) {
  auto bind = [&emulator](void (*handler)(Exchange &, Emulator &)) {
    return Handler([handler, &emulator](Exchange &exchange) { handler(exchange, emulator); });
  };
  router.Add("POST", "/oauth2/api/v1/device/core/authkey/exchange", bind(ExchangeAuthKey));
  router.Add("POST", "/migration/api/v1/device/core/authorization_code/grant",
             bind(GrantByAuthKey));
  router.Add("POST", "/device/api/logout", bind(Logout));
  router.Add("GET", "/oauth2/api/v1/device/package/config/pkce/client", bind(PackageConfig));
  router.Add("POST", "/oauth2/api/v1/device/package/authorization_code/grant", bind(PackageGrant));
  router.Add("POST", "/oauth2/api/v1/device/vigilon/authorization_code/grant", bind(MonitorGrant));
  router.Add("GET", kLoginRedirectPath,
             [](Exchange &exchange) { LandingPage(exchange, "Signed in"); });
  router.Add("GET", kLogoutRedirectPath,
             [](Exchange &exchange) { LandingPage(exchange, "Signed out"); });
  router.Add("GET", kPackageRedirectPath,
             [](Exchange &exchange) { LandingPage(exchange, "Package signed in"); });
}

}  // namespace zeph_cloud
