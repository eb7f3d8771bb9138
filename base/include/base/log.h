// The library's one way to write a log line. Lines go to syslog; tests can capture them
// with a sink, and the command-line tool can mirror them to stderr (VEXOZEPH_LOG_STDERR=1).
#ifndef VEXOZEPH_BASE_LOG_H_
#define VEXOZEPH_BASE_LOG_H_

#include <syslog.h>

#include <functional>
#include <string>

namespace vexozeph {
namespace log {

// Receives every line: its syslog priority (facility included) and the formatted text.
using Sink = std::function<void(int priority, const std::string &line)>;

// Replaces the sink; an empty sink restores syslog. Returns the previous one.
Sink SetSink(Sink sink);

// Formats with printf rules and writes one line; CR and LF in the result become spaces.
// The format normally starts with "%s:%d " filled with the module and the line (see ZLOG).
void Write(int priority, const char *format, ...) __attribute__((format(printf, 2, 3)));

// The module name of a source file: its base name without extension.
std::string ModuleOf(const char *file);

// Where a line comes from. A helper that logs on its caller's behalf takes the caller's
// place (ZLOG_HERE), so that the line names the operation that failed, not the helper.
struct Place {
  std::string module;
  int line;
};

}  // namespace log
}  // namespace vexozeph

// The module a line names is its source file's base name, unless the file defines
// ZLOG_MODULE_NAME before including this header (for a module split over two files).
#ifdef ZLOG_MODULE_NAME
#define ZLOG_MODULE_ ZLOG_MODULE_NAME
#else
#define ZLOG_MODULE_ ::vexozeph::log::ModuleOf(__FILE__).c_str()
#endif

// Error-priority line prefixed "module:line ". `fmt` must be a literal.
#define ZLOG(fmt, ...) \
  ::vexozeph::log::Write(LOG_ERR, "%s:%d " fmt, ZLOG_MODULE_, __LINE__, ##__VA_ARGS__)

// An error-priority line prefixed with `place` ("module:line ") instead of this file's.
#define ZLOG_FROM(place, fmt, ...) \
  ::vexozeph::log::Write(LOG_ERR, "%s:%d " fmt, (place).module.c_str(), (place).line, ##__VA_ARGS__)

// This file's module and this line, for a helper that logs on the caller's behalf.
#define ZLOG_HERE (::vexozeph::log::Place{ZLOG_MODULE_, __LINE__})

// The same as ZLOG at another priority.
#define ZLOG_AT(priority, fmt, ...) \
  ::vexozeph::log::Write(priority, "%s:%d " fmt, ZLOG_MODULE_, __LINE__, ##__VA_ARGS__)

#endif  // VEXOZEPH_BASE_LOG_H_
