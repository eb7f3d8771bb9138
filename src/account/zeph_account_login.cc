// Signing the appliance in: by e-mail and password, by an OAuth access token the
// management interface already holds, or by adopting a known user id and auth key.
// The password and token logins share one path (device facts, form exchange with the
// single API-key re-registration, completion); they differ only in their form and path.
#include <string>

#include "account/account_operations.h"
#include "account/account_request.h"
#include "account/appliance_settings.h"
#include "account/report_schedule.h"
#include "base/log.h"
#include "core/c_edge.h"
#include "core/error_state.h"
#include "core/failure.h"
#include "host/zeph_plugin_manager.h"
#include "internal/json_utils.h"
#include "store/account_file.h"
#include "store/user_impl.h"
#include "transport/device.h"
#include "transport/shown_answer.h"
#include "vexo_platform/vexo_cloud_service.h"
#include "vexo_platform/vexo_notify.h"
#include "vexo_platform/vlib_error.h"
#include "vexo_platform/vlib_plugin.h"
#include "vexozeph/user.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_account.h"
#include "vexozeph/zeph_exception.h"

namespace {

const size_t kApiKeySize = 1024;

const int kLoginEventType = 2;
const int kLoginEventLevel = 1;
const unsigned int kLoginEventCode = 0x13A00001;

const char kPasswordLoginPath[] = "device/api/password_login";
const char kTokenLoginPath[] = "good/user/launch";

// The cloud-service API key; with flag 1 a device without one registers it first.
void ReadApiKey(char *api_key, size_t size) {
  if (VEXOCloudServiceGetApiKey(api_key, size, 1) < 0) {
    ZLOG("Failed to get apikey");
    vexozeph::Fail(vexozeph::GetErrorCodeFromCloudService());
  }
}

// What the appliance tells the server about itself in both form logins.
struct DeviceFacts {
  std::string account_host;
  std::string serial;
  std::string mac;
  char api_key[kApiKeySize] = {0};
};

void ReadDeviceFacts(DeviceFacts &facts) {
  facts.account_host = vexozeph::ReadAccountHost(ZLOG_HERE);
  if (!vexozeph::device::ReadSerialNumber(ZLOG_HERE, facts.serial)) {
    vexozeph::Fail(VEXOZEPH_ERR_SERIAL);
  }
  if (!vexozeph::device::ReadMacAddress(ZLOG_HERE, facts.mac)) vexozeph::Fail(VEXOZEPH_ERR_MAC);
  ReadApiKey(facts.api_key, sizeof(facts.api_key));
}

enum class LoginKind { kPassword, kToken };

struct FormLogin {
  LoginKind kind;
  const char *email;         // password login
  const char *password;      // password login
  const char *access_token;  // token login
  bool verify_only;          // password login
};

// Token login only: the interface language and the appliance zone's database name.
struct Locale {
  std::string language;
  std::string zone;
};

Locale ReadLocale() {
  Locale locale;
  locale.language = vexozeph::ReadInterfaceLanguage();
  locale.zone = vexozeph::ReadZoneNameInTzdb(ZLOG_HERE);
  return locale;
}

// Fills the form in the order the server's signature check and logs expect.
bool FillForm(const FormLogin &login, const DeviceFacts &facts, const Locale &locale,
              vexozeph::FormHash &form) {
  if (login.kind == LoginKind::kPassword) {
    return form.Set("type", "acnt_pw_apikey") && form.Set("email", login.email) &&
           form.Set("passwd", login.password) && form.Set("serial_no", facts.serial) &&
           form.Set("api_key", facts.api_key) && form.Set("mac", facts.mac);
  }
  return form.Set("language", locale.language) && form.Set("access_token", login.access_token) &&
         form.Set("timezone", locale.zone) && form.Set("api_key", facts.api_key) &&
         form.Set("mac", facts.mac) && form.Set("serial_no", facts.serial);
}

// One request and its answer's result word as a code (which may be a refusal); a Failure
// when nothing usable came back. `body` keeps the reply text for the caller's log lines.
unsigned int ExchangeOnce(const std::string &host, const char *path, const vexozeph::FormHash &form,
                          Json::Value &response, std::string &body) {
  vexozeph::HttpsReply reply;
  vexozeph::PostAccountFormForJson(ZLOG_HERE, host, path, form, false, reply, response);
  body = reply.body();
  std::string word;
  if (!vexozeph::json::ResultWord(response, word)) {
    ZLOG("bad response, no code");
    vexozeph::Fail(VEXOZEPH_ERR_NO_REPLY);
  }
  return GetErrorCodeFromAccountError(word.c_str());
}

// Sends the login form and judges the answer. An unknown API key is replaced once and the
// same form, with the new key in its place, is sent again; an expired one is handed to
// the platform to renew and the login fails so the user signs in again afterwards.
void ExchangeLogin(const FormLogin &login, DeviceFacts &facts, vexozeph::FormHash &form,
                   Json::Value &response) {
  const char *path = login.kind == LoginKind::kPassword ? kPasswordLoginPath : kTokenLoginPath;
  std::string body;
  unsigned int code = ExchangeOnce(facts.account_host, path, form, response, body);

  if (code == VEXOZEPH_ERR_APIKEY_NOT_FOUND) {
    ZLOG("ApiKey not found. Register new one.");
    if (VEXOCloudServiceRegisterApiKey(facts.api_key, sizeof(facts.api_key)) < 0) {
      ZLOG("VEXOCloudServiceRegisterApiKey failed");
      vexozeph::Fail(VEXOZEPH_ERR_APIKEY_NOT_FOUND);
    }
    // The hash replaces a key's value in place, so the field keeps its position.
    if (!form.Set("api_key", facts.api_key)) {
      ZLOG("Failed to alloc https request, err=[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
      vexozeph::Fail(VEXOZEPH_ERR_SYSTEM);
    }
    code = ExchangeOnce(facts.account_host, path, form, response, body);
  } else if (code == VEXOZEPH_ERR_APIKEY_EXPIRED) {
    VEXOCloudServiceActionHandler(VEXO_CLOUD_SERVICE_ACTION_RENEW_APIKEY);
  }

  if (code != VEXOZEPH_ERR_SUCCESS) {
    if (login.kind == LoginKind::kPassword) {
      ZLOG("Failed to login %s, resp=%s", login.email, vexozeph::TruncatedAnswer(body).c_str());
    } else {
      ZLOG("Failed to login, resp=%s", vexozeph::TruncatedAnswer(body).c_str());
    }
    vexozeph::Fail(code);
  }
}

// The answer's "id" as text: servers send it as a string or as a whole number.
bool UserIdText(const Json::Value &answer, std::string &id) {
  const Json::Value &member = vexozeph::json::Member(answer, "id");
  if (member.isString()) {
    id = member.asString();
  } else if (member.isUInt64()) {
    id = std::to_string(member.asUInt64());
  } else if (member.isInt64()) {
    id = std::to_string(member.asInt64());
  } else {
    return false;
  }
  return !id.empty();
}

// The answer's identity, judged whole before anything is stored: a member the account
// file cannot hold and give back whole (line breaks, NUL, over-long) is as unusable as
// one of the wrong type.
bool IdentityOf(const Json::Value &answer, std::string &user_id, std::string &auth_key) {
  return UserIdText(answer, user_id) && vexozeph::IsStorableUserValue(user_id) &&
         vexozeph::json::GetString(answer, "auth_key", auth_key) && !auth_key.empty() &&
         vexozeph::IsStorableUserValue(auth_key);
}

// Stores the new identity and forgets when the file was last synchronised, so that the
// query that follows asks the server about this identity instead of answering from what
// an earlier account left in the file (and a key is never adopted unconfirmed). One
// replacement of the file: the old identity stays whole when the new one cannot be stored.
void StoreIdentity(const std::string &user_id, const std::string &auth_key) {
  try {
    vexozeph::UserImpl().SetMany(
        vexozeph::UserUpdate().SetUserId(user_id).SetAuthKey(auth_key).SetLastQueryTime(0));
  } catch (const vexozeph::ZephException &e) {
    ZLOG("Failed to set user: %s", e.what());
    vexozeph::Fail(e.GetCode());
  }
}

void RecordSignIn(const std::string &email) {
  ZLOG("Logged in Zeph Center as %s", email.c_str());
  VEXOLogSet1(kLoginEventType, kLoginEventLevel, kLoginEventCode, email.c_str(), "", "", "");
}

// Brings the stored profile up to date after a sign-in. The sign-in stands whatever the
// query says: its failure is logged where it happened and goes no further.
void RefreshProfile() {
  try {
    vexozeph::QueryProfile(true, true);
  } catch (const std::exception &) {
  }
}

// Listeners that cannot be told are not the caller's fault: the C interface keeps its
// last error, the classes hear of a system failure.
void OpenOrFail(vexozeph::PluginContext &plugin) {
  if (!plugin.Open(ZLOG_HERE)) vexozeph::FailKeepingLastError(VEXOZEPH_ERR_SYSTEM);
}
void RaiseOrFail(vexozeph::PluginContext &plugin, unsigned int action) {
  if (!plugin.Raise(action, ZLOG_HERE)) vexozeph::FailKeepingLastError(VEXOZEPH_ERR_SYSTEM);
}

void Complete(const FormLogin &login, const Json::Value &response,
              vexozeph::PluginContext &plugin) {
  std::string user_id;
  std::string auth_key;
  if (!IdentityOf(response, user_id, auth_key)) {
    // A "good" answer without an identity cannot sign anyone in; store nothing.
    ZLOG("bad response, no usable id or auth_key");
    vexozeph::Fail(VEXOZEPH_ERR_NO_REPLY);
  }
  StoreIdentity(user_id, auth_key);
  vexozeph::ScheduleReport(ZLOG_HERE);
  RecordSignIn(login.kind == LoginKind::kPassword ? std::string(login.email)
                                                  : vexozeph::json::StringOr(response, "email"));
  RefreshProfile();
  RaiseOrFail(plugin, VLIB_PLUGIN_ACTION_POST);
}

void SignIn(const FormLogin &login, Json::Value &response) {
  const bool missing = login.kind == LoginKind::kPassword
                           ? (login.email == nullptr || login.password == nullptr)
                           : login.access_token == nullptr;
  if (missing) {
    ZLOG("Bad Parameters");
    vexozeph::Fail(VEXOZEPH_ERR_BAD_PARAMETER);
  }
  vexozeph::PluginContext plugin("zeph/login");
  OpenOrFail(plugin);
  DeviceFacts facts;
  ReadDeviceFacts(facts);
  const Locale locale = login.kind == LoginKind::kToken ? ReadLocale() : Locale();

  vexozeph::FormHash form;
  if (!form.ok() || !FillForm(login, facts, locale, form)) {
    ZLOG("Failed to alloc https request, err=[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
    vexozeph::Fail(VEXOZEPH_ERR_SYSTEM);
  }
  ExchangeLogin(login, facts, form, response);
  // Only the credentials were to be checked: nothing is stored, scheduled or announced.
  if (login.kind == LoginKind::kPassword && login.verify_only) return;
  Complete(login, response, plugin);
}

// Copies the members a key login reports from the query's answer.
void CopyKeyLoginResult(const Json::Value &query, Json::Value &result) {
  if (!result.isObject()) result = Json::Value(Json::objectValue);
  for (const char *key : {"email", "auth_key", "activated"}) {
    result[key] = vexozeph::json::Member(query, key);
  }
}

}  // namespace

namespace vexozeph {

void SignInWithPassword(const char *email, const char *password, bool verify_only,
                        Json::Value &response) {
  SignIn(FormLogin{LoginKind::kPassword, email, password, nullptr, verify_only}, response);
}

void SignInWithToken(const char *access_token, Json::Value &response) {
  SignIn(FormLogin{LoginKind::kToken, nullptr, nullptr, access_token, false}, response);
}

void SignInWithKey(const char *user_id, const char *auth_key, Json::Value &result) {
  if (user_id == nullptr || auth_key == nullptr) {
    ZLOG("Bad Parameters");
    Fail(VEXOZEPH_ERR_BAD_PARAMETER);
  }
  // The key is not sent here; reading it proves the cloud-service platform is ready.
  char api_key[kApiKeySize] = {0};
  ReadApiKey(api_key, sizeof(api_key));
  PluginContext plugin("zeph/login");
  OpenOrFail(plugin);

  // Stored whole or not at all, so a refusal leaves the earlier account as it was.
  StoreIdentity(user_id, auth_key);
  Json::Value query;
  try {
    query = QueryProfile(true, true);
  } catch (const std::exception &) {
    ZLOG("VEXOZEPHAccountQueryInfo failed");
    // Privilege trouble is only logged: the half-adopted key must go whatever happens.
    RemoveAccountFile(ZLOG_HERE, RemovalRule::kAnyway);
    Fail(VEXOZEPH_ERR_AUTH);
  }
  CopyKeyLoginResult(query, result);
  RaiseOrFail(plugin, VLIB_PLUGIN_ACTION_POST);
  ScheduleReport(ZLOG_HERE);
  RecordSignIn(json::StringOr(query, "email"));
}

}  // namespace vexozeph

// Every sign-in clears the last error first.
VEXOZEPH_API int VEXOZEPHAccountLogin(const char *email, const char *password,
                                      Json::Value &response, bool verify_only) {
  return vexozeph::GuardCInterface("VEXOZEPHAccountLogin", [&] {
    VEXOZEPHErrSet(VEXOZEPH_ERR_SUCCESS);
    vexozeph::SignInWithPassword(email, password, verify_only, response);
    return 0;
  });
}

VEXOZEPH_API int VEXOZEPHAccountOauthLogin(Json::Value &response, const char *access_token) {
  return vexozeph::GuardCInterface("VEXOZEPHAccountOauthLogin", [&] {
    VEXOZEPHErrSet(VEXOZEPH_ERR_SUCCESS);
    vexozeph::SignInWithToken(access_token, response);
    return 0;
  });
}

VEXOZEPH_API int VEXOZEPHAccountLoginByKey(const char *user_id, const char *auth_key,
                                           Json::Value &result) {
  return vexozeph::GuardCInterface("VEXOZEPHAccountLoginByKey", [&] {
    VEXOZEPHErrSet(VEXOZEPH_ERR_SUCCESS);
    vexozeph::SignInWithKey(user_id, auth_key, result);
    return 0;
  });
}
