// The signed-in account's profile: answered from the account file while the last query is
// recent, otherwise asked of the account host and written to the file first. A server
// that refuses the stored auth key signs the appliance out on the spot.
//
// Everything a server sends is checked before the first key is written, so that a
// malformed or hostile answer leaves the stored profile exactly as it was.
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "internal/account_request.h"
#include "internal/c_edge.h"
#include "internal/clock.h"
#include "internal/json_utils.h"
#include "internal/log.h"
#include "internal/string_utils.h"
#include "vexo_platform/vlib_device.h"
#include "vexo_platform/vlib_error.h"
#include "vexozeph/file_lock.h"
#include "vexozeph/user.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_account.h"
#include "vexozeph/zeph_exception.h"

namespace {

const char kModule[] = "zeph_account_query_info";
const char kQueryPath[] = "device/api/user/query";
const unsigned int kLockTimeoutSeconds = 30;
const size_t kSerialSize = 36;

// How long a stored profile stands: fresh callers accept under 300 seconds, the others
// under a day.
const uint64_t kFreshSeconds = 299;
const uint64_t kDailySeconds = 86399;

int Fail(unsigned int code) {
  return VEXOZEPHErrSet(code), -1;
}

// Distance between two instants in either direction. Computed unsigned so that no stored
// value, however absurd, can overflow it.
uint64_t Distance(int64_t a, int64_t b) {
  return a >= b ? static_cast<uint64_t>(a) - static_cast<uint64_t>(b)
                : static_cast<uint64_t>(b) - static_cast<uint64_t>(a);
}

// The stored identity the server is asked about.
struct StoredIdentity {
  std::string user_id;
  std::string auth_key;
  int64_t last_query_time = 0;
};

// Reads the identity; a missing account or an unreadable file both mean "nobody to ask
// about". The full 64-bit last query time is read from the record rather than the C
// record's 32-bit copy, which would wrap in 2038.
int ReadStoredIdentity(StoredIdentity &identity) {
  std::unique_ptr<ZEPH_INFO> info(new ZEPH_INFO());
  if (VEXOZEPHAccountGet(info.get()) < 0) return Fail(VEXOZEPH_ERR_NO_ACCOUNT);
  identity.user_id = info->user_id;
  identity.auth_key = info->auth_key;
  try {
    identity.last_query_time = vexozeph::User().GetLastQueryTime();
  } catch (const vexozeph::ZephException &) {
    return Fail(VEXOZEPH_ERR_NO_ACCOUNT);
  }
  return 0;
}

bool IsRecent(int64_t last_query_time, bool fresh) {
  const uint64_t lifetime = fresh ? kFreshSeconds : kDailySeconds;
  return Distance(vexozeph::clock::Now(), last_query_time) <= lifetime;
}

// ---- Judging the answer -------------------------------------------------------------

// A boolean the JSON way, but strictly: true/false, or a whole number (0 is false). Texts
// such as "true" are not accepted: a server that sends them is not speaking this protocol.
// Only numbers that fit a 64-bit integer count, so that reading one can never throw.
bool IsFlag(const Json::Value &value) {
  return value.isBool() || value.isInt64() || value.isUInt64();
}
bool FlagOf(const Json::Value &value) {
  if (value.isBool()) return value.asBool();
  if (value.isInt64()) return value.asInt64() != 0;
  return value.isUInt64() && value.asUInt64() != 0;
}

// A text the account file can hold: one line, no NUL.
bool IsStorableText(const std::string &text) {
  return text.find_first_of(std::string("\n\r\0", 3)) == std::string::npos;
}
bool IsText(const Json::Value &value) {
  return value.isString() && IsStorableText(value.asString());
}

// "critical_version_list": an object of version name -> flag. Names become parts of a
// comma-separated text, so they must be storable too.
bool IsVersionList(const Json::Value &value) {
  if (!value.isObject()) return false;
  for (const std::string &name : value.getMemberNames()) {
    if (!IsStorableText(name) || !IsFlag(value[name])) return false;
  }
  return true;
}

enum class Kind { kText, kFlag, kVersionList };

struct Required {
  const char *key;
  Kind kind;
};

// Every member an answer must carry, in the order they are checked.
const Required kRequired[] = {
    {"code", Kind::kText},
    {"email", Kind::kText},
    {"full_name", Kind::kText},
    {"country", Kind::kText},
    {"timezone", Kind::kText},
    {"notify_language", Kind::kText},
    {"activated", Kind::kFlag},
    {"disabled", Kind::kFlag},
    {"enews", Kind::kFlag},
    {"critical_release", Kind::kFlag},
    {"enews_local_promotion", Kind::kFlag},
    {"critical_version_list", Kind::kVersionList},
};

bool HasKind(const Json::Value &value, Kind kind) {
  switch (kind) {
    case Kind::kText:
      return IsText(value);
    case Kind::kFlag:
      return IsFlag(value);
    case Kind::kVersionList:
      return IsVersionList(value);
  }
  return false;
}

// True when every required member is present with a usable type. A member of the wrong
// type counts as missing.
bool IsComplete(const Json::Value &answer) {
  if (!answer.isObject()) return false;
  for (const Required &member : kRequired) {
    if (!vexozeph::json::Has(answer, member.key) ||
        !HasKind(vexozeph::json::Member(answer, member.key), member.kind)) {
      return false;
    }
  }
  return true;
}

// The optional members, already judged: a member of the wrong type counts as absent.
struct OptionalMembers {
  bool realname_validation_pass = false;  // absent: false, unlike the record's default
  bool has_report_cron = false;
  std::string report_cron;
};

OptionalMembers ReadOptionalMembers(const Json::Value &answer) {
  OptionalMembers optional;
  const Json::Value &realname = vexozeph::json::Member(answer, "realname_validation_pass");
  if (IsFlag(realname)) optional.realname_validation_pass = FlagOf(realname);
  const Json::Value &cron = vexozeph::json::Member(answer, "report_cron_timestring");
  if (IsText(cron)) {
    optional.has_report_cron = true;
    optional.report_cron = cron.asString();
  }
  return optional;
}

// Splits the version object in its key order: `domain` names every version the server
// judged, `list` only those that apply to this appliance.
void SplitVersions(const Json::Value &versions, std::string &list, std::string &domain) {
  for (const std::string &name : versions.getMemberNames()) {
    if (!domain.empty()) domain += ",";
    domain += name;
    if (FlagOf(versions[name])) {
      if (!list.empty()) list += ",";
      list += name;
    }
  }
}

// ---- Storing and answering ----------------------------------------------------------

// Writes a complete, judged answer in the fixed order; the last query time goes last so
// that an interrupted store is asked again next time.
int StoreProfile(const Json::Value &answer) {
  const OptionalMembers optional = ReadOptionalMembers(answer);
  std::string list;
  std::string domain;
  SplitVersions(answer["critical_version_list"], list, domain);
  try {
    vexozeph::User user;
    user.SetEmail(answer["email"].asString());
    user.SetName(answer["full_name"].asString());
    user.SetCountry(answer["country"].asString());
    user.SetTimezone(answer["timezone"].asString());
    user.SetNotifyLanguage(answer["notify_language"].asString());
    user.SetIsActivated(FlagOf(answer["activated"]));
    user.SetIsDisabled(FlagOf(answer["disabled"]));
    user.SetIsEnews(FlagOf(answer["enews"]));
    user.SetIsEnewsLocalPromotion(FlagOf(answer["enews_local_promotion"]));
    user.SetIsCriticalRelease(FlagOf(answer["critical_release"]));
    user.SetCriticalVersionList(list);
    user.SetCriticalVersionDomain(domain);
    user.SetIsRealnameValidationPass(optional.realname_validation_pass);
    if (optional.has_report_cron) user.SetReportCronTimestring(optional.report_cron);
    user.SetLastQueryTime(vexozeph::clock::Now());
  } catch (const vexozeph::ZephException &e) {
    ZLOG("Failed to set user: %s", e.what());
    return Fail(e.GetCode());
  }
  return 0;
}

int AnswerFromFile(Json::Value &result) {
  Json::Value answer(Json::objectValue);
  try {
    vexozeph::User user;
    answer["auth_key"] = user.GetAuthKey();
    answer["email"] = user.GetEmail();
    answer["full_name"] = user.GetName();
    answer["country"] = user.GetCountry();
    answer["timezone"] = user.GetTimezone();
    answer["notify_language"] = user.GetNotifyLanguage();
    answer["activated"] = user.GetIsActivated();
    answer["disabled"] = user.GetIsDisabled();
    answer["enews"] = user.GetIsEnews();
    answer["critical_release"] = user.GetIsCriticalRelease();
    answer["enews_local_promotion"] = user.GetIsEnewsLocalPromotion();
  } catch (const vexozeph::ZephException &e) {
    ZLOG("Failed to get user: %s", e.what());
    return Fail(e.GetCode());
  }
  result.swap(answer);
  return 0;
}

// ---- Asking the server --------------------------------------------------------------

int AskServer(const StoredIdentity &identity, bool short_timeout) {
  std::string host;
  if (vexozeph::ReadAccountHost(kModule, host) < 0) return -1;
  char serial[kSerialSize] = {0};
  if (VLIBGetSerialNumber(serial, sizeof(serial)) < 0) {
    ZLOG("Failed to get serial number, err=[0x%04X %s:%d]", VLIBCErrGet(), VLIBCErrorGetFile(),
         VLIBCErrorGetLine());
    return Fail(VEXOZEPH_ERR_SERIAL);
  }
  vexozeph::FormHash form;
  if (!form.ok() || !form.Set("id", identity.user_id) || !form.Set("auth_key", identity.auth_key) ||
      !form.Set("serial_no", serial)) {
    ZLOG("Failed to alloc https request, err=[0x%04X %s:%d]", VLIBCErrGet(), VLIBCErrorGetFile(),
         VLIBCErrorGetLine());
    return Fail(VEXOZEPH_ERR_SYSTEM);
  }
  vexozeph::HttpsReply reply;
  if (vexozeph::SendAccountForm(host, kQueryPath, form, short_timeout, reply) < 0) {
    ZLOG("Failed to send https request. err=[0x%04X %s:%d]", VLIBCErrGet(), VLIBCErrorGetFile(),
         VLIBCErrorGetLine());
    return Fail(VEXOZEPH_ERR_SEND);
  }
  Json::Value answer;
  if (!vexozeph::ParseReply(reply.body(), answer)) {
    ZLOG("Failed to parse json: %s", reply.body());
    return Fail(VEXOZEPH_ERR_BAD_JSON);
  }
  // A refused key ends the session here and now, whatever else the answer lacks.
  if (vexozeph::ResultWordOf(answer) == "badauth") {
    ZLOG("Logged out Zeph due to authentication failure.");
    VEXOZEPHAccountRemove();
    return Fail(VEXOZEPH_ERR_NO_ACCOUNT);
  }
  if (!IsComplete(answer)) {
    ZLOG("Server returned insufficient data. resp=%s",
         vexozeph::json::ToCompactString(answer).c_str());
    return Fail(VEXOZEPH_ERR_NO_REPLY);
  }
  const unsigned int error = MapLibZephCenterErrorCode(vexozeph::ResultWordOf(answer).c_str());
  if (error != VEXOZEPH_ERR_SUCCESS) {
    ZLOG("Failed to query %s, resp=%s, code=%u", identity.user_id.c_str(), reply.body(), error);
    return -1;
  }
  return StoreProfile(answer);
}

int QueryInfo(Json::Value &result, bool fresh, bool short_timeout) {
  // One process at a time decides, asks and stores; the ones that waited then normally
  // find a fresh profile and answer from the file.
  vexozeph::FileLock lock(vexozeph::format("/tmp/account_%s.lock", "query_info"));
  if (!lock.Lock(kLockTimeoutSeconds)) {
    ZLOG("Failed to lock file: %s", lock.GetPath().c_str());
    return -1;
  }
  VEXOZEPHErrSet(VEXOZEPH_ERR_SUCCESS);
  StoredIdentity identity;
  if (ReadStoredIdentity(identity) < 0) return -1;
  if (!IsRecent(identity.last_query_time, fresh) && AskServer(identity, short_timeout) < 0) {
    return -1;
  }
  return AnswerFromFile(result);
}

}  // namespace

VEXOZEPH_API int VEXOZEPHAccountQueryInfo(Json::Value &result, bool fresh, bool short_timeout) {
  return vexozeph::GuardCInterface("VEXOZEPHAccountQueryInfo",
                                   [&] { return QueryInfo(result, fresh, short_timeout); });
}
