// The records the emulated cloud keeps and reports, and their one JSON form. The state
// file, the admin API and the tests' client of the admin API all convert through here,
// so a member added to a record is added to every one of them at once.
#ifndef ZEPH_CLOUD_RECORDS_H_
#define ZEPH_CLOUD_RECORDS_H_

#include <json/json.h>

#include <cstdint>
#include <optional>
#include <string>

#include "form_codec.h"

namespace zeph_cloud {

struct Account {
  std::string id;
  std::string email;
  std::string password;
  std::string full_name;
  std::string country;
  std::string timezone;
  std::string notify_language;
  bool activated = true;
  bool disabled = false;
  bool enews = false;
  bool critical_release = false;
  bool enews_local_promotion = false;
  Json::Value realname_validation_pass = true;  // null: left out of the answers
  Json::Value critical_version_list = Json::Value(Json::objectValue);  // name -> bool
  std::string report_cron_timestring;  // empty: left out of the answers
  // What the payment host lists as this account's purchases, in order: objects with the
  // texts "order_id", "item_id", "name", "amount", "currency", "status" and the whole
  // number "purchased_at" (seconds).
  Json::Value purchases = Json::Value(Json::arrayValue);
  bool deleted = false;
};

struct Device {
  std::string serial;
  std::string mac;
  std::string api_key;  // empty: any API key is accepted
  bool api_key_expired = false;
  int register_limit = 3;
  int registered_accounts = 0;
  std::string last_timezone;
  int64_t last_report = 0;
};

struct AuthKey {
  std::string key;
  std::string account_id;
  std::string serial;
  int64_t issued_at = 0;
  bool revoked = false;
};

struct AuthCode {
  std::string code;
  std::string client_id;
  std::string redirect_uri;
  std::string challenge;  // empty: issued without PKCE (the monitoring grant)
  std::string account_id;
  std::string scope;
  std::string serial;
  std::string family;  // shared by every token descended from this code
  int64_t expires_at = 0;
  bool used = false;
};

struct Token {
  std::string token;
  std::string kind;  // "access" or "refresh"
  std::string account_id;
  std::string client_id;
  std::string scope;
  std::string serial;
  std::string family;
  int64_t issued_at = 0;
  int64_t expires_at = 0;
  bool revoked = false;
  bool used = false;  // a refresh token that has been rotated away
};

// A package's PKCE client, handed out by the account host as a configuration template.
struct PackageClient {
  std::string name;
  std::string client_id;
  std::string scope;
  std::string audience;
};

// One request one of the three public hosts received, with headers, query pairs and form
// pairs exactly as sent.
struct LoggedRequest {
  uint64_t seq = 0;
  double time = 0;     // seconds since the epoch on the emulator's clock
  std::string origin;  // "account", "identity" or "payment"
  std::string method;
  std::string path;
  std::string target;  // raw request target, query included
  Pairs headers;
  Pairs query;
  Pairs form;
  std::string body;
  int status = 0;     // 0 until answered; -1 when dropped or answered raw
  std::string fault;  // description of the injected fault, if any
};

// Misbehaviour queued at the admin API for the next `count` requests to a path.
struct Fault {
  std::string path;                 // request path: "/oauth2/token" or "device/api/report"
  std::string origin;               // empty: any of the three hosts
  int count = 1;                    // requests still to be hit
  int status = 0;                   // 0: keep the real status
  std::optional<std::string> body;  // replaces the body when set
  std::string content_type = "text/plain";
  int delay_ms = 0;               // wait before answering
  int trickle_ms = 0;             // send the answer's body one byte per this many ms
  bool drop = false;              // close the connection instead of answering
  bool after_processing = false;  // handle the request for real, then misbehave
  // Written on the connection as the whole answer (status line, headers and body, as
  // given), which is then closed: for answers the HTTP library would never produce,
  // such as a status of 0.
  std::optional<std::string> raw;
};

// Every member, under its own name.
Json::Value ToJson(const Account &record);
Json::Value ToJson(const Device &record);
Json::Value ToJson(const AuthKey &record);
Json::Value ToJson(const AuthCode &record);
Json::Value ToJson(const Token &record);
Json::Value ToJson(const PackageClient &record);
Json::Value ToJson(const LoggedRequest &record);
Json::Value ToJson(const Fault &record);

// Copies the members `json` holds onto `record`, leaving the others as they are. False
// with `error` naming the first member of the wrong type (nothing is copied then), or
// when `json` is not an object.
bool FromJson(const Json::Value &json, Account &record, std::string &error);
bool FromJson(const Json::Value &json, Device &record, std::string &error);
bool FromJson(const Json::Value &json, AuthKey &record, std::string &error);
bool FromJson(const Json::Value &json, AuthCode &record, std::string &error);
bool FromJson(const Json::Value &json, Token &record, std::string &error);
bool FromJson(const Json::Value &json, PackageClient &record, std::string &error);
bool FromJson(const Json::Value &json, LoggedRequest &record, std::string &error);
bool FromJson(const Json::Value &json, Fault &record, std::string &error);

}  // namespace zeph_cloud

#endif  // ZEPH_CLOUD_RECORDS_H_
