// Ending the device session: the sign-out at the account host, and the local clean-up
// of the account, the report's schedule and every OAuth client's token file.
#define ZLOG_MODULE_NAME "account_pkce_service"

#include <string>

#include "account/account_operations.h"
#include "account/report_schedule.h"
#include "base/log.h"
#include "internal/json_utils.h"
#include "internal/string_utils.h"
#include "session/account_pkce_service_impl.h"
#include "store/token_file.h"
#include "transport/http/session.h"
#include "transport/oauth_answer.h"
#include "transport/shown_answer.h"
#include "vexo_platform/vexo_notify.h"
#include "vexozeph/error_codes.h"
#include "vexozeph/tarn_service.h"
#include "vexozeph/user.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_account.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {

namespace {

const long kRequestTimeoutMs = 30000;
const char kLogoutPath[] = "/device/api/logout";
// The system event log's entry for a sign-out: class, level and event.
const int kLogoutEventType = 2;
const int kLogoutEventLevel = 1;
const unsigned int kLogoutEvent = 0x13A00002;
}  // namespace

void AccountPkceServiceImpl::Logout(bool with_token) const {
  User user;
  if (!user.Exists()) {
    LogoutLocal();
    return;
  }
  http::Payload form{
      {"serial_no", TarnService().GetSerialNo()},
      {"id", user.GetUserId()},
      {"auth_key", user.GetAuthKey()},
  };
  // Taking the token may renew or rescue it; if it cannot be had the sign-out stops here,
  // with nothing sent and nothing cleared.
  if (with_token) form.Add("access_token", GetAccessToken());

  const http::Response response =
      http::Post(http::Url{AccountService().GetAccountHost() + kLogoutPath},
                 http::Timeout{kRequestTimeoutMs}, http::UserAgent{TarnService().GetUserAgent()},
                 http::Header{{"X-Client-ID", GetClientId()}}, form);
  // From here on, every failure leaves the local state as it is: a sign-out the server
  // did not confirm is not carried out locally.
  const Json::Value answer = AcceptedAnswer(response, "Failed to logout");
  if (!answer.isObject()) {
    throw ZephException(VEXOZEPH_ERR_BAD_JSON,
                        format("Failed to parse logout resp, code=%ld, resp=%s",
                               response.status_code, ShownAnswer(answer, response.text).c_str()));
  }
  // An answer without a result word confirms the sign-out.
  std::string word;
  if (json::ResultWord(answer, word)) {
    const unsigned int code = GetErrorCodeFromAccountError(word.c_str());
    // The wording reports a failure although it speaks of success; log readers know it.
    if (code != VEXOZEPH_ERR_SUCCESS)
      throw ZephException(code, "Failed to logout with success code");
  }
  LogoutLocal();
}

void AccountPkceServiceImpl::LogoutLocal() const {
  std::string email;
  try {
    User user;
    if (user.Exists()) email = user.GetEmail();
  } catch (const ZephException &) {
    // An unreadable account file is still to be removed; the line just names no one.
  }
  if (!email.empty()) {
    ZLOG("Logged out Vexona Account: %s", email.c_str());
  } else {
    ZLOG("Logged out Vexona Account");
  }
  // Each step runs whatever the one before did: a half-removed session is worse than one
  // whose schedule outlived it by a report.
  RemoveAccount();
  RemoveReportJob();
  VEXOLogSet1(kLogoutEventType, kLogoutEventLevel, kLogoutEvent, "", "", "", "");
  if (!token_files::RemoveAll()) ZLOG("Failed to clear token files");
}

}  // namespace vexozeph
