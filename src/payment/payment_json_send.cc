// The C interface's sender of JSON requests to the payment host: the caller's object,
// signed with the device's serial and request token, over the same HTTPS exchange as the
// account host's forms, the reply handed back as VEXOZEPHHttpsRequestSend hands back its.
#include <string>

#include "base/json_utils.h"
#include "base/log.h"
#include "core/c_edge.h"
#include "core/failure.h"
#include "payment/store_request.h"
#include "vexozeph/vexozeph.h"

namespace {

int PaymentJsonSend(const char *path, const char *json, int short_timeout,
                    VEXOZEPH_HTTPS_RESPONSE *response) {
  Json::Value body;
  if (path == nullptr || json == nullptr || response == nullptr ||
      !vexozeph::json::Parse(json, body)) {
    ZLOG("a path, a JSON object and a response are required");
    vexozeph::Fail(VEXOZEPH_ERR_BAD_PARAMETER);
  }
  vexozeph::payment::SendJson(path, body, short_timeout != 0, *response);
  return 0;
}

}  // namespace

extern "C" VEXOZEPH_API int VEXOPaymentHTTPSSendWithJSON(const char *path, const char *json,
                                                         int short_timeout,
                                                         VEXOZEPH_HTTPS_RESPONSE *response) {
  return vexozeph::GuardCInterface("VEXOPaymentHTTPSSendWithJSON", [&] {
    return PaymentJsonSend(path, json, short_timeout, response);
  });
}
