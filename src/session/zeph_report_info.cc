// The periodic device report: the cron job's check-in with the account host. It tells the
// server which device is bound to which account and in which time zone, stores the
// schedule the server sends along, and obeys the answer: a refused key or a deleted
// account signs the appliance out with a notification; a good answer re-installs the job
// and keeps the session's token fresh.
//
// The order of the side effects is part of the contract: a schedule is stored as soon as
// the answer is known to carry a result word, before that word is judged, so that a
// schedule sent along with a refusal still takes effect.
#include <map>
#include <memory>
#include <string>

#include "account/account_operations.h"
#include "account/account_request.h"
#include "account/appliance_settings.h"
#include "account/report_schedule.h"
#include "base/log.h"
#include "core/c_edge.h"
#include "core/failure.h"
#include "internal/json_utils.h"
#include "store/account_file.h"
#include "store/user_impl.h"
#include "transport/device.h"
#include "transport/form_hash.h"
#include "transport/shown_answer.h"
#include "vexo_platform/vlib_error.h"
#include "vexozeph/account_pkce_service.h"
#include "vexozeph/account_service.h"
#include "vexozeph/server_info.h"
#include "vexozeph/tarn_service.h"
#include "vexozeph/user.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_account.h"
#include "vexozeph/zeph_exception.h"

namespace {

const char kReportPath[] = "device/api/report";
const char kForceLogoutTag[] = "zeph_force_logout";
const char kDeletionLogoutTag[] = "zeph_deletion_logout";

// What the form tells the server about the account, read from the stored record.
struct StoredAccount {
  std::string email;
  std::string user_id;
  std::string auth_key;
};

// False when there is no account to report for. Whatever kept the record from being read,
// the report has nothing to say, and a cron job that finds nothing to do is no failure.
bool ReadStoredAccount(StoredAccount &account) {
  // The record is 20 KiB: kept off the stack of the cron job's small process.
  std::unique_ptr<ZEPH_INFO> info(new ZEPH_INFO());
  try {
    vexozeph::ReadAccountRecord(*info);
  } catch (const vexozeph::Failure &) {
    return false;
  }
  account.email = info->email;
  account.user_id = info->user_id;
  account.auth_key = info->auth_key;
  return true;
}

// True while the account file still holds the account this report speaks for. A sign-out
// (or another sign-in) may overtake a report while the server answers.
bool StillSignedIn(const StoredAccount &account) {
  StoredAccount now;
  return ReadStoredAccount(now) && now.user_id == account.user_id &&
         now.auth_key == account.auth_key;
}

// The server's schedule is stored only when the account file can hold it whole; one
// that it cannot (too long, a line break, a NUL) counts as absent, like a member of the
// wrong type: it is logged and the report goes on with the schedule already stored. It
// is stored only for the account reported for: a file the sign-out removed stays removed.
void StoreSchedule(const StoredAccount &account, const Json::Value &answer) {
  std::string schedule;
  if (!vexozeph::json::GetString(answer, "report_cron_timestring", schedule)) return;
  if (!vexozeph::IsStorableUserValue(schedule)) {
    ZLOG("Ignored a report_cron_timestring that cannot be stored, length=%zu", schedule.size());
    return;
  }
  if (!vexozeph::WriteAccountValuesFor(
          {account.user_id, account.auth_key},
          vexozeph::UserUpdate().SetReportCronTimestring(schedule).entries())) {
    ZLOG("Account of %s left during the report, schedule dropped", account.user_id.c_str());
  }
}

// The administrator learns why the appliance left its account; the notification's text
// lives in the host's catalogue under `tag`.
void NotifyForcedLogout(unsigned int code) {
  const vexozeph::User user;
  std::map<std::string, std::string> variables = {{"%EMAIL%", user.GetEmail()}};
  if (code == VEXOZEPH_ERR_AUTH) {
    variables["%LINK%"] = vexozeph::ServerInfo().GetAccountHost();
    vexozeph::TarnService().SendSysNotify(kForceLogoutTag, variables);
  } else {
    vexozeph::TarnService().SendSysNotify(kDeletionLogoutTag, variables);
  }
}

// The server no longer accepts this binding: sign out. A sign-out that fails is only
// logged: the report fails with the refusal's code either way.
void ForceLogout(const StoredAccount &account) {
  ZLOG("Failed to auth [%s] on regularly report, auto logout.", account.email.c_str());
  try {
    vexozeph::AccountPkceService().Logout();
  } catch (const vexozeph::ZephException &) {
    ZLOG("Failed to logout");
  }
}

// A good answer: the job is installed again so that a new schedule takes effect now, and
// the session's token is renewed (or rescued) while the device is known to be in good
// standing. Neither may turn a good report into a failed one.
void KeepSessionCurrent() {
  vexozeph::AccountService().SetReportCrontab();
  // A sign-out that overtook this report removed its job just before the job was
  // installed again here. The sign-out removes the account file before the job, so a
  // look at the file after the install tells: without an account, the job goes again.
  StoredAccount now;
  if (!ReadStoredAccount(now)) {
    vexozeph::RemoveReportJob();
    return;
  }
  try {
    vexozeph::AccountPkceService().GetAccessToken();
  } catch (const std::exception &e) {
    ZLOG("Failed to renew token: %s", e.what());
  }
}

void Report() {
  StoredAccount account;
  if (!ReadStoredAccount(account)) return;
  if (vexozeph::IsReportDisabled()) return;

  const std::string host = vexozeph::ReadAccountHost(ZLOG_HERE);
  const std::string zone = vexozeph::ReadZoneNameInTzdb(ZLOG_HERE);
  std::string serial;
  if (!vexozeph::device::ReadSerialNumber(ZLOG_HERE, serial)) {
    vexozeph::Fail(VEXOZEPH_ERR_SERIAL);
  }
  vexozeph::FormHash form;
  if (!form.ok() || !form.Set("id", account.user_id) || !form.Set("auth_key", account.auth_key) ||
      !form.Set("timezone", zone) || !form.Set("serial_no", serial) || !form.Set("bx_info", "")) {
    ZLOG("Failed to alloc https request, err=[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
    vexozeph::Fail(VEXOZEPH_ERR_SYSTEM);
  }

  vexozeph::HttpsReply reply;
  Json::Value answer;
  vexozeph::PostAccountFormForJson(ZLOG_HERE, host, kReportPath, form, false, reply, answer);
  std::string word;
  if (!vexozeph::json::ResultWord(answer, word)) vexozeph::Fail(VEXOZEPH_ERR_NO_REPLY);
  StoreSchedule(account, answer);

  const unsigned int code = GetErrorCodeFromAccountError(word.c_str());
  // A key refused because the account was signed out meanwhile ends nothing more: the
  // user left by choice and hears of no forced sign-out.
  if ((code == VEXOZEPH_ERR_AUTH || code == VEXOZEPH_ERR_ACCOUNT_NOT_FOUND) &&
      StillSignedIn(account)) {
    NotifyForcedLogout(code);
    ForceLogout(account);
  }
  if (code != VEXOZEPH_ERR_SUCCESS) {
    ZLOG("Failed to query service check, resp=%s", vexozeph::TruncatedAnswer(reply.body()).c_str());
    vexozeph::Fail(code);
  }
  KeepSessionCurrent();
}

}  // namespace

// Cleared first: a report with nothing to do, or one that went well, leaves 0.
VEXOZEPH_API int VEXOZEPHReportInfo(void) {
  return vexozeph::GuardCInterface("VEXOZEPHReportInfo", [] {
    VEXOZEPHErrSet(VEXOZEPH_ERR_SUCCESS);
    Report();
    return 0;
  });
}
