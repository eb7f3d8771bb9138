#include <json/value.h>

#include <memory>
#include <string>

#include "account/account_operations.h"
#include "account/account_request.h"
#include "base/log.h"
#include "core/c_edge.h"
#include "core/failure.h"
#include "host/zeph_plugin_manager.h"
#include "internal/json_utils.h"
#include "transport/device.h"
#include "transport/shown_answer.h"
#include "vexo_platform/vlib_error.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_account.h"

namespace {

// Fills the update form in its fixed order. The e-mail and the password only change
// together with the current password; without it they are left out, silently.
bool FillUpdateForm(vexozeph::FormHash &form, const ZEPH_INFO &stored, const std::string &serial,
                    const char *full_name, const char *new_email, const char *password,
                    const char *new_password, const char *country, const char *notify_language,
                    const char *timezone, int enews, int critical_release,
                    int enews_local_promotion, const char *critical_version_list) {
  auto optional = [&form](const char *key, const char *value) {
    return value == nullptr || form.Set(key, value);
  };
  // Negative leaves the flag as the server has it.
  auto flag = [&form](const char *key, int value) {
    return value < 0 || form.Set(key, value > 0 ? "true" : "false");
  };
  const bool with_password = password != nullptr;
  return form.Set("id", stored.user_id) && form.Set("auth_key", stored.auth_key) &&
         form.Set("serial_no", serial) && optional("full_name", full_name) &&
         optional("passwd", password) && optional("email", with_password ? new_email : nullptr) &&
         optional("passwd_new", with_password ? new_password : nullptr) &&
         optional("passwd_confirmation", with_password ? new_password : nullptr) &&
         optional("country", country) && optional("notify_lang", notify_language) &&
         optional("timezone", timezone) && flag("enews", enews) &&
         flag("critical_release", critical_release) &&
         flag("enews_local_promotion", enews_local_promotion) &&
         optional("critical_version_list", critical_version_list);
}

// After a password change the owner is told, in case it was not them. Best effort: the
// code of a refresh that failed (as the C last error would read after it), else 0.
unsigned int NotifyPasswordChanged() {
  Json::Value account;
  try {
    account = vexozeph::QueryProfile(true, true);
  } catch (const vexozeph::Failure &failure) {
    const unsigned int code = failure.KeepsLastError() ? 0u : failure.GetCode();
    ZLOG("VEXOZEPHAccountQueryInfo failed, code=%u", code);
    return code;
  }
  vexozeph::FormHash notification;
  if (!notification.ok()) {
    ZLOG("Failed to alloc notification hash, err=[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
    return VEXOZEPH_ERR_SUCCESS;
  }
  const std::string email = vexozeph::json::StringOr(account, "email");
  if (!notification.Set("%ZEPH_ACCOUNT%", email)) {
    ZLOG("Cant set zeph account");
  } else if (!vexozeph::SendSysNotification("ZephPasswordChanged", notification)) {
    ZLOG("Send notification failed");
  }
  return VEXOZEPH_ERR_SUCCESS;
}

}  // namespace

namespace vexozeph {

unsigned int UpdateAccount(const char *full_name, const char *new_email, const char *password,
                           const char *new_password, const char *country,
                           const char *notify_language, const char *timezone, int enews,
                           int critical_release, int enews_local_promotion,
                           const char *critical_version_list) {
  std::unique_ptr<ZEPH_INFO> stored(new ZEPH_INFO());
  try {
    ReadAccountRecord(*stored);
  } catch (const Failure &) {
    ZLOG("VEXOZEPHAccountGet failed");
    Fail(VEXOZEPH_ERR_NO_ACCOUNT);
  }
  const std::string host = ReadAccountHost(ZLOG_HERE);
  std::string serial;
  if (!device::ReadSerialNumber(ZLOG_HERE, serial)) Fail(VEXOZEPH_ERR_SERIAL);
  FormHash form;
  if (!form.ok() ||
      !FillUpdateForm(form, *stored, serial, full_name, new_email, password, new_password, country,
                      notify_language, timezone, enews, critical_release, enews_local_promotion,
                      critical_version_list)) {
    ZLOG("Failed to alloc https request, err=[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
    Fail(VEXOZEPH_ERR_SYSTEM);
  }
  HttpsReply reply;
  if (!SendAccountForm(host, "device/api/user/update", form, false, reply)) {
    ZLOG("Failed to send https request. err=[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
    Fail(VEXOZEPH_ERR_SEND);
  }
  const unsigned int code = GetErrorCodeFromAccountError(reply.body());
  if (code != VEXOZEPH_ERR_SUCCESS) {
    ZLOG("Failed to update account:%s, resp=%s", stored->user_id,
         TruncatedAnswer(reply.body()).c_str());
    Fail(code);
  }
  if (password == nullptr || new_password == nullptr) return VEXOZEPH_ERR_SUCCESS;
  return NotifyPasswordChanged();
}

}  // namespace vexozeph

extern "C" VEXOZEPH_API int VEXOZEPHAccountSetInfo(const char *full_name, const char *new_email,
                                                   const char *password, const char *new_password,
                                                   const char *country, const char *notify_language,
                                                   const char *timezone, int enews,
                                                   int critical_release, int enews_local_promotion,
                                                   const char *critical_version_list) {
  return vexozeph::GuardCInterface("VEXOZEPHAccountSetInfo", [&] {
    VEXOZEPHErrSet(VEXOZEPH_ERR_SUCCESS);
    VEXOZEPHErrSet(vexozeph::UpdateAccount(full_name, new_email, password, new_password, country,
                                           notify_language, timezone, enews, critical_release,
                                           enews_local_promotion, critical_version_list));
    return 0;
  });
}
