#include "base/key_value_text.h"

#include <algorithm>
#include <string_view>

namespace vexozeph {

namespace {

// Views into the text: a whole file is parsed without copying a line, and only the
// entries kept become strings.
std::string_view Trimmed(std::string_view text) {
  const char *space = " \t\r\n\v\f";
  size_t first = text.find_first_not_of(space);
  if (first == std::string_view::npos) return std::string_view();
  size_t last = text.find_last_not_of(space);
  return text.substr(first, last - first + 1);
}

bool SplitLine(std::string_view line, std::string_view &key, std::string_view &value) {
  line = Trimmed(line);
  if (line.empty() || line[0] == '#') return false;
  size_t equals = line.find('=');
  if (equals == std::string_view::npos) return false;
  key = Trimmed(line.substr(0, equals));
  value = Trimmed(line.substr(equals + 1));
  if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
    value = value.substr(1, value.size() - 2);
  }
  return !key.empty();
}

}  // namespace

bool ParseKeyValueLine(const std::string &line, std::string &key, std::string &value) {
  std::string_view key_view;
  std::string_view value_view;
  if (!SplitLine(line, key_view, value_view)) return false;
  key.assign(key_view);
  value.assign(value_view);
  return true;
}

KeyValueEntries ParseKeyValueText(const std::string &content) {
  KeyValueEntries entries;
  const std::string_view text(content);
  // Room for a line's worth of entries up front: growing the vector moves every string.
  entries.reserve(static_cast<size_t>(std::count(text.begin(), text.end(), '\n')) + 1);
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    std::string_view key;
    std::string_view value;
    if (SplitLine(text.substr(start, end - start), key, value)) {
      // A settings file holds a score of keys: a walk is cheaper than any index.
      bool seen = false;
      for (const auto &entry : entries) seen = seen || entry.first == key;
      if (!seen) entries.emplace_back(std::string(key), std::string(value));
    }
    start = end + 1;
  }
  return entries;
}

}  // namespace vexozeph
