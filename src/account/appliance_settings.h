// What the appliance is set to, as the account operations send it or obey it: the
// interface language and the report switch of /etc/vexoinfo.conf, and the time zone.
#ifndef VEXOZEPH_ACCOUNT_APPLIANCE_SETTINGS_H_
#define VEXOZEPH_ACCOUNT_APPLIANCE_SETTINGS_H_

#include <string>

#include "base/log.h"

namespace vexozeph {

// "language", or "enu" when missing or empty.
std::string ReadInterfaceLanguage();

// True when "zeph_disable_report" is "yes": the periodic report is switched off.
bool IsReportDisabled();

// The zone's database name ("nameInTZDB"). On failure the lines are logged at `where` and
// Failure 6 is thrown; when the zone's name itself cannot be read, it keeps the C last
// error as it was.
std::string ReadZoneNameInTzdb(const log::Place &where);

}  // namespace vexozeph

#endif  // VEXOZEPH_ACCOUNT_APPLIANCE_SETTINGS_H_
