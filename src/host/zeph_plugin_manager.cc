#include "internal/zeph_plugin_manager.h"

#include "internal/log.h"
#include "vexo_platform/vlib_plugin.h"

namespace vexozeph {

void ZephPluginManager::TriggerEvent(const std::string &action_name,
                                     unsigned int plugin_action) const {
  PVLIBPLUGIN handle = nullptr;
  if (VLIBPluginSDKInit("zeph", action_name.c_str(), &handle) < 0) {
    ZLOG("Failed to init plugin: %s", action_name.c_str());
  } else if (VLIBPluginAction(handle, plugin_action) < 0) {
    ZLOG("Failed to do plugin %s, action=%u", action_name.c_str(), plugin_action);
  }
  VLIBPluginExit(handle);
}

void ZephPluginManager::Pre(const std::string &action_name) const {
  TriggerEvent(action_name, VLIB_PLUGIN_ACTION_PRE);
}

void ZephPluginManager::Post(const std::string &action_name) const {
  TriggerEvent(action_name, VLIB_PLUGIN_ACTION_POST);
}

}  // namespace vexozeph
