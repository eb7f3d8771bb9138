// Host events: the plugin events raised around account actions, so that other installed
// components can react to a sign-in or sign-out, and system notifications. Every plugin
// event is raised under the plugin "zeph" with an action name such as "zeph/login": 4 is
// the pre-event, 5 the post-event.
#ifndef VEXOZEPH_HOST_ZEPH_PLUGIN_MANAGER_H_
#define VEXOZEPH_HOST_ZEPH_PLUGIN_MANAGER_H_

#include <string>

#include "base/log.h"
#include "transport/form_hash.h"
#include "vexo_platform/vlib_types.h"

namespace vexozeph {

// One plugin context for an action name. It is opened by Open and closed
// (VLIBPluginExit) when the object goes, on every path: with a null handle when it never
// opened.
class PluginContext {
 public:
  explicit PluginContext(const std::string &action_name);
  ~PluginContext();
  PluginContext(const PluginContext &) = delete;
  PluginContext &operator=(const PluginContext &) = delete;

  // VLIBPluginSDKInit; false when refused. Nothing is logged.
  bool Open();
  // VLIBPluginAction; false when refused. Nothing is logged.
  bool Raise(unsigned int plugin_action);

  // The same for the C account operations, which give up when the listeners cannot be
  // told: a refusal is logged at `where` with the platform call that refused
  // ("VLIBPluginSDKInit failed", "VLIBPluginAction failed, action=%u").
  bool Open(const log::Place &where);
  bool Raise(unsigned int plugin_action, const log::Place &where);

 private:
  std::string action_name_;
  PVLIBPLUGIN handle_ = nullptr;
};

// Raises an event in a context of its own. Failures are logged, never reported: an
// account action goes on whether or not the plugins could be told.
class ZephPluginManager {
 public:
  // Opens a context for `action_name` ("zeph/login"), raises `plugin_action`, closes it.
  void TriggerEvent(const std::string &action_name, unsigned int plugin_action) const;
  // The pre-event (4).
  void Pre(const std::string &action_name) const;
  // The post-event (5).
  void Post(const std::string &action_name) const;
};

// Posts the system notification `tag` with the "%NAME%" variables in `variables`
// (VEXOSysNotifySendNotifiction); false when the host refuses it. Nothing is logged:
// TarnService::SendSysNotify is the class side's way, with its lines.
bool SendSysNotification(const std::string &tag, const FormHash &variables);

}  // namespace vexozeph

#endif  // VEXOZEPH_HOST_ZEPH_PLUGIN_MANAGER_H_
