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

namespace {

size_t SkipBlanks(const std::string &text, size_t at) {
  while (at < text.size() &&
         (text[at] == ' ' || text[at] == '\t' || text[at] == '\n' || text[at] == '\r')) {
    ++at;
  }
  return at;
}

// Where the JSON string starting at `at` (after its opening quote) ends: its closing quote,
// or the end of a text cut short.
size_t StringEnd(const std::string &text, size_t at) {
  while (at < text.size() && text[at] != '"') at += text[at] == '\\' ? 2 : 1;
  return at < text.size() ? at : text.size();
}

bool IsShortened(const std::string &value) {
  const size_t kShown = 10;
  return value.size() <= kShown + 3 && value.size() >= 3 &&
         value.compare(value.size() - 3, 3, "...") == 0;
}

}  // namespace

std::string ShortenSecretsIn(std::string text) {
  for (const char *member : kCredentialMembers) {
    const std::string name = std::string("\"") + member + "\"";
    for (size_t at = text.find(name); at != std::string::npos; at = text.find(name, at)) {
      at = SkipBlanks(text, at + name.size());
      if (at >= text.size() || text[at] != ':') continue;
      at = SkipBlanks(text, at + 1);
      if (at >= text.size() || text[at] != '"') continue;
      const size_t start = at + 1;
      const size_t end = StringEnd(text, start);
      const std::string value = text.substr(start, end - start);
      const std::string shown = IsShortened(value) ? value : ShortenSecret(value);
      text.replace(start, end - start, shown);
      at = start + shown.size();
    }
  }
  return text;
}

std::string QuoteForShell(const std::string &text) {
  std::string quoted = "'";
  for (char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

}  // namespace vexozeph
