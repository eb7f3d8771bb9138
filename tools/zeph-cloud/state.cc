#include "state.h"

#include <algorithm>
#include <cctype>

#include "base/json_utils.h"
#include "crypto_utils.h"

namespace zeph_cloud {

using vexozeph::json::ArrayMember;
using vexozeph::json::Int64Or;
using vexozeph::json::Member;
using vexozeph::json::StringOr;

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

template <typename T>
Json::Value ListToJson(const std::map<std::string, T> &items) {
  Json::Value list(Json::arrayValue);
  for (const auto &item : items) list.append(ToJson(item.second));
  return list;
}

// Reads the list `name` of `json` into `items`, keyed by each record's `key` member;
// records without a key are skipped. False with `error` set on a malformed record.
template <typename T>
bool ListFromJson(const Json::Value &json, const char *name, std::string T::*key,
                  std::map<std::string, T> &items, std::string &error) {
  for (const auto &item : ArrayMember(json, name)) {
    T record;
    if (!FromJson(item, record, error)) {
      error = std::string(name) + ": " + error;
      return false;
    }
    if (!(record.*key).empty()) items[record.*key] = record;
  }
  return true;
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
  j["accounts"] = ListToJson(accounts);
  j["devices"] = ListToJson(devices);
  j["auth_keys"] = ListToJson(auth_keys);
  j["codes"] = ListToJson(codes);
  j["tokens"] = ListToJson(tokens);
  j["packages"] = ListToJson(packages);
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
  if (StringOr(j, "format") != "zeph-cloud-state-1") {
    error = "not a zeph-cloud state file";
    return false;
  }
  State loaded;
  if (!ListFromJson(j, "accounts", &Account::id, loaded.accounts, error) ||
      !ListFromJson(j, "devices", &Device::serial, loaded.devices, error) ||
      !ListFromJson(j, "auth_keys", &AuthKey::key, loaded.auth_keys, error) ||
      !ListFromJson(j, "codes", &AuthCode::code, loaded.codes, error) ||
      !ListFromJson(j, "tokens", &Token::token, loaded.tokens, error) ||
      !ListFromJson(j, "packages", &PackageClient::name, loaded.packages, error)) {
    return false;
  }
  for (const auto &item : ArrayMember(j, "clients")) {
    if (item.isString()) loaded.clients.insert(item.asString());
  }
  const Json::Value &s = Member(j, "settings");
  loaded.settings.access_token_lifetime = Int64Or(s, "access_token_lifetime", 3600);
  loaded.settings.refresh_token_lifetime = Int64Or(s, "refresh_token_lifetime", 30L * 24 * 3600);
  loaded.settings.code_lifetime = Int64Or(s, "code_lifetime", 120);
  loaded.settings.clock_offset = Int64Or(s, "clock_offset", 0);
  loaded.next_account_id = Int64Or(j, "next_account_id", 2000001);
  loaded.id_token_secret = StringOr(j, "id_token_secret");
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

Account *State::AccountOfKey(const std::string &account_id, const std::string &auth_key,
                             const std::string &serial, std::string &word) {
  auto key = auth_keys.find(auth_key);
  if (key == auth_keys.end() || key->second.revoked || key->second.account_id != account_id ||
      key->second.serial != serial) {
    word = "badauth";
    return nullptr;
  }
  Account *account = FindAccount(key->second.account_id);
  if (account == nullptr || account->deleted) {
    word = "account_not_found";
    return nullptr;
  }
  return account;
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
