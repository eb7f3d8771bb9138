// `vexozeph report`: the periodic report run by hand, with its outcome shown: the schedule
// the service left stored and the job the cron manager is given for it.
#include <iostream>
#include <memory>
#include <string>

#include "command.h"
#include "exit_status.h"
#include "vexozeph/user.h"
#include "vexozeph/vexozeph.h"

namespace vexozeph {
namespace cli {
namespace {

// The job as the library hands it to the cron manager, in a crontab line's shape. The
// schedule is in the manager's own notation ("~" spreads a time per device), as stored.
std::string JobLine(const std::string &schedule) {
  return schedule + " root /usr/vexo/bin/vexozeph --report_info";
}

bool SignedIn() {
  std::unique_ptr<ZEPH_INFO> info(new ZEPH_INFO());
  return VEXOZEPHAccountGet(info.get()) == 0;
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
    out.Record({{"schedule", "Report schedule", schedule},
                {"schedule_changed", "Schedule changed", schedule != before},
                {"previous_schedule", "Previous schedule", before},
                {"job", "Report job", JobLine(schedule)}});
    return kExitSuccess;
  }
};

}  // namespace

std::unique_ptr<Command> MakeReportCommand() {
  return std::make_unique<ReportCommand>();
}

}  // namespace cli
}  // namespace vexozeph
