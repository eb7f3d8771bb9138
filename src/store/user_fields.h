// Every key of the account file, its accessor name and its default, in one table that the
// record's getters and setters are generated from.
#ifndef VEXOZEPH_STORE_USER_FIELDS_H_
#define VEXOZEPH_STORE_USER_FIELDS_H_

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

// The profile: what an account query takes from a server answer, checks, stores and
// answers with, and what the C record ZEPH_INFO (vexozeph.h) copies from and to the
// account file. Answer members and record fields bear the same names.
// X(answer member / record field, accessor name), in the order they are stored. The
// identity (user id, auth key) and the query time are copied by hand around them, since
// their order differs between the reader and the writers.

// The holder's texts, without the e-mail: the C record stores the e-mail with the
// identity, ahead of the rest of the profile.
#define VEXOZEPH_HOLDER_TEXT_FIELDS(X) \
  X(full_name, Name)                   \
  X(country, Country)                  \
  X(timezone, Timezone)                \
  X(notify_language, NotifyLanguage)

#define VEXOZEPH_PROFILE_TEXT_FIELDS(X) \
  X(email, Email)                       \
  VEXOZEPH_HOLDER_TEXT_FIELDS(X)

#define VEXOZEPH_PROFILE_FLAG_FIELDS(X)           \
  X(activated, IsActivated)                       \
  X(disabled, IsDisabled)                         \
  X(enews, IsEnews)                               \
  X(enews_local_promotion, IsEnewsLocalPromotion) \
  X(critical_release, IsCriticalRelease)

// The critical-version texts: the query derives both from the answer's object
// "critical_version_list"; the C record copies them one to one. Not in the query's answer.
#define VEXOZEPH_PROFILE_VERSION_FIELDS(X)      \
  X(critical_version_list, CriticalVersionList) \
  X(critical_version_domain, CriticalVersionDomain)

#endif  // VEXOZEPH_STORE_USER_FIELDS_H_
