// The fake platform's shared state, for the fake's own source files only.
#ifndef VEXOZEPH_TESTS_FAKES_FAKE_STATE_H_
#define VEXOZEPH_TESTS_FAKES_FAKE_STATE_H_

#include <cstdio>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "fakes/fake_platform.h"
#include "vexo_platform/vlib_types.h"

namespace vexozeph {
namespace fake {
namespace internal {

struct Failure {
  int remaining;  // -1: for ever
  int error;
};

struct PopenAnswer {
  std::string output;
  int status = 0;
};

struct State {
  std::vector<Call> calls;
  std::map<std::string, Failure> failures;

  std::string serial;
  std::string mac;
  std::string user_agent;
  std::string api_key;
  std::vector<std::string> new_api_keys;
  int registrations = 0;
  int cloud_service_error = 0;
  std::string device_token;
  std::string zone;
  Variables zone_info;
  std::string challenge;
  std::string verifier;
  std::string payment_account;
  std::map<std::string, PopenAnswer> popen_answers;
  std::map<FILE *, int> open_streams;  // stream -> status its close answers
  int execl_status = 0;

  std::vector<PluginAction> plugin_actions;
  int open_plugin_contexts = 0;
  std::vector<Notification> notifications;
  std::vector<LogEvent> log_events;
  std::vector<Command> commands;
  std::vector<int> cloud_service_actions;
  std::vector<CronSave> cron_saves;
  std::vector<std::string> cron_removals;
  std::map<std::string, Json::Value> cron_jobs;  // group -> list as the manager holds it
  std::vector<std::string> schedule_removals;
};

// The state, guarded by Mutex(). Platform calls may come from any thread of a test.
State &Get();
std::mutex &Mutex();

// Records a call and consumes an injected failure if one is armed for `function`. True
// when the call must fail; the platform error is then already set.
bool Enter(const char *function, std::vector<std::string> args);

// Argument rendering for the call log.
std::string Text(const char *text);
std::string HashText(PVLIBSZHASH hash);

}  // namespace internal
}  // namespace fake
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_FAKES_FAKE_STATE_H_
