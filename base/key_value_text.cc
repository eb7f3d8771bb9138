#include "base/key_value_text.h"

#include <cstring>
#include <string_view>

namespace vexozeph {

namespace {

// The blanks of isspace in the C locale. Tested by hand: a set search would scan the set
// once per character of every line.
bool IsBlank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

// Walks with pointers over the text itself: a whole file is parsed without copying a line.
// The line without its surrounding blanks must not be empty or a comment; the key is
// what stands before its first '=', the value what follows it, both without blanks.
bool SplitLine(const char *begin, const char *end, std::string_view &key, std::string_view &value) {
  while (begin < end && IsBlank(*begin)) ++begin;
  if (begin == end || *begin == '#') return false;
  const char *equals = static_cast<const char *>(std::memchr(begin, '=', end - begin));
  if (equals == nullptr) return false;
  const char *key_end = equals;
  while (key_end > begin && IsBlank(key_end[-1])) --key_end;
  if (key_end == begin) return false;
  const char *value_begin = equals + 1;
  while (value_begin < end && IsBlank(*value_begin)) ++value_begin;
  const char *value_end = end;
  while (value_end > value_begin && IsBlank(value_end[-1])) --value_end;
  if (value_end - value_begin >= 2 && *value_begin == '"' && value_end[-1] == '"') {
    ++value_begin;
    --value_end;
  }
  key = std::string_view(begin, static_cast<size_t>(key_end - begin));
  value = std::string_view(value_begin, static_cast<size_t>(value_end - value_begin));
  return true;
}

}  // namespace

bool ParseKeyValueLine(const std::string &line, std::string &key, std::string &value) {
  std::string_view key_view;
  std::string_view value_view;
  if (!SplitLine(line.data(), line.data() + line.size(), key_view, value_view)) return false;
  key.assign(key_view);
  value.assign(value_view);
  return true;
}

bool NextKeyValue(std::string_view text, size_t &position, std::string_view &key,
                  std::string_view &value) {
  const char *const end = text.data() + text.size();
  while (position < text.size()) {
    const char *begin = text.data() + position;
    const char *line_end = static_cast<const char *>(std::memchr(begin, '\n', end - begin));
    if (line_end == nullptr) line_end = end;
    position = static_cast<size_t>(line_end - text.data()) + 1;
    if (SplitLine(begin, line_end, key, value)) return true;
  }
  return false;
}

}  // namespace vexozeph
