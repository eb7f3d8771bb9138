// The periodic report's schedule: the cron job that runs "/usr/vexo/bin/vexozeph
// --report_info" as root on the stored schedule. Its C faces are
// VEXOZEPHAccountRegisterCrond and VEXOZEPHAccountUnregisterCrond (zeph_account.h), its
// class face AccountService::SetReportCrontab.
#ifndef VEXOZEPH_ACCOUNT_REPORT_SCHEDULE_H_
#define VEXOZEPH_ACCOUNT_REPORT_SCHEDULE_H_

#include "base/log.h"

namespace vexozeph {

// VEXOZEPHAccountRegisterCrond and VEXOZEPHAccountUnregisterCrond: install and remove the
// report's job, answering the cron manager's result (0: not done). They never throw (what
// goes wrong inside is logged here) and leave the last error alone.
int SaveReportJob();
int RemoveReportJob();

// Installs the report's job unless /etc/vexoinfo.conf switches the report off. Best
// effort: a job the cron manager does not store is logged at `where` as "Failed to add
// crontab for zeph", and nothing else happens.
void ScheduleReport(const log::Place &where);

// Removes the legacy scheduler's entry for the report's command, so that a device
// upgraded from it does not report twice. Its result is of no use to anyone.
void RemoveLegacyReportEntry();

}  // namespace vexozeph

#endif  // VEXOZEPH_ACCOUNT_REPORT_SCHEDULE_H_
