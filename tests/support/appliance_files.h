// Where the appliance keeps what the library reads and writes, as absolute paths below a
// test's root, and the account host's paths the tests look for in the request log.
#ifndef VEXOZEPH_TESTS_SUPPORT_APPLIANCE_FILES_H_
#define VEXOZEPH_TESTS_SUPPORT_APPLIANCE_FILES_H_

namespace vexozeph {
namespace testing {
inline namespace appliance_files {

inline constexpr char kAccountPrivateDir[] = "/usr/vexo/etc/vexona-account/private";
inline constexpr char kAccountFile[] = "/usr/vexo/etc/vexona-account/private/user.conf";
inline constexpr char kSessionTokenFile[] = "/usr/vexo/etc/vexona-account/private/tarn_token.json";
inline constexpr char kPackageTokenFile[] =
    "/usr/vexo/etc/vexona-account/private/vigilon_token.json";
inline constexpr char kLoginTemplate[] =
    "/usr/vexo/etc.defaults/vexona-account/config/pkce_login.conf";
inline constexpr char kCronJobs[] = "/usr/vexo/etc/crond/zeph.json";
inline constexpr char kCronFile[] = "/etc/cron.d/vexozeph-zeph";
inline constexpr char kNotifications[] = "/var/spool/vexozeph/notifications.jsonl";
inline constexpr char kEventLog[] = "/var/log/vexozeph/events.jsonl";
inline constexpr char kCaFile[] = "/etc/ssl/certs/ca-certificates.crt";
inline constexpr char kReportPath[] = "device/api/report";
inline constexpr char kLogoutPath[] = "/device/api/logout";

}  // namespace appliance_files
}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_APPLIANCE_FILES_H_
