#include <string>

#include "account/account_operations.h"
#include "account/account_request.h"
#include "account/appliance_settings.h"
#include "base/log.h"
#include "core/c_edge.h"
#include "core/failure.h"
#include "transport/device.h"
#include "transport/shown_answer.h"
#include "vexo_platform/vexo_cloud_service.h"
#include "vexo_platform/vlib_error.h"
#include "vexozeph/vexozeph.h"

namespace {

const size_t kDeviceTokenSize = 33;

const char *TrueFalse(bool value) {
  return value ? "true" : "false";
}

}  // namespace

namespace vexozeph {

void RegisterAccount(const char *email, const char *password, const char *full_name,
                     bool critical_release, bool enews, bool enews_local_promotion,
                     const char *country) {
  if (email == nullptr || password == nullptr || full_name == nullptr) {
    ZLOG("Bad Parameters");
    Fail(VEXOZEPH_ERR_BAD_PARAMETER);
  }
  std::string serial;
  if (!device::ReadSerialNumber(ZLOG_HERE, serial)) Fail(VEXOZEPH_ERR_SERIAL);
  const std::string host = ReadAccountHost(ZLOG_HERE);
  const std::string language = ReadInterfaceLanguage();
  char device_token[kDeviceTokenSize] = {0};
  if (VEXOCloudServiceBxtokenGenerateToken(serial.c_str(), device_token, sizeof(device_token)) <
      0) {
    ZLOG("VEXOCloudServiceBxtokenGenerateToken Failed, err=[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
    Fail(VEXOZEPH_ERR_TOKEN_STATE);
  }
  const std::string zone = ReadZoneNameInTzdb(ZLOG_HERE);

  // A hash that could not be allocated refuses every field.
  FormHash form;
  const bool filled =
      form.Set("email", email) && form.Set("passwd", password) &&
      form.Set("full_name", full_name) && form.Set("serial_no", serial) &&
      form.Set("notify_lang", language) && form.Set("token", device_token) &&
      form.Set("timezone", zone) && form.Set("critical_release", TrueFalse(critical_release)) &&
      form.Set("enews_local_promotion", TrueFalse(enews_local_promotion)) &&
      form.Set("enews", TrueFalse(enews)) && (country == nullptr || form.Set("country", country));
  if (!filled) {
    ZLOG("Failed to alloc https request, err=[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
    Fail(VEXOZEPH_ERR_SYSTEM);
  }

  HttpsReply reply;
  if (!SendAccountForm(host, "device/api/user/register", form, false, reply)) {
    ZLOG("failed to send https request. err=[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
    Fail(VEXOZEPH_ERR_SEND);
  }
  const unsigned int code = GetErrorCodeFromAccountError(reply.body());
  if (code != VEXOZEPH_ERR_SUCCESS) {
    ZLOG("Failed to register %s, resp=%s", email, TruncatedAnswer(reply.body()).c_str());
    Fail(code);
  }
}

}  // namespace vexozeph

extern "C" VEXOZEPH_API int VEXOZEPHAccountRegister(const char *email, const char *password,
                                                    const char *full_name, bool critical_release,
                                                    bool enews, bool enews_local_promotion,
                                                    const char *country) {
  return vexozeph::GuardCInterface("VEXOZEPHAccountRegister", [&] {
    VEXOZEPHErrSet(VEXOZEPH_ERR_SUCCESS);
    vexozeph::RegisterAccount(email, password, full_name, critical_release, enews,
                              enews_local_promotion, country);
    return 0;
  });
}
