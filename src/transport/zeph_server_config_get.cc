#include <cstdio>
#include <string>

#include "base/log.h"
#include "core/c_edge.h"
#include "core/failure.h"
#include "vexozeph/server_info.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_exception.h"

namespace {

// Both bases as the C interface hands them out: the payment base in the first half of
// `buf`, the account base in the second, each cut to its half. Throws Failure with the
// code of a base that cannot be found.
void FillServerConfig(char *buf) {
  try {
    vexozeph::ServerInfo servers;
    // The account host first: it is the one that reads the account record.
    std::string account = servers.GetAccountHost();
    std::string payment = servers.GetPaymentHost();
    std::snprintf(buf, VEXOZEPH_SERVER_CONFIG_HALF, "%s", payment.c_str());
    std::snprintf(buf + VEXOZEPH_SERVER_CONFIG_HALF, VEXOZEPH_SERVER_CONFIG_HALF, "%s",
                  account.c_str());
  } catch (const vexozeph::ZephException &e) {
    vexozeph::Fail(e.GetCode());
  }
}

}  // namespace

extern "C" {

VEXOZEPH_API int VEXOZEPHServerConfigGet(char *buf) {
  return vexozeph::GuardCInterface("VEXOZEPHServerConfigGet", [&] {
    if (buf == nullptr) vexozeph::Fail(VEXOZEPH_ERR_BAD_PARAMETER);
    FillServerConfig(buf);
    return 0;
  });
}

VEXOZEPH_API int VEXOPaymentConfigGet(char *dst) {
  return vexozeph::GuardCInterface("VEXOPaymentConfigGet", [&] {
    if (dst == nullptr) vexozeph::Fail(VEXOZEPH_ERR_BAD_PARAMETER);
    char config[VEXOZEPH_SERVER_CONFIG_SIZE] = {0};
    try {
      FillServerConfig(config);
    } catch (const vexozeph::Failure &failure) {
      ZLOG("VEXOZEPHServerConfigGet, code=%u", failure.GetCode());
      throw;
    }
    // The payment half is NUL-terminated within its 2048 bytes.
    std::snprintf(dst, VEXOZEPH_SERVER_CONFIG_HALF, "%.*s", VEXOZEPH_SERVER_CONFIG_HALF - 1,
                  config);
    return 0;
  });
}

}  // extern "C"
