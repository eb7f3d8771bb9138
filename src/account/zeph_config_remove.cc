#include "account/account_file.h"
#include "base/log.h"
#include "core/c_edge.h"
#include "host/zeph_plugin_manager.h"
#include "vexo_platform/vlib_plugin.h"
#include "vexozeph/vexozeph.h"

namespace {

int AccountRemove() {
  vexozeph::PluginContext plugin("zeph/logout");
  if (!plugin.Open(ZLOG_HERE)) return -1;
  // Listeners must hear of the sign-out while the account is still there to read; if they
  // cannot be told, the account stays.
  if (!plugin.Raise(VLIB_PLUGIN_ACTION_PRE, ZLOG_HERE)) return -1;
  // A missing file is no error: the account is gone either way.
  if (vexozeph::RemoveAccountFile(ZLOG_HERE, vexozeph::RemovalRule::kOnlyWhenLifted) ==
      vexozeph::RemovalResult::kNotLifted) {
    return -1;
  }
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
