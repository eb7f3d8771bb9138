#include "base/string_utils.h"

#include <cstdarg>
#include <cstdio>
#include <vector>

#include "base/log.h"

namespace vexozeph {

std::string format(const char *fmt, ...) noexcept {
  va_list args;
  va_start(args, fmt);
  va_list measure_args;
  va_copy(measure_args, args);
  int measure = std::vsnprintf(nullptr, 0, fmt, measure_args);
  va_end(measure_args);
  if (measure < 0) {
    va_end(args);
    ZLOG("Failed to format: %s", fmt);
    return std::string();
  }
  std::vector<char> buffer(static_cast<size_t>(measure) + 1);
  std::vsnprintf(buffer.data(), buffer.size(), fmt, args);
  va_end(args);
  return std::string(buffer.data(), static_cast<size_t>(measure));
}

std::string ShortenSecret(const std::string &secret) {
  const size_t kShown = 10;
  return secret.substr(0, kShown) + "...";
}

std::string QuoteForShell(const std::string &text) {
  std::string quoted = "'";
  for (char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

}  // namespace vexozeph
