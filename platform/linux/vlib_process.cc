// Running programs for the library: VLIBCExecl (run and wait) and VLIBCPopen/VLIBCPclose
// (run connected by a pipe). No shell is involved; paths under /usr/vexo/ are taken under
// the root prefix (see ExecutablePath). The flag word of VLIBCExecl is accepted and
// ignored: this platform always runs without a shell and always waits.
#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "base/unique_fd.h"
#include "child_process.h"
#include "platform_error.h"
#include "vexo_platform/vlib_process.h"

namespace vexo_platform {
using vexozeph::UniqueFd;

namespace {

std::vector<std::string> Collect(va_list args) {
  std::vector<std::string> items;
  while (const char *item = va_arg(args, const char *)) items.push_back(item);
  return items;
}

// Streams handed out by VLIBCPopen and the program behind each.
std::mutex g_streams_mutex;
std::map<FILE *, pid_t> g_streams;

}  // namespace
}  // namespace vexo_platform

extern "C" {

int VLIBCExecl(const char *path, int flags, ...) {
  using namespace vexo_platform;
  (void)flags;
  va_list args;
  va_start(args, flags);
  std::vector<std::string> argv = Collect(args);
  va_end(args);
  if (path == nullptr) {
    SET_PLATFORM_ERROR(EINVAL);
    return -1;
  }
  ChildProgram program;
  program.path = ExecutablePath(path);
  program.argv = argv.empty() ? std::vector<std::string>{path} : argv;
  pid_t pid = StartProgram(program);
  if (pid < 0) {
    SET_PLATFORM_ERROR(errno);
    return -1;
  }
  int status = WaitProgram(pid);
  if (status < 0) SET_PLATFORM_ERROR(errno);
  return status;
}

FILE *VLIBCPopen(const char *path, const char *mode, ...) {
  using namespace vexo_platform;
  va_list args;
  va_start(args, mode);
  std::vector<std::string> options = Collect(args);
  va_end(args);
  if (path == nullptr || mode == nullptr ||
      (std::strcmp(mode, "r") != 0 && std::strcmp(mode, "w") != 0)) {
    SET_PLATFORM_ERROR(EINVAL);
    return nullptr;
  }
  const bool reading = mode[0] == 'r';
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    SET_PLATFORM_ERROR(errno);
    return nullptr;
  }
  UniqueFd read_end(ends[0]);
  UniqueFd write_end(ends[1]);

  ChildProgram program;
  program.path = ExecutablePath(path);
  program.argv.push_back(path);
  program.argv.insert(program.argv.end(), options.begin(), options.end());
  if (reading) {
    program.stdout_fd = write_end.Get();
  } else {
    program.stdin_fd = read_end.Get();
  }
  pid_t pid = StartProgram(program);
  if (pid < 0) {
    SET_PLATFORM_ERROR(errno);
    return nullptr;
  }
  UniqueFd &ours = reading ? read_end : write_end;
  (reading ? write_end : read_end).Reset();
  FILE *stream = fdopen(ours.Get(), mode);
  if (stream == nullptr) {
    SET_PLATFORM_ERROR(errno);
    ours.Reset();
    WaitProgram(pid);
    return nullptr;
  }
  ours.Release();
  std::lock_guard<std::mutex> guard(g_streams_mutex);
  g_streams[stream] = pid;
  return stream;
}

int VLIBCPclose(FILE *stream) {
  using namespace vexo_platform;
  pid_t pid = -1;
  {
    std::lock_guard<std::mutex> guard(g_streams_mutex);
    auto found = g_streams.find(stream);
    if (found != g_streams.end()) {
      pid = found->second;
      g_streams.erase(found);
    }
  }
  if (pid < 0) {
    SET_PLATFORM_ERROR(EBADF);
    return -1;
  }
  std::fclose(stream);
  int status = WaitProgram(pid);
  if (status < 0) SET_PLATFORM_ERROR(errno);
  return status;
}

}  // extern "C"
