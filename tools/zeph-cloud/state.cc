#include "state.h"

#include <algorithm>
#include <cctype>

#include "crypto_utils.h"
#include "json_access.h"

namespace zeph_cloud {

const char kDeviceClientId[] = "zeph-device";
const char kMonitorClientId[] = "vigilon-cloud";
const char kSerialScopePrefix[] = "device_sn:";
const char kMacScopePrefix[] = "device_mac:";

namespace {

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

Json::Value AccountToJson(const Account &a) {
  Json::Value j;
  j["id"] = a.id;
  j["email"] = a.email;
  j["password"] = a.password;
  j["full_name"] = a.full_name;
  j["country"] = a.country;
  j["timezone"] = a.timezone;
  j["notify_language"] = a.notify_language;
  j["activated"] = a.activated;
  j["disabled"] = a.disabled;
  j["enews"] = a.enews;
  j["critical_release"] = a.critical_release;
  j["enews_local_promotion"] = a.enews_local_promotion;
  j["realname_validation_pass"] = a.realname_validation_pass;
  j["critical_version_list"] = a.critical_version_list;
  j["report_cron_timestring"] = a.report_cron_timestring;
  j["deleted"] = a.deleted;
  return j;
}

Account AccountFromJson(const Json::Value &j) {
  Account a;
  a.id = StringAt(j, "id");
  a.email = StringAt(j, "email");
  a.password = StringAt(j, "password");
  a.full_name = StringAt(j, "full_name");
  a.country = StringAt(j, "country");
  a.timezone = StringAt(j, "timezone");
  a.notify_language = StringAt(j, "notify_language");
  a.activated = BoolAt(j, "activated", true);
  a.disabled = BoolAt(j, "disabled", false);
  a.enews = BoolAt(j, "enews", false);
  a.critical_release = BoolAt(j, "critical_release", false);
  a.enews_local_promotion = BoolAt(j, "enews_local_promotion", false);
  const Json::Value &realname = MemberAt(j, "realname_validation_pass");
  a.realname_validation_pass = realname.isBool() ? realname : Json::Value();
  const Json::Value &versions = MemberAt(j, "critical_version_list");
  if (versions.isObject()) a.critical_version_list = versions;
  a.report_cron_timestring = StringAt(j, "report_cron_timestring");
  a.deleted = BoolAt(j, "deleted", false);
  return a;
}

Json::Value DeviceToJson(const Device &d) {
  Json::Value j;
  j["serial"] = d.serial;
  j["mac"] = d.mac;
  j["api_key"] = d.api_key;
  j["api_key_expired"] = d.api_key_expired;
  j["register_limit"] = d.register_limit;
  j["registered_accounts"] = d.registered_accounts;
  j["last_timezone"] = d.last_timezone;
  j["last_report"] = Json::Int64(d.last_report);
  return j;
}

Device DeviceFromJson(const Json::Value &j) {
  Device d;
  d.serial = StringAt(j, "serial");
  d.mac = StringAt(j, "mac");
  d.api_key = StringAt(j, "api_key");
  d.api_key_expired = BoolAt(j, "api_key_expired", false);
  d.register_limit = static_cast<int>(IntAt(j, "register_limit", 3));
  d.registered_accounts = static_cast<int>(IntAt(j, "registered_accounts", 0));
  d.last_timezone = StringAt(j, "last_timezone");
  d.last_report = IntAt(j, "last_report", 0);
  return d;
}

Json::Value AuthKeyToJson(const AuthKey &k) {
  Json::Value j;
  j["key"] = k.key;
  j["account_id"] = k.account_id;
  j["serial"] = k.serial;
  j["issued_at"] = Json::Int64(k.issued_at);
  j["revoked"] = k.revoked;
  return j;
}

AuthKey AuthKeyFromJson(const Json::Value &j) {
  AuthKey k;
  k.key = StringAt(j, "key");
  k.account_id = StringAt(j, "account_id");
  k.serial = StringAt(j, "serial");
  k.issued_at = IntAt(j, "issued_at", 0);
  k.revoked = BoolAt(j, "revoked", false);
  return k;
}

Json::Value CodeToJson(const AuthCode &c) {
  Json::Value j;
  j["code"] = c.code;
  j["client_id"] = c.client_id;
  j["redirect_uri"] = c.redirect_uri;
  j["challenge"] = c.challenge;
  j["account_id"] = c.account_id;
  j["scope"] = c.scope;
  j["serial"] = c.serial;
  j["family"] = c.family;
  j["expires_at"] = Json::Int64(c.expires_at);
  j["used"] = c.used;
  return j;
}

AuthCode CodeFromJson(const Json::Value &j) {
  AuthCode c;
  c.code = StringAt(j, "code");
  c.client_id = StringAt(j, "client_id");
  c.redirect_uri = StringAt(j, "redirect_uri");
  c.challenge = StringAt(j, "challenge");
  c.account_id = StringAt(j, "account_id");
  c.scope = StringAt(j, "scope");
  c.serial = StringAt(j, "serial");
  c.family = StringAt(j, "family");
  c.expires_at = IntAt(j, "expires_at", 0);
  c.used = BoolAt(j, "used", false);
  return c;
}

Json::Value TokenToJson(const Token &t) {
  Json::Value j;
  j["token"] = t.token;
  j["kind"] = t.kind;
  j["account_id"] = t.account_id;
  j["client_id"] = t.client_id;
  j["scope"] = t.scope;
  j["serial"] = t.serial;
  j["family"] = t.family;
  j["issued_at"] = Json::Int64(t.issued_at);
  j["expires_at"] = Json::Int64(t.expires_at);
  j["revoked"] = t.revoked;
  j["used"] = t.used;
  return j;
}

Token TokenFromJson(const Json::Value &j) {
  Token t;
  t.token = StringAt(j, "token");
  t.kind = StringAt(j, "kind");
  t.account_id = StringAt(j, "account_id");
  t.client_id = StringAt(j, "client_id");
  t.scope = StringAt(j, "scope");
  t.serial = StringAt(j, "serial");
  t.family = StringAt(j, "family");
  t.issued_at = IntAt(j, "issued_at", 0);
  t.expires_at = IntAt(j, "expires_at", 0);
  t.revoked = BoolAt(j, "revoked", false);
  t.used = BoolAt(j, "used", false);
  return t;
}

Json::Value PackageToJson(const PackageClient &p) {
  Json::Value j;
  j["name"] = p.name;
  j["client_id"] = p.client_id;
  j["scope"] = p.scope;
  j["audience"] = p.audience;
  return j;
}

PackageClient PackageFromJson(const Json::Value &j) {
  return PackageClient{StringAt(j, "name"), StringAt(j, "client_id"), StringAt(j, "scope"),
                       StringAt(j, "audience")};
}

template <typename T, typename F>
Json::Value ListToJson(const std::map<std::string, T> &items, F convert) {
  Json::Value list(Json::arrayValue);
  for (const auto &item : items) list.append(convert(item.second));
  return list;
}

}  // namespace

State State::Initial() {
  State state;
  state.clients = {kDeviceClientId, kMonitorClientId};
  PackageClient vigilon{
      "vigilon", "pkg.vigilon",
      std::string("openid offline_access package:vigilon ") + kSerialScopePrefix + "$sn$",
      "zeph-package-vigilon"};
  state.packages[vigilon.name] = vigilon;
  state.clients.insert(vigilon.client_id);
  state.id_token_secret = RandomHex(32);
  return state;
}

Json::Value State::ToJson() const {
  Json::Value j;
  j["format"] = "zeph-cloud-state-1";
  j["accounts"] = ListToJson(accounts, AccountToJson);
  j["devices"] = ListToJson(devices, DeviceToJson);
  j["auth_keys"] = ListToJson(auth_keys, AuthKeyToJson);
  j["codes"] = ListToJson(codes, CodeToJson);
  j["tokens"] = ListToJson(tokens, TokenToJson);
  j["packages"] = ListToJson(packages, PackageToJson);
  Json::Value client_list(Json::arrayValue);
  for (const auto &client : clients) client_list.append(client);
  j["clients"] = client_list;
  j["settings"]["access_token_lifetime"] = Json::Int64(settings.access_token_lifetime);
  j["settings"]["refresh_token_lifetime"] = Json::Int64(settings.refresh_token_lifetime);
  j["settings"]["code_lifetime"] = Json::Int64(settings.code_lifetime);
  j["settings"]["clock_offset"] = Json::Int64(settings.clock_offset);
  j["next_account_id"] = Json::Int64(next_account_id);
  j["id_token_secret"] = id_token_secret;
  return j;
}

bool State::FromJson(const Json::Value &j, State &state, std::string &error) {
  if (StringAt(j, "format") != "zeph-cloud-state-1") {
    error = "not a zeph-cloud state file";
    return false;
  }
  State loaded;
  for (const auto &item : ArrayAt(j, "accounts")) {
    Account a = AccountFromJson(item);
    if (!a.id.empty()) loaded.accounts[a.id] = a;
  }
  for (const auto &item : ArrayAt(j, "devices")) {
    Device d = DeviceFromJson(item);
    if (!d.serial.empty()) loaded.devices[d.serial] = d;
  }
  for (const auto &item : ArrayAt(j, "auth_keys")) {
    AuthKey k = AuthKeyFromJson(item);
    if (!k.key.empty()) loaded.auth_keys[k.key] = k;
  }
  for (const auto &item : ArrayAt(j, "codes")) {
    AuthCode c = CodeFromJson(item);
    if (!c.code.empty()) loaded.codes[c.code] = c;
  }
  for (const auto &item : ArrayAt(j, "tokens")) {
    Token t = TokenFromJson(item);
    if (!t.token.empty()) loaded.tokens[t.token] = t;
  }
  for (const auto &item : ArrayAt(j, "packages")) {
    PackageClient p = PackageFromJson(item);
    if (!p.name.empty()) loaded.packages[p.name] = p;
  }
  for (const auto &item : ArrayAt(j, "clients")) {
    if (item.isString()) loaded.clients.insert(item.asString());
  }
  const Json::Value &s = MemberAt(j, "settings");
  loaded.settings.access_token_lifetime = IntAt(s, "access_token_lifetime", 3600);
  loaded.settings.refresh_token_lifetime = IntAt(s, "refresh_token_lifetime", 30L * 24 * 3600);
  loaded.settings.code_lifetime = IntAt(s, "code_lifetime", 120);
  loaded.settings.clock_offset = IntAt(s, "clock_offset", 0);
  loaded.next_account_id = IntAt(j, "next_account_id", 2000001);
  loaded.id_token_secret = StringAt(j, "id_token_secret");
  if (loaded.id_token_secret.empty()) loaded.id_token_secret = RandomHex(32);
  state = std::move(loaded);
  return true;
}

Account *State::FindAccount(const std::string &id) {
  auto it = accounts.find(id);
  return it == accounts.end() ? nullptr : &it->second;
}

Account *State::FindAccountByEmail(const std::string &email) {
  std::string wanted = Lower(email);
  for (auto &entry : accounts) {
    if (!entry.second.deleted && Lower(entry.second.email) == wanted) return &entry.second;
  }
  return nullptr;
}

Device &State::DeviceFor(const std::string &serial) {
  Device &device = devices[serial];
  device.serial = serial;
  return device;
}

const AuthKey &State::AuthKeyFor(const std::string &account_id, const std::string &serial,
                                 int64_t now) {
  for (const auto &entry : auth_keys) {
    const AuthKey &key = entry.second;
    if (!key.revoked && key.account_id == account_id && key.serial == serial) return key;
  }
  AuthKey key{RandomHex(20), account_id, serial, now, false};
  return auth_keys[key.key] = key;
}

const PackageClient *State::FindPackageByClient(const std::string &client_id) const {
  for (const auto &entry : packages) {
    if (entry.second.client_id == client_id) return &entry.second;
  }
  return nullptr;
}

std::string State::NewAccountId() {
  return std::to_string(next_account_id++);
}

std::string ScopeItem(const std::string &scope, const std::string &prefix) {
  size_t start = 0;
  while (start <= scope.size()) {
    size_t end = scope.find(' ', start);
    if (end == std::string::npos) end = scope.size();
    if (scope.compare(start, prefix.size(), prefix) == 0 && end - start >= prefix.size()) {
      return scope.substr(start + prefix.size(), end - start - prefix.size());
    }
    start = end + 1;
  }
  return std::string();
}

}  // namespace zeph_cloud
