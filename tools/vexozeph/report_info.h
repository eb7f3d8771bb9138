// The periodic device report, as the report's cron job runs it:
// "/usr/vexo/bin/vexozeph --report_info". Quiet on success (cron mails whatever a job
// prints); on failure the error's message on stderr and a non-zero exit status.
//
// Cron starts the job at the first second of its minute, and every device whose schedule
// drew that minute keeps its clock by NTP: without a pause they would all reach the cloud
// in the same second. So the job first waits this device's own second of the minute,
// drawn from its identity by the platform (VEXOCrondSpreadSecond) like the minute and the
// hour. The library's VEXOZEPHReportInfo and `vexozeph report` never wait.
#ifndef VEXOZEPH_TOOLS_VEXOZEPH_REPORT_INFO_H_
#define VEXOZEPH_TOOLS_VEXOZEPH_REPORT_INFO_H_

#include <chrono>
#include <functional>

#include "output.h"

namespace vexozeph {
namespace cli {

// How the report begins.
struct ReportStart {
  bool wait = true;      // --no-wait turns the pause off
  bool verbose = false;  // -v: say on stderr how long it waits
  // The pause itself: the tool sleeps; anything else may stand in for it.
  std::function<void(std::chrono::seconds)> sleep;
};

// Waits as `start` says, then sends the report; returns the exit status.
int RunReportInfo(const Output &out, const ReportStart &start);

}  // namespace cli
}  // namespace vexozeph

#endif  // VEXOZEPH_TOOLS_VEXOZEPH_REPORT_INFO_H_
