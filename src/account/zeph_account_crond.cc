#include <json/value.h>

#include "account/appliance_settings.h"
#include "account/report_schedule.h"
#include "base/log.h"
#include "vexo_platform/vexo_scheduler.h"
#include "vexozeph/user.h"
#include "vexozeph/zeph_account.h"
#include "vexozeph/zeph_exception.h"

namespace {

const char kCronGroup[] = "zeph";
const char kReportCommand[] = "/usr/vexo/bin/vexozeph";
const char kReportOption[] = "--report_info";
// The same command as the legacy scheduler knew it.
const char kReportCommandLine[] = "/usr/vexo/bin/vexozeph --report_info";

// The one job of the group: run the periodic report as root on the stored schedule,
// passed on unchanged (its "~" marks belong to the cron manager).
Json::Value ReportJobList() {
  Json::Value job(Json::objectValue);
  job["name"] = "job";
  job["period"] = "crontab";
  job["crontab"] = vexozeph::User().GetReportCronTimestring();
  job["user"] = "root";
  Json::Value command(Json::arrayValue);
  command.append(kReportCommand);
  command.append(kReportOption);
  job["cmd_list"] = command;
  Json::Value jobs(Json::arrayValue);
  jobs.append(job);
  return jobs;
}

}  // namespace

namespace vexozeph {

// Both leave the last error alone, so a failure here never masks the error of the
// operation that called them.
int SaveReportJob() {
  try {
    VEXO::VEXOCrond::ConfigManager manager(kCronGroup, false);
    return manager.Save(ReportJobList());
  } catch (const std::exception &e) {
    ZLOG("Failed to save the report job: %s", e.what());
  } catch (...) {
    ZLOG("Failed to save the report job");
  }
  return 0;
}

int RemoveReportJob() {
  try {
    VEXO::VEXOCrond::ConfigManager manager(kCronGroup, false);
    return manager.Remove();
  } catch (const std::exception &e) {
    ZLOG("Failed to remove the report job: %s", e.what());
  } catch (...) {
    ZLOG("Failed to remove the report job");
  }
  return 0;
}

void ScheduleReport(const log::Place &where) {
  if (IsReportDisabled()) return;
  if (SaveReportJob() == 0) ZLOG_FROM(where, "Failed to add crontab for zeph");
}

void RemoveLegacyReportEntry() {
  VEXOScheduleRemove(kReportCommandLine);
}

}  // namespace vexozeph

VEXOZEPH_API int VEXOZEPHAccountRegisterCrond(void) {
  return vexozeph::SaveReportJob();
}

VEXOZEPH_API int VEXOZEPHAccountUnregisterCrond(void) {
  return vexozeph::RemoveReportJob();
}
