// Plugin events, notifications and the system event log: recorded for the test to read.
#include <errno.h>

#include <new>
#include <string>

#include "fake_state.h"
#include "platform_error.h"
#include "sz_containers.h"
#include "vexo_platform/vexo_notify.h"
#include "vexo_platform/vlib_plugin.h"

struct _tag_VLIBPLUGIN_ {
  std::string plugin;
  std::string action_name;
};

namespace {

using vexozeph::fake::internal::Enter;
using vexozeph::fake::internal::Get;
using vexozeph::fake::internal::HashText;
using vexozeph::fake::internal::Mutex;
using vexozeph::fake::internal::Text;

vexozeph::fake::Variables VariablesOf(PVLIBSZHASH hash) {
  vexozeph::fake::Variables variables;
  if (hash == nullptr) return variables;
  PVLIBSZLIST keys = vexo_platform::ListAlloc(1 << 16);
  if (keys != nullptr && vexo_platform::HashEnumKeys(hash, keys) >= 0) {
    for (int i = 0; i < vexo_platform::ListSize(keys); ++i) {
      const char *key = vexo_platform::ListGet(keys, i);
      variables.emplace_back(key, vexo_platform::HashGet(hash, key));
    }
  }
  vexo_platform::ListFree(keys);
  return variables;
}

}  // namespace

extern "C" {

int VLIBPluginSDKInit(const char *plugin, const char *action_name, PVLIBPLUGIN *handle) {
  if (handle != nullptr) *handle = nullptr;
  if (Enter(__func__, {Text(plugin), Text(action_name)})) return -1;
  if (plugin == nullptr || action_name == nullptr || handle == nullptr) {
    SET_PLATFORM_ERROR(EINVAL);
    return -1;
  }
  *handle = new _tag_VLIBPLUGIN_{plugin, action_name};
  std::lock_guard<std::mutex> guard(Mutex());
  ++Get().open_plugin_contexts;
  return 0;
}

int VLIBPluginAction(PVLIBPLUGIN handle, unsigned int action) {
  std::string plugin = handle != nullptr ? handle->plugin : "(null)";
  std::string name = handle != nullptr ? handle->action_name : "(null)";
  if (Enter(__func__, {plugin, name, std::to_string(action)})) return -1;
  if (handle == nullptr) {
    SET_PLATFORM_ERROR(EINVAL);
    return -1;
  }
  std::lock_guard<std::mutex> guard(Mutex());
  Get().plugin_actions.push_back({plugin, name, action});
  return 0;
}

void VLIBPluginExit(PVLIBPLUGIN handle) {
  Enter(__func__, {handle != nullptr ? handle->action_name : "(null)"});
  if (handle == nullptr) return;
  delete handle;
  std::lock_guard<std::mutex> guard(Mutex());
  --Get().open_plugin_contexts;
}

int VEXOSysNotifySendNotifiction(const char *tag, PVLIBSZHASH variables) {
  if (Enter(__func__, {Text(tag), HashText(variables)})) return -1;
  if (tag == nullptr) {
    SET_PLATFORM_ERROR(EINVAL);
    return -1;
  }
  vexozeph::fake::Notification sent{tag, VariablesOf(variables)};
  std::lock_guard<std::mutex> guard(Mutex());
  Get().notifications.push_back(sent);
  return 0;
}

int VEXOLogSet1(int type, int level, unsigned int event, const char *arg1, const char *arg2,
                const char *arg3, const char *arg4) {
  std::vector<std::string> texts = {Text(arg1), Text(arg2), Text(arg3), Text(arg4)};
  std::vector<std::string> args = {std::to_string(type), std::to_string(level),
                                   std::to_string(event)};
  args.insert(args.end(), texts.begin(), texts.end());
  if (Enter(__func__, args)) return -1;
  std::lock_guard<std::mutex> guard(Mutex());
  Get().log_events.push_back({type, level, event, texts});
  return 0;
}

}  // extern "C"
