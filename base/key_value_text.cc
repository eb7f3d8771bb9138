#include "base/key_value_text.h"

#include <set>

namespace vexozeph {

namespace {

std::string Trimmed(const std::string &text) {
  const char *space = " \t\r\n\v\f";
  size_t first = text.find_first_not_of(space);
  if (first == std::string::npos) return std::string();
  size_t last = text.find_last_not_of(space);
  return text.substr(first, last - first + 1);
}

}  // namespace

bool ParseKeyValueLine(const std::string &line, std::string &key, std::string &value) {
  std::string trimmed = Trimmed(line);
  if (trimmed.empty() || trimmed[0] == '#') return false;
  size_t equals = trimmed.find('=');
  if (equals == std::string::npos) return false;
  key = Trimmed(trimmed.substr(0, equals));
  value = Trimmed(trimmed.substr(equals + 1));
  if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
    value = value.substr(1, value.size() - 2);
  }
  return !key.empty();
}

KeyValueEntries ParseKeyValueText(const std::string &content) {
  KeyValueEntries entries;
  std::set<std::string> seen;
  size_t start = 0;
  while (start < content.size()) {
    size_t end = content.find('\n', start);
    if (end == std::string::npos) end = content.size();
    std::string key;
    std::string value;
    if (ParseKeyValueLine(content.substr(start, end - start), key, value) &&
        seen.insert(key).second) {
      entries.emplace_back(std::move(key), std::move(value));
    }
    start = end + 1;
  }
  return entries;
}

}  // namespace vexozeph
