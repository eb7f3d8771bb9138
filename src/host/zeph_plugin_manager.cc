#include "host/zeph_plugin_manager.h"

#include "vexo_platform/vexo_notify.h"
#include "vexo_platform/vlib_plugin.h"

namespace vexozeph {

namespace {
const char kPluginName[] = "zeph";
}  // namespace

PluginContext::PluginContext(const std::string &action_name) : action_name_(action_name) {}

PluginContext::~PluginContext() {
  VLIBPluginExit(handle_);
}

bool PluginContext::Open() {
  return VLIBPluginSDKInit(kPluginName, action_name_.c_str(), &handle_) >= 0;
}

bool PluginContext::Raise(unsigned int plugin_action) {
  return VLIBPluginAction(handle_, plugin_action) >= 0;
}

bool PluginContext::Open(const log::Place &where) {
  if (Open()) return true;
  ZLOG_FROM(where, "VLIBPluginSDKInit failed");
  return false;
}

bool PluginContext::Raise(unsigned int plugin_action, const log::Place &where) {
  if (Raise(plugin_action)) return true;
  ZLOG_FROM(where, "VLIBPluginAction failed, action=%u", plugin_action);
  return false;
}

void ZephPluginManager::TriggerEvent(const std::string &action_name,
                                     unsigned int plugin_action) const {
  PluginContext context(action_name);
  if (!context.Open()) {
    ZLOG("Failed to init plugin: %s", action_name.c_str());
  } else if (!context.Raise(plugin_action)) {
    ZLOG("Failed to do plugin %s, action=%u", action_name.c_str(), plugin_action);
  }
}

void ZephPluginManager::Pre(const std::string &action_name) const {
  TriggerEvent(action_name, VLIB_PLUGIN_ACTION_PRE);
}

void ZephPluginManager::Post(const std::string &action_name) const {
  TriggerEvent(action_name, VLIB_PLUGIN_ACTION_POST);
}

bool SendSysNotification(const std::string &tag, const FormHash &variables) {
  return VEXOSysNotifySendNotifiction(tag.c_str(), variables.get()) >= 0;
}

}  // namespace vexozeph
