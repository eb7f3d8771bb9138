// The exit statuses of vexozeph. A failure of the library ends the tool with the library's
// own error code (1 to 27, docs/error-codes.md), so a script reads the same number it
// would get from VEXOZEPHErrGet. The tool's own outcomes use the sysexits values, which lie
// above every library code: a script can always tell the two apart.
#ifndef VEXOZEPH_TOOLS_VEXOZEPH_EXIT_STATUS_H_
#define VEXOZEPH_TOOLS_VEXOZEPH_EXIT_STATUS_H_

#include <sysexits.h>

namespace vexozeph {
namespace cli {

constexpr int kExitSuccess = 0;
// The command line is wrong, or a password or key could not be read.
constexpr int kExitUsage = EX_USAGE;  // 64
// The browser's sign-in answer cannot be used: the sign-in was refused there, it carries
// no code, or it belongs to another sign-in (its state differs).
constexpr int kExitBadAnswer = EX_DATAERR;  // 65
// The operation is not part of this build of the library.
constexpr int kExitUnavailable = EX_UNAVAILABLE;  // 69
// The library failed without leaving an error code (its log line says why), or something
// other than a library error stopped the tool.
constexpr int kExitNoCode = EX_SOFTWARE;  // 70
// No sign-in answer reached the loopback listener in the time given.
constexpr int kExitTimedOut = EX_TEMPFAIL;  // 75
// `report`: the report went well, but the cron manager refused the schedule the service
// sent, so the report's job does not run on the stored schedule.
constexpr int kExitScheduleRefused = EX_CONFIG;  // 78

// The exit status for a library error code: the code itself, or kExitNoCode for 0 and for
// any value that would collide with the tool's own statuses or not fit an exit status.
inline int ExitStatusForCode(unsigned int code) {
  return code == 0 || code >= static_cast<unsigned int>(EX__BASE) ? kExitNoCode
                                                                  : static_cast<int>(code);
}

}  // namespace cli
}  // namespace vexozeph

#endif  // VEXOZEPH_TOOLS_VEXOZEPH_EXIT_STATUS_H_
