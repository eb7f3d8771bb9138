#include "account_form_api.h"

#include <mutex>

#include "base/request_token.h"
#include "oauth_tokens.h"

namespace zeph_cloud {
namespace {

// Form endpoints answer either JSON with a "code" member or a bare result word.
enum class Style { kJson, kWord };

bool IsSuccessWord(const std::string &word) {
  return word == "good" || word.rfind("account_userid", 0) == 0;
}

class FormCall {
 public:
  FormCall(Exchange &exchange, Emulator &emulator, Style style)
      : exchange_(exchange), emulator_(emulator), style_(style) {}

  const std::string *Find(const std::string &key) const { return exchange_.Field(key); }
  std::string Get(const std::string &key) const {
    const std::string *value = Find(key);
    return value ? *value : std::string();
  }
  // True when every key is present (values may be empty).
  bool HasAll(std::initializer_list<const char *> keys) const {
    for (const char *key : keys) {
      if (!Find(key)) return false;
    }
    return true;
  }

  void Answer(const std::string &word, Json::Value body = Json::Value(Json::objectValue)) {
    int status = IsSuccessWord(word) ? 200 : 400;
    if (style_ == Style::kWord) {
      exchange_.SendText(status, word);
      return;
    }
    body["code"] = word;
    exchange_.SendJson(status, body);
  }
  void Refuse(const std::string &word) { Answer(word); }

  // The request signature and any forced answer. False when the request has been
  // answered here.
  bool Admit() {
    const std::string *serial = Find("bx_sn");
    if (serial == nullptr || serial->empty()) {
      Refuse("badparam");
      return false;
    }
    std::string input = *serial;
    if (const std::string *account = Find("zephID")) input += *account;
    if (const std::string *password = Find("zephPW")) input += *password;
    std::string expected;
    const std::string *token = Find("bx_token");
    if (token == nullptr || !vexozeph::RequestTokenFromInput(input.c_str(), expected) ||
        *token != expected) {
      Refuse("badauth");
      return false;
    }
    if (auto forced = emulator_.answers.Take(exchange_.req.path)) {
      Json::Value body = forced->extra.isObject() ? forced->extra : Json::Value(Json::objectValue);
      Answer(forced->word, body);
      return false;
    }
    return true;
  }

  // "serial_no" must name the device that signed the request.
  bool SerialMatches() const { return Get("serial_no") == Get("bx_sn"); }

 private:
  Exchange &exchange_;
  Emulator &emulator_;
  Style style_;
};

bool ParseFlag(const std::string &text, bool &out) {
  if (text == "true") {
    out = true;
  } else if (text == "false") {
    out = false;
  } else {
    return false;
  }
  return true;
}

bool LooksLikeEmail(const std::string &text) {
  size_t at = text.find('@');
  return at != std::string::npos && at > 0 && at + 1 < text.size() &&
         text.find_first_of(" \t\r\n\"", 0) == std::string::npos;
}

// The API key rule of a device: unknown devices are adopted with any key; a device with
// a registered key accepts that key only.
std::string ApiKeyWord(const Device &device, const std::string &api_key) {
  if (!device.api_key.empty() && device.api_key != api_key) return "apikey_not_found";
  if (device.api_key_expired) return "apikey_expired";
  return "";
}

// A sign-in names the device: remember its MAC on first sight, then apply the key rule.
std::string AdmitDevice(Device &device, const std::string &mac, const std::string &api_key) {
  if (device.mac.empty()) device.mac = mac;
  return ApiKeyWord(device, api_key);
}

Json::Value LoginAnswer(State &state, const Account &account, const std::string &serial,
                        int64_t now) {
  Json::Value body = AccountProfile(account);
  body["id"] = account.id;
  body["auth_key"] = state.AuthKeyFor(account.id, serial, now).key;
  return body;
}

// Resolves "id" + "auth_key" of a signed request to the account, or answers the refusal
// (State::AccountOfKey).
Account *AuthorizedAccount(FormCall &call, State &state) {
  std::string word;
  Account *account =
      state.AccountOfKey(call.Get("id"), call.Get("auth_key"), call.Get("serial_no"), word);
  if (account == nullptr) call.Refuse(word);
  return account;
}

void PasswordLogin(Exchange &exchange, Emulator &emulator) {
  FormCall call(exchange, emulator, Style::kJson);
  if (!call.Admit()) return;
  if (!call.HasAll({"type", "email", "passwd", "serial_no", "api_key", "mac"}) ||
      call.Get("type") != "acnt_pw_apikey" || call.Get("email").empty() || !call.SerialMatches()) {
    return call.Refuse("badparam");
  }
  std::lock_guard<std::mutex> guard(emulator.mutex);
  State &state = emulator.state;
  Device &device = state.DeviceFor(call.Get("serial_no"));
  std::string key_word = AdmitDevice(device, call.Get("mac"), call.Get("api_key"));
  if (!key_word.empty()) return call.Refuse(key_word);
  Account *account = state.FindAccountByEmail(call.Get("email"));
  if (account == nullptr || account->password != call.Get("passwd")) {
    return call.Refuse("badauth");
  }
  Json::Value body = LoginAnswer(state, *account, device.serial, emulator.Now());
  emulator.Persist();
  call.Answer("good", body);
}

void TokenLaunch(Exchange &exchange, Emulator &emulator) {
  FormCall call(exchange, emulator, Style::kJson);
  if (!call.Admit()) return;
  if (!call.HasAll({"language", "access_token", "timezone", "api_key", "mac", "serial_no"}) ||
      !call.SerialMatches()) {
    return call.Refuse("badparam");
  }
  std::lock_guard<std::mutex> guard(emulator.mutex);
  State &state = emulator.state;
  Device &device = state.DeviceFor(call.Get("serial_no"));
  std::string key_word = AdmitDevice(device, call.Get("mac"), call.Get("api_key"));
  if (!key_word.empty()) return call.Refuse(key_word);
  std::string why;
  const Token *token = LiveAccessToken(emulator, call.Get("access_token"), why);
  if (token == nullptr || (!token->serial.empty() && token->serial != device.serial)) {
    return call.Refuse("badauth");
  }
  device.last_timezone = call.Get("timezone");
  Account *account = state.FindAccount(token->account_id);
  Json::Value body = LoginAnswer(state, *account, device.serial, emulator.Now());
  emulator.Persist();
  call.Answer("good", body);
}

void Query(Exchange &exchange, Emulator &emulator) {
  FormCall call(exchange, emulator, Style::kJson);
  if (!call.Admit()) return;
  if (!call.HasAll({"id", "auth_key", "serial_no"}) || !call.SerialMatches()) {
    return call.Refuse("badparam");
  }
  std::lock_guard<std::mutex> guard(emulator.mutex);
  Account *account = AuthorizedAccount(call, emulator.state);
  if (account == nullptr) return;
  Json::Value body = AccountProfile(*account);
  if (!account->report_cron_timestring.empty()) {
    body["report_cron_timestring"] = account->report_cron_timestring;
  }
  call.Answer("good", body);
}

void Report(Exchange &exchange, Emulator &emulator) {
  FormCall call(exchange, emulator, Style::kJson);
  if (!call.Admit()) return;
  if (!call.HasAll({"id", "auth_key", "timezone", "serial_no", "bx_info"}) ||
      call.Get("timezone").empty() || !call.SerialMatches()) {
    return call.Refuse("badparam");
  }
  std::lock_guard<std::mutex> guard(emulator.mutex);
  Account *account = AuthorizedAccount(call, emulator.state);
  if (account == nullptr) return;
  Device &device = emulator.state.DeviceFor(call.Get("serial_no"));
  device.last_timezone = call.Get("timezone");
  device.last_report = emulator.Now();
  Json::Value body(Json::objectValue);
  if (!account->report_cron_timestring.empty()) {
    body["report_cron_timestring"] = account->report_cron_timestring;
  }
  emulator.Persist();
  call.Answer("good", body);
}

void Register(Exchange &exchange, Emulator &emulator) {
  FormCall call(exchange, emulator, Style::kWord);
  if (!call.Admit()) return;
  bool critical_release = false, enews = false, promotion = false;
  if (!call.HasAll({"email", "passwd", "full_name", "serial_no", "notify_lang", "token", "timezone",
                    "critical_release", "enews_local_promotion", "enews"}) ||
      !call.SerialMatches() || !LooksLikeEmail(call.Get("email")) || call.Get("passwd").empty() ||
      call.Get("token").empty() || call.Get("token").size() > 32 ||
      !ParseFlag(call.Get("critical_release"), critical_release) ||
      !ParseFlag(call.Get("enews"), enews) ||
      !ParseFlag(call.Get("enews_local_promotion"), promotion)) {
    return call.Refuse("badparam");
  }
  std::lock_guard<std::mutex> guard(emulator.mutex);
  State &state = emulator.state;
  if (state.FindAccountByEmail(call.Get("email")) != nullptr) return call.Refuse("account_inused");
  Device &device = state.DeviceFor(call.Get("serial_no"));
  if (device.registered_accounts >= device.register_limit) {
    return call.Refuse("serial_exceed_max_account_register");
  }
  Account account;
  account.id = state.NewAccountId();
  account.email = call.Get("email");
  account.password = call.Get("passwd");
  account.full_name = call.Get("full_name");
  account.country = call.Get("country");
  account.timezone = call.Get("timezone");
  account.notify_language = call.Get("notify_lang");
  account.activated = false;  // until the holder confirms the address
  account.enews = enews;
  account.critical_release = critical_release;
  account.enews_local_promotion = promotion;
  state.accounts[account.id] = account;
  ++device.registered_accounts;
  emulator.Persist();
  call.Answer("account_userid=" + account.id);
}

// Applies "critical_version_list" text of an update: a JSON object of name -> bool
// replaces the list; otherwise the text is a comma-separated list of the versions that
// apply, and every other known version is marked as not applying.
bool ApplyCriticalVersions(const std::string &text, Json::Value &list) {
  Json::Value parsed;
  Json::CharReaderBuilder builder;
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  if (reader->parse(text.data(), text.data() + text.size(), &parsed, nullptr) &&
      parsed.isObject()) {
    for (const auto &name : parsed.getMemberNames()) {
      if (!parsed[name].isBool()) return false;
    }
    list = parsed;
    return true;
  }
  Json::Value updated(Json::objectValue);
  for (const auto &name : list.getMemberNames()) updated[name] = false;
  size_t start = 0;
  while (start <= text.size()) {
    size_t end = text.find(',', start);
    if (end == std::string::npos) end = text.size();
    std::string name = text.substr(start, end - start);
    if (!name.empty()) updated[name] = true;
    start = end + 1;
  }
  list = updated;
  return true;
}

void Update(Exchange &exchange, Emulator &emulator) {
  FormCall call(exchange, emulator, Style::kWord);
  if (!call.Admit()) return;
  if (!call.HasAll({"id", "auth_key", "serial_no"}) || !call.SerialMatches()) {
    return call.Refuse("badparam");
  }
  bool changes_secret =
      call.Find("email") || call.Find("passwd_new") || call.Find("passwd_confirmation");
  if (changes_secret && !call.Find("passwd")) return call.Refuse("badparam");
  if ((call.Find("passwd_new") || call.Find("passwd_confirmation")) &&
      (call.Get("passwd_new").empty() ||
       call.Get("passwd_new") != call.Get("passwd_confirmation"))) {
    return call.Refuse("badparam");
  }
  if (call.Find("email") && !LooksLikeEmail(call.Get("email"))) return call.Refuse("badparam");
  bool flags[3] = {false, false, false};
  const char *flag_keys[3] = {"enews", "critical_release", "enews_local_promotion"};
  for (int i = 0; i < 3; ++i) {
    if (call.Find(flag_keys[i]) && !ParseFlag(call.Get(flag_keys[i]), flags[i])) {
      return call.Refuse("badparam");
    }
  }

  std::lock_guard<std::mutex> guard(emulator.mutex);
  Account *account = AuthorizedAccount(call, emulator.state);
  if (account == nullptr) return;
  if (call.Find("passwd") && call.Get("passwd") != account->password) {
    return call.Refuse("badauth");
  }
  if (call.Find("email")) {
    Account *holder = emulator.state.FindAccountByEmail(call.Get("email"));
    if (holder != nullptr && holder != account) return call.Refuse("account_inused");
  }
  Json::Value versions = account->critical_version_list;
  if (call.Find("critical_version_list") &&
      !ApplyCriticalVersions(call.Get("critical_version_list"), versions)) {
    return call.Refuse("badparam");
  }
  // Everything is checked; apply all or nothing.
  if (call.Find("full_name")) account->full_name = call.Get("full_name");
  if (call.Find("email")) account->email = call.Get("email");
  if (call.Find("passwd_new")) account->password = call.Get("passwd_new");
  if (call.Find("country")) account->country = call.Get("country");
  if (call.Find("notify_lang")) account->notify_language = call.Get("notify_lang");
  if (call.Find("timezone")) account->timezone = call.Get("timezone");
  bool *targets[3] = {&account->enews, &account->critical_release, &account->enews_local_promotion};
  for (int i = 0; i < 3; ++i) {
    if (call.Find(flag_keys[i])) *targets[i] = flags[i];
  }
  account->critical_version_list = versions;
  emulator.Persist();
  call.Answer("good");
}

}  // namespace

Json::Value AccountProfile(const Account &account) {
  Json::Value body = ToJson(account);
  // What the service keeps for itself never reaches a device.
  for (const char *own : {"id", "password", "deleted", "report_cron_timestring", "purchases"}) {
    body.removeMember(own);
  }
  if (account.realname_validation_pass.isNull()) body.removeMember("realname_validation_pass");
  return body;
}

void AddAccountFormApi(Router &router, Emulator &emulator) {
  struct Endpoint {
    const char *path;
    void (*handler)(Exchange &, Emulator &);
  };
  const Endpoint endpoints[] = {
      {"/device/api/password_login", PasswordLogin},
      {"/good/user/launch", TokenLaunch},
      {"/device/api/user/query", Query},
      {"/device/api/report", Report},
      {"/device/api/user/register", Register},
      {"/device/api/user/update", Update},
  };
  for (const auto &endpoint : endpoints) {
    auto handler = endpoint.handler;
    Handler bound = [handler, &emulator](Exchange &exchange) { handler(exchange, emulator); };
    // The appliance's sender posts; its GET mode puts the same form into the query.
    router.Add("POST", endpoint.path, bound);
    router.Add("GET", endpoint.path, bound);
  }
}

}  // namespace zeph_cloud
