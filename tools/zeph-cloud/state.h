// Everything the emulated cloud remembers: accounts, devices, auth keys, authorization
// codes, tokens, OAuth clients and settings. Plain data guarded by the emulator's mutex;
// it can be written to and read back from JSON so that a demo survives a restart.
#ifndef ZEPH_CLOUD_STATE_H_
#define ZEPH_CLOUD_STATE_H_

#include <json/json.h>

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "records.h"

namespace zeph_cloud {

// The OAuth client of the device's own account session (both PKCE templates name it).
extern const char kDeviceClientId[];
// The monitoring service's own client, which receives codes through the appliance.
extern const char kMonitorClientId[];
// Scope items that bind a token to a device: "device_sn:<serial>", "device_mac:<mac>".
extern const char kSerialScopePrefix[];
extern const char kMacScopePrefix[];

struct Settings {
  int64_t access_token_lifetime = 3600;
  int64_t refresh_token_lifetime = 30L * 24 * 3600;
  int64_t code_lifetime = 120;
  int64_t clock_offset = 0;  // seconds added to the wall clock (admin "advance clock")
};

// A store ticket: the payment host's single-use, short-lived proof of a device and its
// account, which the store page takes in place of any key. Not kept in the state file: it
// outlives no restart.
struct StoreTicket {
  std::string account_id;
  std::string serial;
  int64_t expires_at = 0;
  bool used = false;
};

struct State {
  std::map<std::string, Account> accounts;  // by id
  std::map<std::string, Device> devices;    // by serial
  std::map<std::string, AuthKey> auth_keys;
  std::map<std::string, AuthCode> codes;
  std::map<std::string, Token> tokens;
  std::set<std::string> clients;
  std::map<std::string, PackageClient> packages;  // by package name
  std::map<std::string, StoreTicket> tickets;     // by ticket
  Settings settings;
  int64_t next_account_id = 2000001;
  std::string id_token_secret;

  // A fresh state: the device client, the monitoring client and the "vigilon" package.
  static State Initial();

  Json::Value ToJson() const;
  // False (and `error` set) when `json` is not a state this program wrote.
  static bool FromJson(const Json::Value &json, State &state, std::string &error);

  Account *FindAccount(const std::string &id);
  // Live (not deleted) account by e-mail, compared without regard to letter case.
  Account *FindAccountByEmail(const std::string &email);
  Device &DeviceFor(const std::string &serial);
  // The live auth key of an account on a device, created when there is none.
  const AuthKey &AuthKeyFor(const std::string &account_id, const std::string &serial, int64_t now);
  // The account `auth_key` stands for when it is `account_id`'s live key on the device
  // `serial`; otherwise null with the refusal `word`: "badauth" for a key that is unknown,
  // revoked or not this account's on this device, "account_not_found" for a deleted account.
  Account *AccountOfKey(const std::string &account_id, const std::string &auth_key,
                        const std::string &serial, std::string &word);
  const PackageClient *FindPackageByClient(const std::string &client_id) const;
  std::string NewAccountId();
};

// The value of the first "<prefix><value>" item of a space-separated scope, or "".
std::string ScopeItem(const std::string &scope, const std::string &prefix);

}  // namespace zeph_cloud

#endif  // ZEPH_CLOUD_STATE_H_
