#include "report_info.h"

#include "exit_status.h"
#include "vexozeph/vexozeph.h"

namespace vexozeph {
namespace cli {

// A failure without a code (the report leaves 0 when the time zone's name is unreadable)
// still exits non-zero through LastLibraryFailure, so cron's mail never shows a false
// success.
int RunReportInfo(const Output &out) {
  return VEXOZEPHReportInfo() == 0 ? kExitSuccess : out.LastLibraryFailure();
}

}  // namespace cli
}  // namespace vexozeph
