// The periodic device report, as the report's cron job runs it:
// "/usr/vexo/bin/vexozeph --report_info". Quiet on success (cron mails whatever a job
// prints); on failure the error's message on stderr and a non-zero exit status.
#ifndef VEXOZEPH_TOOLS_VEXOZEPH_REPORT_INFO_H_
#define VEXOZEPH_TOOLS_VEXOZEPH_REPORT_INFO_H_

#include "output.h"

namespace vexozeph {
namespace cli {

// Sends the report; returns the exit status.
int RunReportInfo(const Output &out);

}  // namespace cli
}  // namespace vexozeph

#endif  // VEXOZEPH_TOOLS_VEXOZEPH_REPORT_INFO_H_
