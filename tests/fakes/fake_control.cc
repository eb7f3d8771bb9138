// The test-facing side of the fake: defaults, choices, failures and what was received.
#include <utility>

#include "fake_state.h"
#include "platform_error.h"
#include "sz_containers.h"

namespace vexozeph {
namespace fake {
namespace internal {
namespace {

// RFC 7636, appendix B: a verifier and its S256 challenge.
constexpr const char *kExampleVerifier = "dBjftJeZ4CVP-mJ92K9mWNcOrx2o2AHzI7kk2gyrdCI";
constexpr const char *kExampleChallenge = "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM";

State MakeDefaults() {
  State state;
  state.serial = "SN0000FAKE01";
  state.mac = "00:11:32:00:00:01";
  state.user_agent = "vexozeph-fake/1.0";
  state.api_key = "fake-apikey-0";
  state.device_token = "0123456789abcdef0123456789abcdef";
  // Deliberately not the database name itself, so that code reading the wrong one shows.
  state.zone = "Taipei";
  state.zone_info = {{"nameInTZDB", "Asia/Taipei"}, {"offset", "+08:00"}};
  state.challenge = kExampleChallenge;
  state.verifier = kExampleVerifier;
  return state;
}

}  // namespace

State &Get() {
  static State state = MakeDefaults();
  return state;
}

std::mutex &Mutex() {
  static std::mutex mutex;
  return mutex;
}

bool Enter(const char *function, std::vector<std::string> args) {
  std::lock_guard<std::mutex> guard(Mutex());
  State &state = Get();
  state.calls.push_back(Call{function, std::move(args)});
  auto armed = state.failures.find(function);
  if (armed == state.failures.end()) return false;
  int error = armed->second.error;
  if (armed->second.remaining > 0 && --armed->second.remaining == 0) state.failures.erase(armed);
  vexo_platform::SetPlatformError(error, __FILE__, __LINE__);
  return true;
}

std::string Text(const char *text) {
  return text != nullptr ? text : "(null)";
}

std::string HashText(PVLIBSZHASH hash) {
  if (hash == nullptr) return "(null)";
  PVLIBSZLIST keys = vexo_platform::ListAlloc(1 << 16);
  std::string text;
  if (keys != nullptr && vexo_platform::HashEnumKeys(hash, keys) >= 0) {
    for (int i = 0; i < vexo_platform::ListSize(keys); ++i) {
      const char *key = vexo_platform::ListGet(keys, i);
      if (i > 0) text += ",";
      text += std::string(key) + "=" + vexo_platform::HashGet(hash, key);
    }
  }
  vexo_platform::ListFree(keys);
  return text;
}

}  // namespace internal

using internal::Get;
using internal::Mutex;

namespace {

template <typename T>
std::vector<T> Copy(const std::vector<T> &items) {
  std::lock_guard<std::mutex> guard(Mutex());
  return items;
}

template <typename Setter>
void Change(Setter setter) {
  std::lock_guard<std::mutex> guard(Mutex());
  setter(Get());
}

}  // namespace

void Reset() {
  std::lock_guard<std::mutex> guard(Mutex());
  // Streams a test forgot to close are closed here, so no descriptor leaks into the next.
  for (auto &open : Get().open_streams) std::fclose(open.first);
  Get() = internal::MakeDefaults();
}

void FailNext(const std::string &function, int times, int error) {
  if (times <= 0) return;
  Change([&](internal::State &s) { s.failures[function] = {times, error}; });
}

void FailAlways(const std::string &function, int error) {
  Change([&](internal::State &s) { s.failures[function] = {-1, error}; });
}

void StopFailing(const std::string &function) {
  Change([&](internal::State &s) { s.failures.erase(function); });
}

void SetSerialNumber(const std::string &serial) {
  Change([&](internal::State &s) { s.serial = serial; });
}
void SetMacAddress(const std::string &mac) {
  Change([&](internal::State &s) { s.mac = mac; });
}
void SetUserAgent(const std::string &agent) {
  Change([&](internal::State &s) { s.user_agent = agent; });
}
void SetApiKey(const std::string &key) {
  Change([&](internal::State &s) { s.api_key = key; });
}
void SetNewApiKey(const std::string &key) {
  Change([&](internal::State &s) { s.new_api_keys.push_back(key); });
}
void SetCloudServiceErrorCode(int code) {
  Change([&](internal::State &s) { s.cloud_service_error = code; });
}
void SetZone(const std::string &name) {
  Change([&](internal::State &s) { s.zone = name; });
}
void SetZoneInfo(const Variables &info) {
  Change([&](internal::State &s) { s.zone_info = info; });
}
void SetPaymentAccount(const std::string &account) {
  Change([&](internal::State &s) { s.payment_account = account; });
}
void SetPopenOutput(const std::string &option, const std::string &output, int status) {
  Change([&](internal::State &s) { s.popen_answers[option] = {output, status}; });
}
void SetExeclStatus(int status) {
  Change([&](internal::State &s) { s.execl_status = status; });
}

std::vector<Call> Calls() {
  return Copy(Get().calls);
}

std::vector<Call> CallsTo(const std::string &function) {
  std::lock_guard<std::mutex> guard(Mutex());
  std::vector<Call> matching;
  for (const Call &call : Get().calls) {
    if (call.function == function) matching.push_back(call);
  }
  return matching;
}

std::vector<PluginAction> PluginActions() {
  return Copy(Get().plugin_actions);
}

int OpenPluginContexts() {
  std::lock_guard<std::mutex> guard(Mutex());
  return Get().open_plugin_contexts;
}

std::vector<Notification> Notifications() {
  return Copy(Get().notifications);
}
std::vector<LogEvent> LogEvents() {
  return Copy(Get().log_events);
}
std::vector<Command> Commands() {
  return Copy(Get().commands);
}
std::vector<int> CloudServiceActions() {
  return Copy(Get().cloud_service_actions);
}
std::vector<CronSave> CronSaves() {
  return Copy(Get().cron_saves);
}
std::vector<std::string> CronRemovals() {
  return Copy(Get().cron_removals);
}
std::vector<std::string> ScheduleRemovals() {
  return Copy(Get().schedule_removals);
}

}  // namespace fake
}  // namespace vexozeph
