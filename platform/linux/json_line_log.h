// Appending one JSON document per line to a log-like file that other programs consume.
#ifndef VEXO_PLATFORM_LINUX_JSON_LINE_LOG_H_
#define VEXO_PLATFORM_LINUX_JSON_LINE_LOG_H_

#include <json/value.h>

#include <string>

namespace vexo_platform {

// Appends `record` as one line to `path` (created 0600 with its directories). The line is
// written with a single O_APPEND write, so lines of concurrent processes never interleave.
// False with errno set.
bool AppendJsonLine(const std::string &path, const Json::Value &record);

}  // namespace vexo_platform

#endif  // VEXO_PLATFORM_LINUX_JSON_LINE_LOG_H_
