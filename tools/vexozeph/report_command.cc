// `vexozeph report`: the periodic report run by hand, with its outcome shown: the schedule
// the service left stored, and the report's job as the cron manager holds it afterwards.
// The library installs the job as best it can and goes on when the manager refuses the
// schedule (the report itself went well); the job shown here is therefore read back from
// the manager, and a schedule it refused is said so, with the job that stays in force.
#include <iostream>
#include <memory>
#include <string>

#include "base/root_path.h"
#include "command.h"
#include "exit_status.h"
#include "vexo_platform/vexo_scheduler.h"
#include "vexo_platform/vlib_file.h"
#include "vexozeph/user.h"
#include "vexozeph/vexozeph.h"

namespace vexozeph {
namespace cli {
namespace {

// The cron manager's group of the library's jobs, and the report's job in it.
const char kCronGroup[] = "zeph";
const char kReportOption[] = "--report_info";

bool SignedIn() {
  std::unique_ptr<ZEPH_INFO> info(new ZEPH_INFO());
  return VEXOZEPHAccountGet(info.get()) == 0;
}

// "zeph_disable_report" in the appliance's settings: the report then sends nothing and
// installs no job (one installed earlier is left as it is).
bool ReportSwitchedOff() {
  return VLIBCFileCheckKeyValue(RootedPath("/etc/vexoinfo.conf").c_str(), "zeph_disable_report",
                                "yes", 0) == 1;
}

// The report's job as the cron manager holds it: its schedule, and the whole job in a
// crontab line's shape ("SCHEDULE root /usr/vexo/bin/vexozeph --report_info", the schedule
// in the manager's notation, where "~" spreads a time per device).
struct InstalledJob {
  bool read = false;  // false: the manager's jobs could not be read
  bool present = false;
  std::string schedule;
  std::string line;
};

InstalledJob ReadInstalledJob() {
  InstalledJob job;
  Json::Value jobs;
  job.read = VEXO::VEXOCrond::ConfigManager(kCronGroup, false).Load(jobs) != 0;
  for (const Json::Value &entry : jobs) {
    const Json::Value &words = entry.isObject() ? entry["cmd_list"] : Json::Value();
    if (!words.isArray() || words.empty() || words[words.size() - 1] != kReportOption) continue;
    job.present = true;
    job.schedule = StringMember(entry, "crontab");
    job.line = job.schedule + " " + StringMember(entry, "user");
    for (const Json::Value &word : words) job.line += " " + TextOf(word);
  }
  return job;
}

class ReportCommand : public Command {
 public:
  void Define(CLI::App &) override {}

  int Run(const Output &out) override {
    if (!SignedIn()) {
      // The library would send nothing; saying so beats a silent success.
      Json::Value document(Json::objectValue);
      document["signed_in"] = false;
      out.Document(document, "This device is not signed in: there is nothing to report.\n");
      return ExitStatusForCode(VEXOZEPH_ERR_NO_ACCOUNT);
    }
    const std::string before = User().GetReportCronTimestring();
    if (VEXOZEPHReportInfo() != 0) {
      const unsigned int code = static_cast<unsigned int>(VEXOZEPHErrGet());
      // A refused or deleted account signs the device out: the one outcome of a failed
      // report that a person must not miss.
      if (!out.json() && !SignedIn()) std::cout << "This device has been signed out.\n";
      return out.LibraryFailure(code);
    }
    const std::string schedule = User().GetReportCronTimestring();
    const bool switched_off = ReportSwitchedOff();
    const InstalledJob job = ReadInstalledJob();
    const bool installed = job.present && job.schedule == schedule;
    out.Record({{"schedule", "Report schedule", schedule},
                {"schedule_changed", "Schedule changed", schedule != before},
                {"previous_schedule", "Previous schedule", before},
                {"job", "Report job", job.present ? Json::Value(job.line) : Json::Value()},
                {"schedule_installed", "Schedule installed", installed},
                {"report_switched_off", "Report switched off", switched_off}});
    // The result above stands either way (with --json it is the one document); a job that
    // does not run on the stored schedule is the failure, on stderr and in the status.
    if (!job.read) {
      out.Note("the cron manager's jobs could not be read");
      return kExitNoCode;
    }
    if (installed || switched_off) return kExitSuccess;
    out.Note("the cron manager refused the schedule \"" + schedule + "\"; " +
             (job.present ? "the job that stays installed is: " + job.line
                          : std::string("no report job is installed")));
    return kExitScheduleRefused;
  }
};

}  // namespace

std::unique_ptr<Command> MakeReportCommand() {
  return std::make_unique<ReportCommand>();
}

}  // namespace cli
}  // namespace vexozeph
