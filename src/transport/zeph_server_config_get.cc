#include <cstdio>
#include <string>

#include "base/log.h"
#include "core/c_edge.h"
#include "vexozeph/server_info.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_exception.h"

namespace {

int ServerConfigGet(char *buf) {
  if (buf == nullptr) {
    VEXOZEPHErrSet(VEXOZEPH_ERR_BAD_PARAMETER);
    return -1;
  }
  try {
    vexozeph::ServerInfo servers;
    // The account host first: it is the one that reads the account record.
    std::string account = servers.GetAccountHost();
    std::string payment = servers.GetPaymentHost();
    std::snprintf(buf, VEXOZEPH_SERVER_CONFIG_HALF, "%s", payment.c_str());
    std::snprintf(buf + VEXOZEPH_SERVER_CONFIG_HALF, VEXOZEPH_SERVER_CONFIG_HALF, "%s",
                  account.c_str());
  } catch (const vexozeph::ZephException &e) {
    VEXOZEPHErrSet(e.GetCode());
    return -1;
  }
  return 0;
}

int PaymentConfigGet(char *dst) {
  if (dst == nullptr) {
    VEXOZEPHErrSet(VEXOZEPH_ERR_BAD_PARAMETER);
    return -1;
  }
  char config[VEXOZEPH_SERVER_CONFIG_SIZE] = {0};
  if (VEXOZEPHServerConfigGet(config) < 0) {
    ZLOG("VEXOZEPHServerConfigGet, code=%u", static_cast<unsigned int>(VEXOZEPHErrGet()));
    return -1;
  }
  // The payment half is NUL-terminated within its 2048 bytes.
  std::snprintf(dst, VEXOZEPH_SERVER_CONFIG_HALF, "%.*s", VEXOZEPH_SERVER_CONFIG_HALF - 1, config);
  return 0;
}

}  // namespace

extern "C" {

VEXOZEPH_API int VEXOZEPHServerConfigGet(char *buf) {
  return vexozeph::GuardCInterface("VEXOZEPHServerConfigGet", [&] { return ServerConfigGet(buf); });
}

VEXOZEPH_API int VEXOPaymentConfigGet(char *dst) {
  return vexozeph::GuardCInterface("VEXOPaymentConfigGet", [&] { return PaymentConfigGet(dst); });
}

}  // extern "C"
