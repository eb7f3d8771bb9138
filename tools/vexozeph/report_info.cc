#include "report_info.h"

#include <iostream>

#include "exit_status.h"
#include "vexo_platform/vexo_scheduler.h"
#include "vexozeph/vexozeph.h"

namespace vexozeph {
namespace cli {

// A failure without a code (the report leaves 0 when the time zone's name is unreadable)
// still exits non-zero through LastLibraryFailure, so cron's mail never shows a false
// success.
int RunReportInfo(const Output &out, const ReportStart &start) {
  // A platform without a second to give (< 0) starts at once.
  const int second = start.wait ? VEXOCrondSpreadSecond() : -1;
  if (second >= 0) {
    if (start.verbose) {
      std::cerr << "vexozeph: waiting " << second << " s, this device's second of the minute\n";
    }
    start.sleep(std::chrono::seconds(second));
  }
  return VEXOZEPHReportInfo() == 0 ? kExitSuccess : out.LastLibraryFailure();
}

}  // namespace cli
}  // namespace vexozeph
