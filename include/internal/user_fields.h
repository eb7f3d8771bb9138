// Every key of the account file, its accessor name and its default, in one table that the
// record's getters and setters are generated from.
#ifndef VEXOZEPH_INTERNAL_USER_FIELDS_H_
#define VEXOZEPH_INTERNAL_USER_FIELDS_H_

#define VEXOZEPH_DEFAULT_REPORT_CRON "~ 9~16 * * 1~5"

// X(accessor name, file key, default)
#define VEXOZEPH_USER_TEXT_FIELDS(X)                      \
  X(AccountHost, "account_host", "")                      \
  X(IdentityHost, "identity_host", "")                    \
  X(Email, "zephID", "")                                  \
  X(UserId, "zephIDSerial", "")                           \
  X(AuthKey, "bx_auth_key", "")                           \
  X(Name, "full_name", "")                                \
  X(Country, "country", "")                               \
  X(Timezone, "timezone", "")                             \
  X(NotifyLanguage, "notify_language", "")                \
  X(CriticalVersionList, "critical_version_list", "")     \
  X(CriticalVersionDomain, "critical_version_domain", "") \
  X(ReportCronTimestring, "report_cron_timestring", VEXOZEPH_DEFAULT_REPORT_CRON)

// A record that never stored "realname_validation_pass" counts as validated.
#define VEXOZEPH_USER_BOOL_FIELDS(X)                       \
  X(IsActivated, "activated", false)                       \
  X(IsDisabled, "disabled", false)                         \
  X(IsEnews, "enews", false)                               \
  X(IsCriticalRelease, "critical_release", false)          \
  X(IsEnewsLocalPromotion, "enews_local_promotion", false) \
  X(IsRealnameValidationPass, "realname_validation_pass", true)

#define VEXOZEPH_USER_NUMBER_FIELDS(X) X(LastQueryTime, "last_query_time", 0)

// The profile an account query takes from a server answer, stores and answers with, in
// the order it is stored: X(answer member, accessor name). Texts first, then the flags; the
// critical-version texts, the real-name flag, the schedule and the query time follow them
// in the query's own code, since they are not copied one to one.
#define VEXOZEPH_PROFILE_TEXT_FIELDS(X) \
  X(email, Email)                       \
  X(full_name, Name)                    \
  X(country, Country)                   \
  X(timezone, Timezone)                 \
  X(notify_language, NotifyLanguage)

#define VEXOZEPH_PROFILE_FLAG_FIELDS(X)           \
  X(activated, IsActivated)                       \
  X(disabled, IsDisabled)                         \
  X(enews, IsEnews)                               \
  X(enews_local_promotion, IsEnewsLocalPromotion) \
  X(critical_release, IsCriticalRelease)

#endif  // VEXOZEPH_INTERNAL_USER_FIELDS_H_
