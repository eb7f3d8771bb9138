#include "admin_api.h"

#include <cctype>
#include <mutex>

#include "account_form_api.h"
#include "base/json_utils.h"
#include "crypto_utils.h"
#include "oauth_tokens.h"
#include "pkce_templates.h"

namespace zeph_cloud {

using vexozeph::json::FromString;
using vexozeph::json::Has;
using vexozeph::json::Int64Or;
using vexozeph::json::Member;
using vexozeph::json::StringOr;

namespace {

void Fail(Exchange &exchange, int status, const std::string &message) {
  Json::Value body;
  body["error"] = message;
  exchange.SendJson(status, body);
}

// The request body as a JSON object (an empty body counts as {}); answers 400 otherwise.
bool Body(Exchange &exchange, Json::Value &out) {
  if (exchange.req.body.empty()) {
    out = Json::Value(Json::objectValue);
    return true;
  }
  if (FromString(exchange.req.body, out) && out.isObject()) return true;
  Fail(exchange, 400, "the body must be a JSON object");
  return false;
}

// The account as the admin API shows it: the whole record and its auth keys.
Json::Value AccountJson(const State &state, const Account &account) {
  Json::Value j = ToJson(account);
  Json::Value keys(Json::arrayValue);
  for (const auto &entry : state.auth_keys) {
    if (entry.second.account_id == account.id) keys.append(ToJson(entry.second));
  }
  j["auth_keys"] = keys;
  return j;
}

Json::Value LifetimesJson(const Settings &settings) {
  Json::Value j;
  j["access_token"] = Json::Int64(settings.access_token_lifetime);
  j["refresh_token"] = Json::Int64(settings.refresh_token_lifetime);
  j["code"] = Json::Int64(settings.code_lifetime);
  return j;
}

void PostAccount(Exchange &exchange, Emulator &emulator) {
  Json::Value input;
  if (!Body(exchange, input)) return;
  std::lock_guard<std::mutex> guard(emulator.mutex);
  Account created;
  std::string error;
  if (!CreateAccount(emulator.state, input, created, error)) return Fail(exchange, 400, error);
  emulator.Persist();
  exchange.SendJson(201, AccountJson(emulator.state, created));
}

void ListAccounts(Exchange &exchange, Emulator &emulator) {
  std::lock_guard<std::mutex> guard(emulator.mutex);
  Json::Value list(Json::arrayValue);
  for (const auto &entry : emulator.state.accounts) {
    list.append(AccountJson(emulator.state, entry.second));
  }
  Json::Value body;
  body["accounts"] = list;
  exchange.SendJson(200, body);
}

void GetAccount(Exchange &exchange, Emulator &emulator) {
  std::lock_guard<std::mutex> guard(emulator.mutex);
  const Account *account = emulator.state.FindAccount(exchange.suffix);
  if (account == nullptr) return Fail(exchange, 404, "no account " + exchange.suffix);
  exchange.SendJson(200, AccountJson(emulator.state, *account));
}

void UpdateAccount(Exchange &exchange, Emulator &emulator) {
  Json::Value input;
  if (!Body(exchange, input)) return;
  std::lock_guard<std::mutex> guard(emulator.mutex);
  Account *account = emulator.state.FindAccount(exchange.suffix);
  if (account == nullptr) return Fail(exchange, 404, "no account " + exchange.suffix);
  Account updated = *account;
  std::string error;
  if (!FromJson(input, updated, error)) return Fail(exchange, 400, error);
  updated.id = account->id;  // the id names the account; it is not a field to change
  const Account *holder = emulator.state.FindAccountByEmail(updated.email);
  if (!updated.deleted && holder != nullptr && holder->id != updated.id) {
    return Fail(exchange, 409, "e-mail already in use");
  }
  *account = updated;
  emulator.Persist();
  exchange.SendJson(200, AccountJson(emulator.state, *account));
}

void DeleteAccount(Exchange &exchange, Emulator &emulator) {
  std::lock_guard<std::mutex> guard(emulator.mutex);
  Account *account = emulator.state.FindAccount(exchange.suffix);
  if (account == nullptr) return Fail(exchange, 404, "no account " + exchange.suffix);
  // Kept as a tombstone: its keys and tokens now meet "account_not_found" and
  // "invalid_grant" rather than looking unknown.
  account->deleted = true;
  emulator.Persist();
  exchange.SendJson(200, AccountJson(emulator.state, *account));
}

void PostDevice(Exchange &exchange, Emulator &emulator) {
  Json::Value input;
  if (!Body(exchange, input)) return;
  std::lock_guard<std::mutex> guard(emulator.mutex);
  Device device;
  std::string error;
  if (!CreateDevice(emulator.state, input, device, error)) return Fail(exchange, 400, error);
  emulator.Persist();
  exchange.SendJson(201, ToJson(device));
}

void ListDevices(Exchange &exchange, Emulator &emulator) {
  std::lock_guard<std::mutex> guard(emulator.mutex);
  Json::Value list(Json::arrayValue);
  for (const auto &entry : emulator.state.devices) list.append(ToJson(entry.second));
  Json::Value body;
  body["devices"] = list;
  exchange.SendJson(200, body);
}

void PostClient(Exchange &exchange, Emulator &emulator) {
  Json::Value input;
  if (!Body(exchange, input)) return;
  std::string client_id = StringOr(input, "client_id");
  if (client_id.empty()) return Fail(exchange, 400, "\"client_id\" is required");
  std::lock_guard<std::mutex> guard(emulator.mutex);
  emulator.state.clients.insert(client_id);
  emulator.Persist();
  exchange.SendJson(201, input);
}

void PostPackage(Exchange &exchange, Emulator &emulator) {
  Json::Value input;
  if (!Body(exchange, input)) return;
  PackageClient package;
  package.name = StringOr(input, "package_name");
  if (package.name.empty()) return Fail(exchange, 400, "\"package_name\" is required");
  package.client_id = StringOr(input, "client_id", "pkg." + package.name);
  package.scope =
      StringOr(input, "scope",
               "openid offline_access package:" + package.name + " " + kSerialScopePrefix + "$sn$");
  package.audience = StringOr(input, "audience", "zeph-package-" + package.name);
  std::lock_guard<std::mutex> guard(emulator.mutex);
  emulator.state.packages[package.name] = package;
  emulator.state.clients.insert(package.client_id);
  emulator.Persist();
  exchange.SendJson(201, PackageTemplate(package));
}

void Lifetimes(Exchange &exchange, Emulator &emulator) {
  Json::Value input;
  if (!Body(exchange, input)) return;
  std::lock_guard<std::mutex> guard(emulator.mutex);
  Settings updated = emulator.state.settings;
  struct Field {
    const char *name;
    int64_t Settings::*member;
  };
  static const Field kFields[] = {{"access_token", &Settings::access_token_lifetime},
                                  {"refresh_token", &Settings::refresh_token_lifetime},
                                  {"code", &Settings::code_lifetime}};
  for (const auto &field : kFields) {
    if (!Has(input, field.name)) continue;
    int64_t seconds = Int64Or(input, field.name, -1);
    if (seconds < 1) return Fail(exchange, 400, std::string(field.name) + " must be >= 1 second");
    updated.*field.member = seconds;
  }
  emulator.state.settings = updated;
  emulator.Persist();
  exchange.SendJson(200, LifetimesJson(updated));
}

void AdvanceClock(Exchange &exchange, Emulator &emulator) {
  Json::Value input;
  if (!Body(exchange, input)) return;
  int64_t seconds = Int64Or(input, "advance_seconds", -1);
  if (seconds < 0) return Fail(exchange, 400, "\"advance_seconds\" must be >= 0");
  std::lock_guard<std::mutex> guard(emulator.mutex);
  emulator.state.settings.clock_offset += seconds;
  emulator.MirrorClockOffset();
  emulator.Persist();
  Json::Value body;
  body["now"] = Json::Int64(emulator.Now());
  body["offset"] = Json::Int64(emulator.state.settings.clock_offset);
  exchange.SendJson(200, body);
}

void Revoke(Exchange &exchange, Emulator &emulator) {
  Json::Value input;
  if (!Body(exchange, input)) return;
  std::lock_guard<std::mutex> guard(emulator.mutex);
  State &state = emulator.state;
  int revoked = 0;
  bool named = false;
  for (const char *kind : {"refresh_token", "access_token"}) {
    std::string value = StringOr(input, kind);
    if (value.empty()) continue;
    named = true;
    auto it = state.tokens.find(value);
    std::string expected_kind = std::string(kind) == "refresh_token" ? "refresh" : "access";
    if (it != state.tokens.end() && it->second.kind == expected_kind && !it->second.revoked) {
      it->second.revoked = true;
      ++revoked;
    }
  }
  std::string auth_key = StringOr(input, "auth_key");
  if (!auth_key.empty()) {
    named = true;
    auto it = state.auth_keys.find(auth_key);
    if (it != state.auth_keys.end() && !it->second.revoked) {
      it->second.revoked = true;
      ++revoked;
    }
  }
  if (!named) return Fail(exchange, 400, "name a refresh_token, access_token or auth_key");
  emulator.Persist();
  Json::Value body;
  body["revoked"] = revoked;
  exchange.SendJson(200, body);
}

void SetAnswer(Exchange &exchange, Emulator &emulator) {
  Json::Value input;
  if (!Body(exchange, input)) return;
  std::string path = StringOr(input, "path");
  std::string word = StringOr(input, "code");
  int64_t count = Int64Or(input, "count", 0);
  const Json::Value &extra = Member(input, "extra");
  if (path.empty() || word.empty() || count < 0 || !(extra.isNull() || extra.isObject())) {
    return Fail(exchange, 400, "\"path\" and \"code\" are required; count >= 0; extra an object");
  }
  emulator.answers.Set(path, word, static_cast<int>(count), extra);
  exchange.SendJson(200, emulator.answers.ToJson());
}

void QueueFault(Exchange &exchange, Emulator &emulator) {
  Json::Value input;
  if (!Body(exchange, input)) return;
  Fault fault;
  std::string error;
  if (!FaultFromJson(input, fault, error)) return Fail(exchange, 400, error);
  emulator.faults.Add(fault);
  exchange.SendJson(200, emulator.faults.ToJson());
}

void ReadRequests(Exchange &exchange, Emulator &emulator) {
  const std::string *origin = FirstValue(exchange.query, "origin");
  const std::string *path = FirstValue(exchange.query, "path");
  Json::Value body;
  body["requests"] =
      emulator.requests.ToJson(origin ? *origin : "", path ? NormalizePath(*path) : "");
  exchange.SendJson(200, body);
}

// A code without a browser: the same checks as the sign-in page, answered as JSON.
void ScriptedAuthorize(Exchange &exchange, Emulator &emulator) {
  Json::Value input;
  if (!Body(exchange, input)) return;
  std::string client_id = StringOr(input, "client_id", kDeviceClientId);
  std::string redirect_uri = StringOr(input, "redirect_uri");
  std::string challenge = StringOr(input, "code_challenge");
  std::string scope = StringOr(input, "scope");
  std::string state_param = StringOr(input, "state");
  if (!IsAbsoluteHttpUrl(redirect_uri) || challenge.size() != 43) {
    return Fail(exchange, 400, "an absolute redirect_uri and an S256 code_challenge are needed");
  }
  std::lock_guard<std::mutex> guard(emulator.mutex);
  State &state = emulator.state;
  if (state.clients.count(client_id) == 0) return Fail(exchange, 400, "unknown client_id");
  const Account *account = state.FindAccountByEmail(StringOr(input, "email"));
  if (account == nullptr || account->password != StringOr(input, "password")) {
    return Fail(exchange, 401, "wrong e-mail or password");
  }
  const AuthCode &code = IssueCode(emulator, client_id, redirect_uri, challenge, account->id, scope,
                                   ScopeItem(scope, kSerialScopePrefix));
  emulator.Persist();
  Pairs params = {{"code", code.code}};
  if (!state_param.empty()) params.emplace_back("state", state_param);
  Json::Value body;
  body["code"] = code.code;
  body["location"] = RedirectWithParams(redirect_uri, params);
  exchange.SendJson(200, body);
}

void WriteTemplates(Exchange &exchange) {
  Json::Value input;
  if (!Body(exchange, input)) return;
  std::string dir = StringOr(input, "dir");
  std::string error;
  if (dir.empty() || dir[0] != '/') return Fail(exchange, 400, "\"dir\" must be absolute");
  if (!WriteDeviceTemplates(dir, error)) return Fail(exchange, 500, error);
  Json::Value body;
  body["login"] = dir + "/pkce_login.conf";
  body["register"] = dir + "/pkce_register.conf";
  exchange.SendJson(200, body);
}

// Whose token a token is: an access or refresh token by its record, an identity token by
// its signed claims. Tests ask it rather than trusting what a client says it holds.
void TokenOwner(Exchange &exchange, Emulator &emulator) {
  Json::Value input;
  if (!Body(exchange, input)) return;
  const std::string token = StringOr(input, "token");
  std::lock_guard<std::mutex> guard(emulator.mutex);
  const State &state = emulator.state;
  Json::Value body;
  const auto record = state.tokens.find(token);
  std::string payload_text;
  Json::Value payload;
  if (record != state.tokens.end()) {
    const Token &t = record->second;
    body["kind"] = t.kind;
    body["account_id"] = t.account_id;
    body["client_id"] = t.client_id;
    body["serial"] = t.serial;
    body["family"] = t.family;
    body["live"] = !t.revoked && !t.used && t.expires_at >= emulator.Now();
  } else if (!token.empty() && VerifyJwt(token, state.id_token_secret, payload_text) &&
             FromString(payload_text, payload)) {
    body["kind"] = "id";
    body["account_id"] = StringOr(payload, "sub");
    body["client_id"] = StringOr(payload, "aud");
    body["family"] = StringOr(payload, "sid");
    body["live"] = Int64Or(payload, "exp", 0) >= emulator.Now();
  } else {
    return Fail(exchange, 404, "not a token of this emulator");
  }
  exchange.SendJson(200, body);
}

void SendOk(Exchange &exchange) {
  Json::Value body;
  body["ok"] = true;
  exchange.SendJson(200, body);
}

}  // namespace

bool CreateAccount(State &state, const Json::Value &input, Account &created, std::string &error) {
  Account account;
  if (!FromJson(input, account, error)) return false;
  if (account.email.empty() || account.password.empty()) {
    error = "\"email\" and \"password\" are required";
    return false;
  }
  if (state.FindAccountByEmail(account.email) != nullptr) {
    error = "e-mail already in use";
    return false;
  }
  std::string id = StringOr(input, "id");
  if (!id.empty()) {
    bool digits = true;
    for (unsigned char c : id) digits = digits && std::isdigit(c);
    if (!digits || state.FindAccount(id) != nullptr) {
      error = "\"id\" must be digits and unused";
      return false;
    }
    account.id = id;
  } else {
    account.id = state.NewAccountId();
  }
  state.accounts[account.id] = account;
  created = account;
  return true;
}

bool CreateDevice(State &state, const Json::Value &input, Device &created, std::string &error) {
  Device device;
  if (!FromJson(input, device, error)) return false;
  if (device.serial.empty()) {
    error = "\"serial\" is required";
    return false;
  }
  auto existing = state.devices.find(device.serial);
  if (existing != state.devices.end()) {
    device.registered_accounts = existing->second.registered_accounts;
  }
  state.devices[device.serial] = device;
  created = device;
  return true;
}

void AddAdminApi(Router &router, Emulator &emulator) {
  auto bind = [&emulator](void (*handler)(Exchange &, Emulator &)) {
    return Handler([handler, &emulator](Exchange &exchange) { handler(exchange, emulator); });
  };
  router.Add("GET", "/admin/health", SendOk);
  router.Add("GET", "/admin/state", [&emulator](Exchange &exchange) {
    std::lock_guard<std::mutex> guard(emulator.mutex);
    exchange.SendJson(200, emulator.state.ToJson());
  });
  router.Add("POST", "/admin/accounts", bind(PostAccount));
  router.Add("GET", "/admin/accounts", bind(ListAccounts));
  router.AddPrefix("GET", "/admin/accounts/", bind(GetAccount));
  router.AddPrefix("POST", "/admin/accounts/", bind(UpdateAccount));
  router.AddPrefix("DELETE", "/admin/accounts/", bind(DeleteAccount));
  router.Add("POST", "/admin/devices", bind(PostDevice));
  router.Add("GET", "/admin/devices", bind(ListDevices));
  router.Add("POST", "/admin/clients", bind(PostClient));
  router.Add("POST", "/admin/packages", bind(PostPackage));
  router.Add("POST", "/admin/lifetimes", bind(Lifetimes));
  router.Add("GET", "/admin/lifetimes", [&emulator](Exchange &exchange) {
    std::lock_guard<std::mutex> guard(emulator.mutex);
    exchange.SendJson(200, LifetimesJson(emulator.state.settings));
  });
  router.Add("POST", "/admin/clock", bind(AdvanceClock));
  router.Add("POST", "/admin/revoke", bind(Revoke));
  router.Add("POST", "/admin/answers", bind(SetAnswer));
  router.Add("GET", "/admin/answers", [&emulator](Exchange &exchange) {
    exchange.SendJson(200, emulator.answers.ToJson());
  });
  router.Add("DELETE", "/admin/answers", [&emulator](Exchange &exchange) {
    emulator.answers.Clear();
    SendOk(exchange);
  });
  router.Add("POST", "/admin/faults", bind(QueueFault));
  router.Add("GET", "/admin/faults",
             [&emulator](Exchange &exchange) { exchange.SendJson(200, emulator.faults.ToJson()); });
  router.Add("DELETE", "/admin/faults", [&emulator](Exchange &exchange) {
    emulator.faults.Clear();
    SendOk(exchange);
  });
  router.Add("GET", "/admin/held", [&emulator](Exchange &exchange) {
    Json::Value body;
    body["held"] = emulator.HeldCount();
    exchange.SendJson(200, body);
  });
  router.Add("POST", "/admin/held/release", [&emulator](Exchange &exchange) {
    Json::Value body;
    body["released"] = emulator.ReleaseHeld();
    exchange.SendJson(200, body);
  });
  router.Add("POST", "/admin/tokens/owner", bind(TokenOwner));
  router.Add("GET", "/admin/requests", bind(ReadRequests));
  router.Add("DELETE", "/admin/requests", [&emulator](Exchange &exchange) {
    emulator.requests.Clear();
    SendOk(exchange);
  });
  router.Add("POST", "/admin/authorize", bind(ScriptedAuthorize));
  router.Add("POST", "/admin/templates", WriteTemplates);
}

}  // namespace zeph_cloud
