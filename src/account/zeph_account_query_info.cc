// The signed-in account's profile: answered from the account file while the last query is
// recent, otherwise asked of the account host and written to the file first. A server
// that refuses the stored auth key signs the appliance out on the spot.
//
// Everything a server sends is checked before the first key is written, so that a
// malformed or hostile answer leaves the stored profile exactly as it was.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "account/account_operations.h"
#include "account/account_request.h"
#include "base/clock.h"
#include "base/log.h"
#include "core/c_edge.h"
#include "core/failure.h"
#include "internal/json_utils.h"
#include "internal/string_utils.h"
#include "store/account_file.h"
#include "store/user_impl.h"
#include "transport/device.h"
#include "transport/shown_answer.h"
#include "vexo_platform/vlib_error.h"
#include "vexozeph/file_lock.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_account.h"
#include "vexozeph/zeph_exception.h"

namespace {

const char kQueryPath[] = "device/api/user/query";
const unsigned int kLockTimeoutSeconds = 30;

// How long a stored profile stands: fresh callers accept under 300 seconds, the others
// under a day.
const uint64_t kFreshSeconds = 299;
const uint64_t kDailySeconds = 86399;

// Distance between two instants in either direction. Computed unsigned so that no stored
// value, however absurd, can overflow it.
uint64_t Distance(int64_t a, int64_t b) {
  return a >= b ? static_cast<uint64_t>(a) - static_cast<uint64_t>(b)
                : static_cast<uint64_t>(b) - static_cast<uint64_t>(a);
}

// The stored identity the server is asked about: views into the snapshot that the whole
// call keeps, so that a cache hit copies nothing.
struct StoredIdentity {
  std::string_view user_id;
  std::string_view auth_key;
  int64_t last_query_time = 0;
};

// The identity as VEXOZEPHAccountGet judges it (an account needs both its auth key and
// its user id), taken from the read that also answers a cache hit. A missing account and
// an unreadable file both mean "nobody to ask about". The full 64-bit last query time is
// taken rather than the C record's 32-bit copy, which would wrap in 2038.
StoredIdentity ReadStoredIdentity(const vexozeph::AccountSnapshot &account) {
  StoredIdentity identity;
  identity.auth_key = account.GetAuthKey();
  identity.user_id = account.GetUserId();
  if (identity.auth_key.empty() || identity.user_id.empty()) {
    vexozeph::Fail(VEXOZEPH_ERR_NO_ACCOUNT);
  }
  identity.last_query_time = account.GetLastQueryTime();
  return identity;
}

bool IsRecent(int64_t last_query_time, bool fresh) {
  const uint64_t lifetime = fresh ? kFreshSeconds : kDailySeconds;
  return Distance(vexozeph::clock::Now(), last_query_time) <= lifetime;
}

// ---- Judging the answer ----------------------------------------------------------------

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

// A text the account file can hold and give back whole. One that cannot counts as a
// member of the wrong type.
bool GetStorableText(const Json::Value &value, std::string &text) {
  if (!value.isString()) return false;
  text = value.asString();
  return vexozeph::IsStorableUserValue(text);
}

// "critical_version_list": an object of version name -> flag, split in its key order:
// `domain` names every version the server judged, `list` only those that apply to this
// appliance. Both texts must be storable, which also keeps line breaks and NUL out of the
// names.
bool SplitVersions(const Json::Value &versions, std::string &list, std::string &domain) {
  if (!versions.isObject()) return false;
  for (const std::string &name : versions.getMemberNames()) {
    const Json::Value &flag = versions[name];
    if (!IsFlag(flag)) return false;
    if (!domain.empty()) domain += ",";
    domain += name;
    if (FlagOf(flag)) {
      if (!list.empty()) list += ",";
      list += name;
    }
  }
  return vexozeph::IsStorableUserValue(domain) && vexozeph::IsStorableUserValue(list);
}

// Judges an answer whole and turns it into the one update that stores it. False when a
// required member is missing, of the wrong type or not storable whole: then nothing may
// be written. Optional members of the wrong type count as absent. The query time goes
// last so that the stored profile and its time always belong together.
bool ProfileUpdateOf(const Json::Value &answer, vexozeph::UserUpdate &update) {
  using vexozeph::json::Member;
  std::string word;
  if (!vexozeph::json::ResultWord(answer, word)) return false;
  std::string text;
#define VEXOZEPH_TAKE_TEXT(member, Name)                             \
  if (!GetStorableText(Member(answer, #member), text)) return false; \
  update.Set##Name(text);
  VEXOZEPH_PROFILE_TEXT_FIELDS(VEXOZEPH_TAKE_TEXT)
#undef VEXOZEPH_TAKE_TEXT
#define VEXOZEPH_TAKE_FLAG(member, Name)              \
  if (!IsFlag(Member(answer, #member))) return false; \
  update.Set##Name(FlagOf(Member(answer, #member)));
  VEXOZEPH_PROFILE_FLAG_FIELDS(VEXOZEPH_TAKE_FLAG)
#undef VEXOZEPH_TAKE_FLAG
  std::string list;
  std::string domain;
  if (!SplitVersions(Member(answer, "critical_version_list"), list, domain)) return false;
  update.SetCriticalVersionList(list).SetCriticalVersionDomain(domain);

  // Left out by the server means not validated, unlike a record that never stored it.
  const Json::Value &realname = Member(answer, "realname_validation_pass");
  update.SetIsRealnameValidationPass(IsFlag(realname) && FlagOf(realname));
  if (GetStorableText(Member(answer, "report_cron_timestring"), text)) {
    update.SetReportCronTimestring(text);
  }
  update.SetLastQueryTime(vexozeph::clock::Now());
  return true;
}

// ---- Storing ---------------------------------------------------------------------------

// One replacement of the account file: the whole profile or, on failure, nothing. The
// profile belongs to the account asked about: if that one was signed out (or another
// signed in) while the server answered, the answer is dropped, so that a sign-out is never
// undone by a query it overtook.
void StoreProfile(const StoredIdentity &identity, const vexozeph::UserUpdate &update) {
  const vexozeph::AccountIdentity asked{std::string(identity.user_id),
                                        std::string(identity.auth_key)};
  bool stored = false;
  try {
    stored = vexozeph::WriteAccountValuesFor(asked, update.entries());
  } catch (const vexozeph::ZephException &e) {
    ZLOG("Failed to set user: %s", e.what());
    vexozeph::Fail(e.GetCode());
  }
  if (!stored) {
    ZLOG("Account of %s left during the query, answer dropped", asked.user_id.c_str());
    vexozeph::Fail(VEXOZEPH_ERR_NO_ACCOUNT);
  }
}

// ---- The answer ------------------------------------------------------------------------

Json::Value TextValue(std::string_view text) {
  return Json::Value(text.data(), text.data() + text.size());
}

// A member of the answer and how it is read from the account file: a text or a flag.
struct AnswerMember {
  const char *name;
  std::string_view (vexozeph::AccountSnapshot::*text)() const;
  bool (vexozeph::AccountSnapshot::*flag)() const;
};

#define VEXOZEPH_ANSWER_TEXT(member, Name) \
  {#member, &vexozeph::AccountSnapshot::Get##Name, nullptr},
#define VEXOZEPH_ANSWER_FLAG(member, Name) \
  {#member, nullptr, &vexozeph::AccountSnapshot::Get##Name},
const AnswerMember kAnswerMembers[] = {
    {"auth_key", &vexozeph::AccountSnapshot::GetAuthKey, nullptr},
    VEXOZEPH_PROFILE_TEXT_FIELDS(VEXOZEPH_ANSWER_TEXT)
        VEXOZEPH_PROFILE_FLAG_FIELDS(VEXOZEPH_ANSWER_FLAG)};
#undef VEXOZEPH_ANSWER_TEXT
#undef VEXOZEPH_ANSWER_FLAG

// The answer's members made once per process, all null, with their readers in the order
// the object keeps its members. An answer is a copy filled by walking it: inserting members
// one by one costs three allocations each and the searches of a sorted tree. The names are
// the table's own literals, held without a copy (StaticString), so that copying the object
// allocates for its values only. Only names are kept; every answer reads the file afresh.
struct AnswerShape {
  Json::Value object{Json::objectValue};
  std::vector<const AnswerMember *> in_order;
};

const AnswerShape &Shape() {
  static const AnswerShape shape = [] {
    AnswerShape made;
    for (const AnswerMember &member : kAnswerMembers) {
      made.object[Json::StaticString(member.name)] = Json::Value();
    }
    for (auto it = made.object.begin(); it != made.object.end(); ++it) {
      const std::string name = it.name();
      for (const AnswerMember &member : kAnswerMembers) {
        if (name == member.name) made.in_order.push_back(&member);
      }
    }
    return made;
  }();
  return shape;
}

Json::Value Answer(const vexozeph::AccountSnapshot &account) {
  const AnswerShape &shape = Shape();
  Json::Value answer(shape.object);
  auto reader = shape.in_order.begin();
  for (Json::Value &value : answer) {
    const AnswerMember &member = **reader++;
    value = member.text != nullptr ? TextValue((account.*member.text)())
                                   : Json::Value((account.*member.flag)());
  }
  return answer;
}

// The answer after a store: read again, so that it shows the file as now written.
Json::Value AnswerFromFile() {
  vexozeph::AccountSnapshot account;
  try {
    account = vexozeph::AccountSnapshot::Read();
  } catch (const vexozeph::ZephException &e) {
    ZLOG("Failed to get user: %s", e.what());
    vexozeph::Fail(e.GetCode());
  }
  return Answer(account);
}

// ---- Asking the server -----------------------------------------------------------------

void AskServer(const StoredIdentity &identity, bool short_timeout) {
  const std::string host = vexozeph::ReadAccountHost(ZLOG_HERE);
  std::string serial;
  if (!vexozeph::device::ReadSerialNumber(ZLOG_HERE, serial)) {
    vexozeph::Fail(VEXOZEPH_ERR_SERIAL);
  }
  vexozeph::FormHash form;
  if (!form.ok() || !form.Set("id", std::string(identity.user_id)) ||
      !form.Set("auth_key", std::string(identity.auth_key)) || !form.Set("serial_no", serial)) {
    ZLOG("Failed to alloc https request, err=[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
    vexozeph::Fail(VEXOZEPH_ERR_SYSTEM);
  }
  vexozeph::HttpsReply reply;
  Json::Value answer;
  vexozeph::PostAccountFormForJson(ZLOG_HERE, host, kQueryPath, form, short_timeout, reply, answer);
  // A refused key ends the session here and now, whatever else the answer lacks.
  std::string word;
  const bool has_word = vexozeph::json::ResultWord(answer, word);
  if (has_word && word == "badauth") {
    ZLOG("Logged out Zeph due to authentication failure.");
    vexozeph::RemoveAccount();
    vexozeph::Fail(VEXOZEPH_ERR_NO_ACCOUNT);
  }
  vexozeph::UserUpdate update;
  if (!ProfileUpdateOf(answer, update)) {
    ZLOG("Server returned insufficient data. resp=%s",
         vexozeph::TruncatedAnswer(vexozeph::json::ToCompactString(answer)).c_str());
    vexozeph::Fail(VEXOZEPH_ERR_NO_REPLY);
  }
  const unsigned int error = GetErrorCodeFromAccountError(word.c_str());
  if (error != VEXOZEPH_ERR_SUCCESS) {
    ZLOG("Failed to query %s, resp=%s, code=%u", std::string(identity.user_id).c_str(),
         reply.body(), error);
    vexozeph::Fail(error);
  }
  StoreProfile(identity, update);
}

}  // namespace

namespace vexozeph {

Json::Value QueryProfile(bool fresh, bool short_timeout) {
  // One process at a time decides, asks and stores; the ones that waited then normally
  // find a fresh profile and answer from the file.
  FileLock lock("/tmp/account_query_info.lock");
  if (!lock.Lock(kLockTimeoutSeconds)) {
    ZLOG("Failed to lock file: %s", lock.GetPath().c_str());
    FailKeepingLastError(VEXOZEPH_ERR_TOKEN_STATE);
  }
  // One read of the file serves the cache decision and, on a hit, the answer.
  AccountSnapshot account;
  try {
    account = AccountSnapshot::Read();
  } catch (const ZephException &) {
    Fail(VEXOZEPH_ERR_NO_ACCOUNT);
  }
  const StoredIdentity identity = ReadStoredIdentity(account);
  if (IsRecent(identity.last_query_time, fresh)) return Answer(account);
  AskServer(identity, short_timeout);
  return AnswerFromFile();
}

}  // namespace vexozeph

VEXOZEPH_API int VEXOZEPHAccountQueryInfo(Json::Value &result, bool fresh, bool short_timeout) {
  return vexozeph::GuardCInterface("VEXOZEPHAccountQueryInfo", [&] {
    result = vexozeph::QueryProfile(fresh, short_timeout);
    // Cleared only now: a busy lock leaves the last error as it was.
    VEXOZEPHErrSet(VEXOZEPH_ERR_SUCCESS);
    return 0;
  });
}
