// The C interface's sign-out: a thin wrapper over the device session's.
#include "base/log.h"
#include "core/c_edge.h"
#include "core/failure.h"
#include "vexozeph/account_pkce_service.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_exception.h"

extern "C" VEXOZEPH_API int VEXOZEPHAccountLogout(bool remote) {
  return vexozeph::GuardCInterface("VEXOZEPHAccountLogout", [remote] {
    try {
      vexozeph::AccountPkceService session;
      if (remote) {
        session.Logout();
      } else {
        session.LogoutLocal();
      }
    } catch (const vexozeph::ZephException &e) {
      ZLOG("Failed to logout: %s", e.what());
      vexozeph::Fail(e.GetCode());
    }
    return 0;
  });
}
