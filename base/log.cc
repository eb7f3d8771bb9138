#include "base/log.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <utility>

#include "base/terminal_text.h"

namespace vexozeph {
namespace log {
namespace {

std::mutex g_sink_mutex;
Sink g_sink;

bool MirrorToStderr() {
  const char *mirror = secure_getenv("VEXOZEPH_LOG_STDERR");
  return mirror != nullptr && std::strcmp(mirror, "1") == 0;
}

}  // namespace

Sink SetSink(Sink sink) {
  std::lock_guard<std::mutex> guard(g_sink_mutex);
  Sink previous = std::move(g_sink);
  g_sink = std::move(sink);
  return previous;
}

void Write(int priority, const char *format, ...) {
  char stack_buffer[1024];
  va_list args;
  va_start(args, format);
  va_list copy;
  va_copy(copy, args);
  int needed = std::vsnprintf(stack_buffer, sizeof(stack_buffer), format, args);
  va_end(args);
  std::string line;
  if (needed < 0) {
    line = format;
  } else if (static_cast<size_t>(needed) < sizeof(stack_buffer)) {
    line.assign(stack_buffer, static_cast<size_t>(needed));
  } else {
    line.resize(static_cast<size_t>(needed) + 1);
    std::vsnprintf(&line[0], line.size(), format, copy);
    line.resize(static_cast<size_t>(needed));
  }
  va_end(copy);
  // One call is one line: a value carrying CR or LF must not forge a second line in
  // syslog or on stderr.
  for (char &c : line) {
    if (c == '\n' || c == '\r') c = ' ';
  }

  {
    std::lock_guard<std::mutex> guard(g_sink_mutex);
    if (g_sink) {
      g_sink(priority, line);
      return;
    }
  }
  syslog(priority, "%s", line.c_str());
  // The mirror goes to a person's terminal, and a line may quote what a server sent.
  if (MirrorToStderr()) std::fprintf(stderr, "%s\n", Visible(line).c_str());
}

std::string ModuleOf(const char *file) {
  if (file == nullptr) return std::string();
  const char *base = std::strrchr(file, '/');
  std::string module(base ? base + 1 : file);
  size_t dot = module.find('.');
  if (dot != std::string::npos) module.resize(dot);
  return module;
}

}  // namespace log
}  // namespace vexozeph
