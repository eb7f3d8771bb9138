// Raises the host's plugin events around account actions so that other installed
// components can react to a sign-in or sign-out. Failures are logged, never reported:
// an account action goes on whether or not the plugins could be told.
#ifndef VEXOZEPH_INTERNAL_ZEPH_PLUGIN_MANAGER_H_
#define VEXOZEPH_INTERNAL_ZEPH_PLUGIN_MANAGER_H_

#include <string>

namespace vexozeph {

class ZephPluginManager {
 public:
  // Opens a context for `action_name` ("zeph/login"), raises `plugin_action`, closes it.
  void TriggerEvent(const std::string &action_name, unsigned int plugin_action) const;
  // The pre-event (4).
  void Pre(const std::string &action_name) const;
  // The post-event (5).
  void Post(const std::string &action_name) const;
};

}  // namespace vexozeph

#endif  // VEXOZEPH_INTERNAL_ZEPH_PLUGIN_MANAGER_H_
