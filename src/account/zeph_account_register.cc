#include <string>

#include "account/account_request.h"
#include "account/appliance_settings.h"
#include "base/log.h"
#include "core/c_edge.h"
#include "pkce/shown_answer.h"
#include "transport/device.h"
#include "vexo_platform/vexo_cloud_service.h"
#include "vexo_platform/vlib_error.h"
#include "vexozeph/vexozeph.h"

namespace {

const size_t kDeviceTokenSize = 33;

const char *TrueFalse(bool value) {
  return value ? "true" : "false";
}

int Register(const char *email, const char *password, const char *full_name, bool critical_release,
             bool enews, bool enews_local_promotion, const char *country) {
  VEXOZEPHErrSet(VEXOZEPH_ERR_SUCCESS);
  if (email == nullptr || password == nullptr || full_name == nullptr) {
    ZLOG("Bad Parameters");
    return VEXOZEPHErrSet(VEXOZEPH_ERR_BAD_PARAMETER), -1;
  }
  std::string serial;
  if (!vexozeph::device::ReadSerialNumber(ZLOG_HERE, serial)) {
    return VEXOZEPHErrSet(VEXOZEPH_ERR_SERIAL), -1;
  }
  std::string host;
  if (vexozeph::ReadAccountHost(ZLOG_HERE, host) < 0) return -1;
  const std::string language = vexozeph::ReadInterfaceLanguage();
  char device_token[kDeviceTokenSize] = {0};
  if (VEXOCloudServiceBxtokenGenerateToken(serial.c_str(), device_token, sizeof(device_token)) <
      0) {
    ZLOG("VEXOCloudServiceBxtokenGenerateToken Failed, err=[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
    return VEXOZEPHErrSet(VEXOZEPH_ERR_TOKEN_STATE), -1;
  }
  std::string zone;
  if (vexozeph::ReadZoneNameInTzdb(ZLOG_HERE, zone) < 0) return -1;

  // A hash that could not be allocated refuses every field.
  vexozeph::FormHash form;
  const bool filled =
      form.Set("email", email) && form.Set("passwd", password) &&
      form.Set("full_name", full_name) && form.Set("serial_no", serial) &&
      form.Set("notify_lang", language) && form.Set("token", device_token) &&
      form.Set("timezone", zone) && form.Set("critical_release", TrueFalse(critical_release)) &&
      form.Set("enews_local_promotion", TrueFalse(enews_local_promotion)) &&
      form.Set("enews", TrueFalse(enews)) && (country == nullptr || form.Set("country", country));
  if (!filled) {
    ZLOG("Failed to alloc https request, err=[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
    return VEXOZEPHErrSet(VEXOZEPH_ERR_SYSTEM), -1;
  }

  vexozeph::HttpsReply reply;
  if (vexozeph::SendAccountForm(host, "device/api/user/register", form, false, reply) < 0) {
    ZLOG("failed to send https request. err=[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
    return VEXOZEPHErrSet(VEXOZEPH_ERR_SEND), -1;
  }
  if (MapLibZephCenterErrorCode(reply.body()) != VEXOZEPH_ERR_SUCCESS) {
    ZLOG("Failed to register %s, resp=%s", email, vexozeph::TruncatedAnswer(reply.body()).c_str());
    return -1;
  }
  return 0;
}

}  // namespace

extern "C" VEXOZEPH_API int VEXOZEPHAccountRegister(const char *email, const char *password,
                                                    const char *full_name, bool critical_release,
                                                    bool enews, bool enews_local_promotion,
                                                    const char *country) {
  return vexozeph::GuardCInterface("VEXOZEPHAccountRegister", [&] {
    return Register(email, password, full_name, critical_release, enews, enews_local_promotion,
                    country);
  });
}
