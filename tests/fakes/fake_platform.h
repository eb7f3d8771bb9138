// A programmable, call-recording stand-in for every platform function, linked into the
// unit tests in place of the generic-Linux implementation.
//
//   fake::Reset();                                // defaults back, call log emptied
//   fake::SetSerialNumber("1234ABC");             // choose what a function answers
//   fake::FailNext("VLIBCFileSetKeyValue");       // make the next call fail...
//   fake::FailNext("VLIBPluginAction", 2, EIO);   // ...or the next two, with this error
//   ... run library code ...
//   fake::CallsTo("VLIBPluginSDKInit");           // what it was asked, in order
//   fake::PluginActions(), fake::Notifications(), fake::CronSaves(), ...
//
// Key-value files, file locks, the string hash and list and the string helpers are the
// generic-Linux code itself (on real files under the test's root), wrapped so that they are
// recorded and can be made to fail like everything else. Functions that cannot fail (the
// frees, VLIBPluginExit, VLIBCSzListSize, VLIBCStrTrimSpace, the error getters) ignore
// injected failures. An injected failure sets the platform error (VLIBCErrGet) to the
// chosen number and leaves output buffers untouched.
#ifndef VEXOZEPH_TESTS_FAKES_FAKE_PLATFORM_H_
#define VEXOZEPH_TESTS_FAKES_FAKE_PLATFORM_H_

#include <errno.h>
#include <json/value.h>

#include <string>
#include <utility>
#include <vector>

namespace vexozeph {
namespace fake {

using Variables = std::vector<std::pair<std::string, std::string>>;

// One call received: the function's name and its arguments as text (numbers in decimal,
// null pointers as "(null)", output buffers by their size, hashes by their content as
// "key=value,key=value").
struct Call {
  std::string function;
  std::vector<std::string> args;
};

struct PluginAction {
  std::string plugin;       // "zeph"
  std::string action_name;  // "zeph/login"
  unsigned int action;      // 4 pre, 5 post
};

struct Notification {
  std::string tag;
  Variables variables;  // in the hash's enumeration order
};

struct LogEvent {
  int type;
  int level;
  unsigned int event;
  std::vector<std::string> args;  // the four texts
};

// VLIBCExecl: argv as given (argv[0] first). VLIBCPopen: the path, then its options.
struct Command {
  std::string function;
  std::string path;
  std::vector<std::string> argv;
};

struct CronSave {
  std::string group;
  Json::Value jobs;
};

// ---- Whole fake ------------------------------------------------------------------------

// Forgets every call, failure and choice; every function answers its default again.
void Reset();

// ---- Failures --------------------------------------------------------------------------

// The next `times` calls of `function` (its exact C name, or "ConfigManager::Save" /
// "ConfigManager::Remove") fail with platform error `error`.
void FailNext(const std::string &function, int times = 1, int error = EIO);
// Every call of `function` fails until StopFailing or Reset.
void FailAlways(const std::string &function, int error = EIO);
void StopFailing(const std::string &function);

// ---- Answers (defaults in brackets) ----------------------------------------------------

void SetSerialNumber(const std::string &serial);  // ["SN0000FAKE01"], given back as is
void SetMacAddress(const std::string &mac);       // ["00:11:32:00:00:01"]
void SetUserAgent(const std::string &agent);      // ["vexozeph-fake/1.0"]
// The stored API key; "" means none (then VEXOCloudServiceGetApiKey with flag 1
// registers one). ["fake-apikey-0"]
void SetApiKey(const std::string &key);
// The key the next registration makes (it also becomes the stored key). Without one,
// registrations make "fake-apikey-1", "fake-apikey-2", ...
void SetNewApiKey(const std::string &key);
// What VEXOCloudServiceGetErrorCode answers, whatever happened before. [0]
void SetCloudServiceErrorCode(int code);
// The zone name of VEXOZoneGet ["Taipei"] and the properties VEXOZoneGetInfo sets for any
// zone [{"nameInTZDB", "Asia/Taipei"}, {"offset", "+08:00"}]; no properties makes it fail.
void SetZone(const std::string &name);
void SetZoneInfo(const Variables &info);
// The account name VEXOPaymentZephAccountGet puts at the start of the record; "" makes it
// fail as when no account is stored. [""]
void SetPaymentAccount(const std::string &account);
// What VLIBCPopen's stream yields when its first option is `option`, and what VLIBCPclose
// then answers. [empty output, status 0]
void SetPopenOutput(const std::string &option, const std::string &output, int status = 0);
// The exit status VLIBCExecl answers. [0]
void SetExeclStatus(int status);

// ---- What the fake received ------------------------------------------------------------

std::vector<Call> Calls();
std::vector<Call> CallsTo(const std::string &function);
// The convenience views below list only calls that succeeded (what the host really got);
// attempts that were made to fail are in Calls().
std::vector<PluginAction> PluginActions();
// Plugin contexts opened and not yet closed by VLIBPluginExit.
int OpenPluginContexts();
std::vector<Notification> Notifications();
std::vector<LogEvent> LogEvents();
std::vector<Command> Commands();
std::vector<int> CloudServiceActions();
std::vector<CronSave> CronSaves();
std::vector<std::string> CronRemovals();
std::vector<std::string> ScheduleRemovals();

}  // namespace fake
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_FAKES_FAKE_PLATFORM_H_
