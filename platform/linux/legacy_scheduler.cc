// The legacy scheduler on a generic Linux host: its tasks are the crontab-style lines of
//   <root>/usr/vexo/etc/scheduler/tasks
// ("m h dom mon dow user command..."). VEXOScheduleRemove drops every line whose command
// part (everything after the sixth field) is the given command line word for word (runs
// of blanks count as one separator, as for the shell); other lines stay byte for byte.
// Nothing to do when the file or the task is absent.
#include <errno.h>

#include <sstream>
#include <string>
#include <vector>

#include "atomic_replace.h"
#include "base/root_path.h"
#include "platform_error.h"
#include "text_file.h"
#include "vexo_platform/vexo_scheduler.h"

namespace vexo_platform {
namespace {

// The words of `text`, split at blanks.
std::vector<std::string> Words(const std::string &text) {
  std::istringstream in(text);
  std::vector<std::string> words;
  for (std::string word; in >> word;) words.push_back(word);
  return words;
}

// The command of a task line, or "" for comments, settings and short lines.
std::string CommandOf(const std::string &line) {
  std::string trimmed = Trimmed(line);
  if (trimmed.empty() || trimmed[0] == '#') return std::string();
  size_t at = 0;
  for (int field = 0; field < 6; ++field) {
    at = trimmed.find_first_not_of(" \t", at);
    if (at == std::string::npos) return std::string();
    at = trimmed.find_first_of(" \t", at);
    if (at == std::string::npos) return std::string();
  }
  return Trimmed(trimmed.substr(at));
}

}  // namespace
}  // namespace vexo_platform

extern "C" int VEXOScheduleRemove(const char *command_line) {
  using namespace vexo_platform;
  if (command_line == nullptr || Trimmed(command_line).empty()) {
    SET_PLATFORM_ERROR(EINVAL);
    return -1;
  }
  return GuardPlatformCall(ENOMEM, -1, [&] {
    const std::vector<std::string> wanted = Words(command_line);
    const std::string path = vexozeph::RootedPath("/usr/vexo/etc/scheduler/tasks");
    DirectoryLock lock(DirectoryOf(path));
    if (!lock.Held()) {
      if (errno == ENOENT) return 0;  // no scheduler directory: no tasks
      SET_PLATFORM_ERROR(errno);
      return -1;
    }
    std::string content;
    if (!ReadTextFile(path, content)) {
      if (errno == ENOENT) return 0;
      SET_PLATFORM_ERROR(errno);
      return -1;
    }
    std::string kept;
    bool removed = false;
    size_t start = 0;
    while (start < content.size()) {
      size_t end = content.find('\n', start);
      size_t next = end == std::string::npos ? content.size() : end + 1;
      std::string line = content.substr(start, next - start);
      if (Words(CommandOf(line)) == wanted) {
        removed = true;
      } else {
        kept += line;
      }
      start = next;
    }
    if (removed && !ReplaceFile(lock, path, kept, 0644)) {
      SET_PLATFORM_ERROR(errno);
      return -1;
    }
    return 0;
  });
}
