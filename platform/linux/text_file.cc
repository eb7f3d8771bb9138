#include "text_file.h"

#include <cstring>

#include "base/atomic_file.h"

namespace vexo_platform {

bool ReadTextFile(const std::string &path, std::string &out, size_t max_size) {
  return vexozeph::ReadWholeFile(path, out, max_size);
}

bool ReadFirstLine(const std::string &path, std::string &out) {
  std::string content;
  if (!ReadTextFile(path, content)) return false;
  out = Trimmed(content.substr(0, content.find('\n')));
  return true;
}

std::string Trimmed(const std::string &text) {
  const char *space = " \t\r\n\v\f";
  size_t first = text.find_first_not_of(space);
  if (first == std::string::npos) return std::string();
  size_t last = text.find_last_not_of(space);
  return text.substr(first, last - first + 1);
}

bool CopyOut(const std::string &text, char *buf, size_t size) {
  if (buf == nullptr || text.size() >= size) return false;
  std::memcpy(buf, text.c_str(), text.size() + 1);
  return true;
}

}  // namespace vexo_platform
