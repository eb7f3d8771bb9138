// What the appliance is set to, as the account operations send it or obey it: the
// interface language and the report switch of /etc/vexoinfo.conf, and the time zone.
#ifndef VEXOZEPH_INTERNAL_APPLIANCE_SETTINGS_H_
#define VEXOZEPH_INTERNAL_APPLIANCE_SETTINGS_H_

#include <string>

#include "base/log.h"

namespace vexozeph {

// "language", or "enu" when missing or empty.
std::string ReadInterfaceLanguage();

// True when "zeph_disable_report" is "yes": the periodic report is switched off.
bool IsReportDisabled();

// The zone's database name ("nameInTZDB") into `zone`. On failure the lines are logged at
// `where` and -1 is returned: the last error is left as it was when the zone name cannot
// be read, and set to 6 when its information cannot.
int ReadZoneNameInTzdb(const log::Place &where, std::string &zone);

}  // namespace vexozeph

#endif  // VEXOZEPH_INTERNAL_APPLIANCE_SETTINGS_H_
