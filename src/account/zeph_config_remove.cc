#include "account/account_operations.h"
#include "base/log.h"
#include "core/c_edge.h"
#include "host/zeph_plugin_manager.h"
#include "store/account_file.h"
#include "vexo_platform/vlib_plugin.h"
#include "vexozeph/vexozeph.h"

namespace vexozeph {

bool RemoveAccount() {
  PluginContext plugin("zeph/logout");
  if (!plugin.Open(ZLOG_HERE)) return false;
  // Listeners must hear of the sign-out while the account is still there to read; if they
  // cannot be told, the account stays.
  if (!plugin.Raise(VLIB_PLUGIN_ACTION_PRE, ZLOG_HERE)) return false;
  // A missing file is no error: the account is gone either way.
  return RemoveAccountFile(ZLOG_HERE, RemovalRule::kOnlyWhenLifted) != RemovalResult::kNotLifted;
}

}  // namespace vexozeph

extern "C" VEXOZEPH_API int VEXOZEPHAccountRemove(void) {
  // Removal leaves the last error as it was, also when something escapes.
  const int saved_error = VEXOZEPHErrGet();
  const int result = vexozeph::GuardCInterface("VEXOZEPHAccountRemove",
                                               [] { return vexozeph::RemoveAccount() ? 0 : -1; });
  VEXOZEPHErrSet(static_cast<unsigned int>(saved_error));
  return result;
}
