#include "identity_api.h"

#include <mutex>

#include "base/json_utils.h"
#include "crypto_utils.h"
#include "html.h"
#include "oauth_tokens.h"
#include "pkce_templates.h"

namespace zeph_cloud {

using vexozeph::json::FromString;
using vexozeph::json::StringOr;
namespace {

const char *const kAuthorizeParams[] = {
    "response_type", "client_id",      "redirect_uri",         "scope",
    "state",         "code_challenge", "code_challenge_method"};

struct AuthorizeRequest {
  Pairs params;  // the authorization parameters, carried through the page as hidden fields
  std::string Get(const std::string &key) const {
    const std::string *value = FirstValue(params, key);
    return value ? *value : std::string();
  }
};

AuthorizeRequest ReadAuthorizeRequest(const Exchange &exchange) {
  AuthorizeRequest request;
  for (const char *key : kAuthorizeParams) {
    if (const std::string *value = exchange.Field(key)) request.params.emplace_back(key, *value);
  }
  return request;
}

void ErrorPage(Exchange &exchange, int status, const std::string &message) {
  exchange.SendHtml(status, HtmlPage("Sign-in error", "<p>" + HtmlEscape(message) + "</p>"));
}

void RedirectError(Exchange &exchange, const AuthorizeRequest &request, const std::string &error,
                   const std::string &description) {
  Pairs params = {{"error", error}, {"error_description", description}};
  if (!request.Get("state").empty()) params.emplace_back("state", request.Get("state"));
  exchange.Redirect(RedirectWithParams(request.Get("redirect_uri"), params));
}

// Checks the authorization parameters; answers and returns false when they are unusable.
// An unknown client or a bad redirect address is shown on a page, never redirected to.
bool ValidateAuthorize(Exchange &exchange, Emulator &emulator, const AuthorizeRequest &request) {
  bool known_client;
  {
    std::lock_guard<std::mutex> guard(emulator.mutex);
    known_client = emulator.state.clients.count(request.Get("client_id")) > 0;
  }
  if (!known_client) {
    ErrorPage(exchange, 400, "Unknown client_id '" + request.Get("client_id") + "'.");
    return false;
  }
  if (!IsAbsoluteHttpUrl(request.Get("redirect_uri"))) {
    ErrorPage(exchange, 400, "redirect_uri must be an absolute http(s) address.");
    return false;
  }
  if (request.Get("response_type") != "code") {
    RedirectError(exchange, request, "unsupported_response_type", "response_type must be code");
    return false;
  }
  if (request.Get("code_challenge").size() != 43 ||
      request.Get("code_challenge_method") != "S256") {
    RedirectError(exchange, request, "invalid_request",
                  "PKCE with code_challenge_method S256 is required");
    return false;
  }
  return true;
}

std::string SignInForm(const std::string &action, const AuthorizeRequest &request, bool sign_up,
                       const std::string &message) {
  std::string html;
  if (!message.empty()) html += "<p class=\"error\">" + HtmlEscape(message) + "</p>\n";
  html += "<form method=\"post\" action=\"" + HtmlEscape(action) + "\">\n";
  for (const auto &param : request.params) {
    html += "<input type=\"hidden\" name=\"" + HtmlEscape(param.first) + "\" value=\"" +
            HtmlEscape(param.second) + "\">\n";
  }
  if (sign_up) {
    html += "<label>Full name <input name=\"full_name\" autocomplete=\"name\"></label><br>\n";
  }
  html +=
      "<label>E-mail <input name=\"email\" type=\"email\" autocomplete=\"username\"></label><br>\n"
      "<label>Password <input name=\"password\" type=\"password\"></label><br>\n"
      "<label><input type=\"checkbox\" name=\"consent\" value=\"yes\"> Allow " +
      HtmlEscape(request.Get("client_id")) + " to access " + HtmlEscape(request.Get("scope")) +
      "</label><br>\n" + "<button name=\"action\" value=\"allow\">" +
      (sign_up ? "Create account" : "Sign in") +
      "</button>\n<button name=\"action\" value=\"deny\">Cancel</button>\n</form>\n";
  return html;
}

void ShowPage(Exchange &exchange, Emulator &emulator, bool sign_up) {
  AuthorizeRequest request = ReadAuthorizeRequest(exchange);
  if (!ValidateAuthorize(exchange, emulator, request)) return;
  exchange.SendHtml(200, HtmlPage(sign_up ? "Create your Zeph account" : "Sign in to Zeph",
                                  SignInForm(exchange.req.path, request, sign_up, "")));
}

void SubmitPage(Exchange &exchange, Emulator &emulator, bool sign_up) {
  AuthorizeRequest request = ReadAuthorizeRequest(exchange);
  if (!ValidateAuthorize(exchange, emulator, request)) return;
  auto field = [&exchange](const char *key) {
    const std::string *value = FirstValue(exchange.form, key);
    return value ? *value : std::string();
  };
  std::string title = sign_up ? "Create your Zeph account" : "Sign in to Zeph";
  auto again = [&](int status, const std::string &message) {
    exchange.SendHtml(status,
                      HtmlPage(title, SignInForm(exchange.req.path, request, sign_up, message)));
  };
  if (field("action") == "deny") {
    return RedirectError(exchange, request, "access_denied", "the user declined");
  }
  if (field("consent") != "yes") return again(400, "Please allow access to continue.");

  std::lock_guard<std::mutex> guard(emulator.mutex);
  State &state = emulator.state;
  const Account *account = nullptr;
  if (sign_up) {
    std::string email = field("email");
    if (email.find('@') == std::string::npos || field("password").empty()) {
      return again(400, "An e-mail address and a password are required.");
    }
    if (state.FindAccountByEmail(email) != nullptr) {
      return again(409, "This e-mail address is already registered.");
    }
    Account created;
    created.id = state.NewAccountId();
    created.email = email;
    created.password = field("password");
    created.full_name = field("full_name");
    created.activated = false;  // until the holder confirms the address
    account = &(state.accounts[created.id] = created);
  } else {
    account = state.FindAccountByEmail(field("email"));
    if (account == nullptr || account->password != field("password")) {
      return again(401, "Wrong e-mail address or password.");
    }
  }
  std::string scope = request.Get("scope");
  const AuthCode &code = IssueCode(emulator, request.Get("client_id"), request.Get("redirect_uri"),
                                   request.Get("code_challenge"), account->id, scope,
                                   ScopeItem(scope, kSerialScopePrefix));
  emulator.Persist();
  Pairs params = {{"code", code.code}};
  if (!request.Get("state").empty()) params.emplace_back("state", request.Get("state"));
  exchange.Redirect(RedirectWithParams(request.Get("redirect_uri"), params));
}

void SendTokens(Exchange &exchange, const Json::Value &answer) {
  exchange.res.set_header("Cache-Control", "no-store");
  exchange.res.set_header("Pragma", "no-cache");
  exchange.SendJson(200, answer);
}

void CodeGrant(Exchange &exchange, Emulator &emulator, const std::string &client_id) {
  const std::string *code_text = FirstValue(exchange.form, "code");
  const std::string *redirect_uri = FirstValue(exchange.form, "redirect_uri");
  const std::string *verifier = FirstValue(exchange.form, "code_verifier");
  if (code_text == nullptr || redirect_uri == nullptr) {
    return SendOAuthError(exchange, 400, "invalid_request", "code and redirect_uri are required");
  }
  State &state = emulator.state;
  auto it = state.codes.find(*code_text);
  if (it == state.codes.end()) {
    return SendOAuthError(exchange, 400, "invalid_grant", "unknown authorization code");
  }
  AuthCode &code = it->second;
  if (code.used) {
    // A replayed code may have been stolen: what it bought is withdrawn too.
    RevokeFamily(state, code.family);
    emulator.Persist();
    return SendOAuthError(exchange, 400, "invalid_grant", "authorization code already used");
  }
  code.used = true;  // single use, whatever the outcome of this attempt
  emulator.Persist();
  if (code.expires_at < emulator.Now()) {
    return SendOAuthError(exchange, 400, "invalid_grant", "authorization code expired");
  }
  if (code.client_id != client_id) {
    return SendOAuthError(exchange, 400, "invalid_grant", "code was issued to another client");
  }
  if (code.redirect_uri != *redirect_uri) {
    return SendOAuthError(exchange, 400, "invalid_grant", "redirect_uri does not match");
  }
  if (!code.challenge.empty()) {
    if (verifier == nullptr || !IsValidVerifier(*verifier)) {
      return SendOAuthError(exchange, 400, "invalid_grant", "a valid code_verifier is required");
    }
    if (S256Challenge(*verifier) != code.challenge) {
      return SendOAuthError(exchange, 400, "invalid_grant", "PKCE verification failed");
    }
  }
  const Account *account = state.FindAccount(code.account_id);
  if (account == nullptr || account->deleted) {
    return SendOAuthError(exchange, 400, "invalid_grant", "account no longer exists");
  }
  Json::Value answer =
      IssueTokenSet(emulator, code.account_id, client_id, code.scope, code.serial, code.family);
  emulator.Persist();
  SendTokens(exchange, answer);
}

void RefreshGrant(Exchange &exchange, Emulator &emulator, const std::string &client_id) {
  const std::string *refresh_text = FirstValue(exchange.form, "refresh_token");
  if (refresh_text == nullptr || refresh_text->empty()) {
    return SendOAuthError(exchange, 400, "invalid_request", "refresh_token is required");
  }
  State &state = emulator.state;
  auto it = state.tokens.find(*refresh_text);
  if (it == state.tokens.end() || it->second.kind != "refresh") {
    return SendOAuthError(exchange, 400, "invalid_grant", "unknown refresh token");
  }
  Token &refresh = it->second;
  if (refresh.client_id != client_id) {
    return SendOAuthError(exchange, 400, "invalid_grant", "token was issued to another client");
  }
  if (refresh.used) {
    // Reuse of a rotated token: someone holds a copy. The whole family is withdrawn.
    RevokeFamily(state, refresh.family);
    emulator.Persist();
    return SendOAuthError(exchange, 400, "invalid_grant", "refresh token already used");
  }
  if (refresh.revoked) {
    return SendOAuthError(exchange, 400, "invalid_grant", "refresh token revoked");
  }
  if (refresh.expires_at < emulator.Now()) {
    return SendOAuthError(exchange, 400, "invalid_grant", "refresh token expired");
  }
  const Account *account = state.FindAccount(refresh.account_id);
  if (account == nullptr || account->deleted) {
    return SendOAuthError(exchange, 400, "invalid_grant", "account no longer exists");
  }
  refresh.used = true;
  Json::Value answer = IssueTokenSet(emulator, refresh.account_id, client_id, refresh.scope,
                                     refresh.serial, refresh.family);
  emulator.Persist();
  SendTokens(exchange, answer);
}

void TokenEndpoint(Exchange &exchange, Emulator &emulator) {
  const std::string *grant_type = FirstValue(exchange.form, "grant_type");
  const std::string *client_id = FirstValue(exchange.form, "client_id");
  if (grant_type == nullptr || client_id == nullptr || client_id->empty()) {
    return SendOAuthError(exchange, 400, "invalid_request",
                          "grant_type and client_id are required");
  }
  std::string header_client = exchange.Header("X-Client-ID");
  if (!header_client.empty() && header_client != *client_id) {
    return SendOAuthError(exchange, 400, "invalid_request", "X-Client-ID does not match client_id");
  }
  std::lock_guard<std::mutex> guard(emulator.mutex);
  if (emulator.state.clients.count(*client_id) == 0) {
    return SendOAuthError(exchange, 401, "invalid_client", "unknown client");
  }
  if (*grant_type == "authorization_code") return CodeGrant(exchange, emulator, *client_id);
  if (*grant_type == "refresh_token") return RefreshGrant(exchange, emulator, *client_id);
  SendOAuthError(exchange, 400, "unsupported_grant_type", "unsupported grant_type");
}

void EndSession(Exchange &exchange, Emulator &emulator) {
  const std::string *hint = exchange.Field("id_token_hint");
  const std::string *redirect = exchange.Field("post_logout_redirect_uri");
  const std::string *state = exchange.Field("state");
  if (redirect != nullptr && !IsAbsoluteHttpUrl(*redirect)) {
    return ErrorPage(exchange, 400, "post_logout_redirect_uri must be an absolute address.");
  }
  if (hint != nullptr) {
    // The identity token names its session ("sid"); signing out ends every token of it.
    std::lock_guard<std::mutex> guard(emulator.mutex);
    std::string payload_text;
    Json::Value payload;
    if (!VerifyJwt(*hint, emulator.state.id_token_secret, payload_text) ||
        !FromString(payload_text, payload) || StringOr(payload, "sid").empty()) {
      return ErrorPage(exchange, 400, "id_token_hint is not an identity token of this host.");
    }
    RevokeFamily(emulator.state, StringOr(payload, "sid"));
    emulator.Persist();
  }
  if (redirect == nullptr) return exchange.SendHtml(200, HtmlPage("Signed out", ""));
  Pairs params;
  if (state != nullptr) params.emplace_back("state", *state);
  exchange.Redirect(RedirectWithParams(*redirect, params));
}

}  // namespace

void AddIdentityApi(Router &router, Emulator &emulator) {
  router.Add("GET", kAuthorizePath,
             [&emulator](Exchange &exchange) { ShowPage(exchange, emulator, false); });
  router.Add("POST", kAuthorizePath,
             [&emulator](Exchange &exchange) { SubmitPage(exchange, emulator, false); });
  router.Add("GET", kRegisterPath,
             [&emulator](Exchange &exchange) { ShowPage(exchange, emulator, true); });
  router.Add("POST", kRegisterPath,
             [&emulator](Exchange &exchange) { SubmitPage(exchange, emulator, true); });
  router.Add("POST", kTokenPath,
             [&emulator](Exchange &exchange) { TokenEndpoint(exchange, emulator); });
  router.Add("GET", kEndSessionPath,
             [&emulator](Exchange &exchange) { EndSession(exchange, emulator); });
  router.Add("POST", kEndSessionPath,
             [&emulator](Exchange &exchange) { EndSession(exchange, emulator); });
}

}  // namespace zeph_cloud
