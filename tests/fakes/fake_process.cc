// Running programs: nothing runs; the command is recorded and the chosen answer given.
#include <errno.h>

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "fake_state.h"
#include "platform_error.h"
#include "vexo_platform/vlib_process.h"

namespace {

using vexozeph::fake::internal::Enter;
using vexozeph::fake::internal::Get;
using vexozeph::fake::internal::Mutex;
using vexozeph::fake::internal::Text;

std::vector<std::string> Collect(va_list args) {
  std::vector<std::string> items;
  while (const char *item = va_arg(args, const char *)) items.push_back(item);
  return items;
}

}  // namespace

extern "C" {

int VLIBCExecl(const char *path, int flags, ...) {
  va_list args;
  va_start(args, flags);
  std::vector<std::string> argv = Collect(args);
  va_end(args);

  std::vector<std::string> logged = {Text(path), std::to_string(flags)};
  logged.insert(logged.end(), argv.begin(), argv.end());
  if (Enter(__func__, logged)) return -1;
  if (path == nullptr) {
    SET_PLATFORM_ERROR(EINVAL);
    return -1;
  }
  std::lock_guard<std::mutex> guard(Mutex());
  Get().commands.push_back({__func__, path, argv});
  return Get().execl_status;
}

FILE *VLIBCPopen(const char *path, const char *mode, ...) {
  va_list args;
  va_start(args, mode);
  std::vector<std::string> options = Collect(args);
  va_end(args);

  std::vector<std::string> logged = {Text(path), Text(mode)};
  logged.insert(logged.end(), options.begin(), options.end());
  if (Enter(__func__, logged)) return nullptr;
  if (path == nullptr || mode == nullptr) {
    SET_PLATFORM_ERROR(EINVAL);
    return nullptr;
  }

  std::lock_guard<std::mutex> guard(Mutex());
  const std::string option = options.empty() ? std::string() : options.front();
  vexozeph::fake::internal::PopenAnswer answer = Get().popen_answers[option];
  // A real file behind the stream, so that every stdio call behaves as on a pipe's end.
  FILE *stream = std::tmpfile();
  if (stream == nullptr) {
    SET_PLATFORM_ERROR(errno);
    return nullptr;
  }
  if (mode[0] == 'r') {
    std::fwrite(answer.output.data(), 1, answer.output.size(), stream);
    std::rewind(stream);
  }
  std::vector<std::string> argv = {path};
  argv.insert(argv.end(), options.begin(), options.end());
  Get().commands.push_back({__func__, path, argv});
  Get().open_streams[stream] = answer.status;
  return stream;
}

int VLIBCPclose(FILE *stream) {
  if (Enter(__func__, {stream != nullptr ? "stream" : "(null)"})) return -1;
  std::lock_guard<std::mutex> guard(Mutex());
  auto open = Get().open_streams.find(stream);
  if (open == Get().open_streams.end()) {
    SET_PLATFORM_ERROR(EBADF);
    return -1;
  }
  int status = open->second;
  Get().open_streams.erase(open);
  std::fclose(stream);
  return status;
}

}  // extern "C"
