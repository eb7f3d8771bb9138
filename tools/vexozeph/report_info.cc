#include "report_info.h"

namespace vexozeph {
namespace cli {

// This build of the library does not export the report yet. Once it does, the body is
//   return VEXOZEPHReportInfo() == 0 ? kExitSuccess : out.LastLibraryFailure();
// (a failure without a code, which the report leaves when the time zone is unreadable,
// still exits non-zero through LastLibraryFailure). Until then the option says so and
// fails, so that the cron job's mail tells the truth rather than a false success.
int RunReportInfo(const Output &out) {
  return out.Unavailable("the periodic report (--report_info)");
}

}  // namespace cli
}  // namespace vexozeph
