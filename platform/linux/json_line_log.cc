#include "json_line_log.h"

#include <errno.h>
#include <fcntl.h>
#include <json/writer.h>
#include <unistd.h>

#include "atomic_replace.h"
#include "base/directories.h"
#include "base/unique_fd.h"

namespace vexo_platform {
using vexozeph::MakeDirectories;
using vexozeph::UniqueFd;

bool AppendJsonLine(const std::string &path, const Json::Value &record) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  // Escaped control characters keep every record on exactly one line.
  std::string line = Json::writeString(builder, record) + "\n";
  if (!MakeDirectories(DirectoryOf(path), 0755)) return false;
  UniqueFd fd(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!fd.Valid()) return false;
  ssize_t written;
  do {
    written = write(fd.Get(), line.data(), line.size());
  } while (written < 0 && errno == EINTR);
  if (written != static_cast<ssize_t>(line.size())) {
    if (written >= 0) errno = EIO;
    return false;
  }
  return fd.Close();
}

}  // namespace vexo_platform
