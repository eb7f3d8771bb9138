#include <unistd.h>

#include "internal/c_edge.h"
#include "internal/log.h"
#include "internal/privilege_section.h"
#include "internal/user_impl.h"
#include "vexo_platform/vlib_plugin.h"
#include "vexozeph/vexozeph.h"

namespace {

struct PluginContext {
  PVLIBPLUGIN handle = nullptr;
  ~PluginContext() { VLIBPluginExit(handle); }
};

int AccountRemove() {
  PluginContext plugin;
  if (VLIBPluginSDKInit("zeph", "zeph/logout", &plugin.handle) < 0) {
    ZLOG("VLIBPluginSDKInit failed");
    return -1;
  }
  // Listeners must hear of the sign-out while the account is still there to read; if they
  // cannot be told, the account stays.
  if (VLIBPluginAction(plugin.handle, VLIB_PLUGIN_ACTION_PRE) < 0) {
    ZLOG("VLIBPluginAction failed, action=%u", static_cast<unsigned int>(VLIB_PLUGIN_ACTION_PRE));
    return -1;
  }
  const std::string module = vexozeph::log::ModuleOf(__FILE__);
  vexozeph::PrivilegeSection section(module.c_str(), __LINE__);
  if (!section.Enter()) return -1;
  // A missing file is no error: the account is gone either way.
  ::unlink(vexozeph::AccountFilePath().c_str());
  section.Leave();
  return 0;
}

}  // namespace

extern "C" VEXOZEPH_API int VEXOZEPHAccountRemove(void) {
  // Removal leaves the last error as it was, also when it fails.
  const int saved_error = VEXOZEPHErrGet();
  int result = vexozeph::GuardCInterface("VEXOZEPHAccountRemove", [] { return AccountRemove(); });
  VEXOZEPHErrSet(static_cast<unsigned int>(saved_error));
  return result;
}
