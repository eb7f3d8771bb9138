#include "kv_file.h"

#include <errno.h>

#include <cstring>
#include <string>
#include <vector>

#include "atomic_replace.h"
#include "base/key_value_text.h"
#include "platform_error.h"
#include "sz_containers.h"
#include "text_file.h"
#include "vexo_platform/vlib_file.h"

namespace vexo_platform {
namespace kv {
namespace {

constexpr const char *kDefaultLineFormat = "%s=\"%s\"\n";

struct Entry {
  std::string key;
  std::string value;
};

// The one parser of the key-value format (shared with the library's whole-file reads).
bool ParseLine(const std::string &line, Entry &entry) {
  return vexozeph::ParseKeyValueLine(line, entry.key, entry.value);
}

// Every line of `content` with its line end (the last one may have none).
std::vector<std::string> SplitKeepingLineEnds(const std::string &content) {
  std::vector<std::string> lines;
  size_t start = 0;
  while (start < content.size()) {
    size_t end = content.find('\n', start);
    size_t next = end == std::string::npos ? content.size() : end + 1;
    lines.push_back(content.substr(start, next - start));
    start = next;
  }
  return lines;
}

std::string WithoutLineEnd(const std::string &line) {
  return !line.empty() && line.back() == '\n' ? line.substr(0, line.size() - 1) : line;
}

// The first entry of `key` in the file. 1 found, 0 absent, -1 unreadable (error set).
int Find(const char *path, const char *key, std::string &value) {
  std::string content;
  if (!ReadTextFile(path, content)) {
    SET_PLATFORM_ERROR(errno);
    return -1;
  }
  for (const std::string &line : SplitKeepingLineEnds(content)) {
    Entry entry;
    if (ParseLine(WithoutLineEnd(line), entry) && entry.key == key) {
      value = entry.value;
      return 1;
    }
  }
  SET_PLATFORM_ERROR(ENOENT);
  return 0;
}

// A key must read back as itself: no separators, quotes or line breaks, no surrounding
// blanks, not a comment.
bool ValidKey(const char *key) {
  if (key == nullptr || key[0] == '\0' || key[0] == '#') return false;
  if (std::strpbrk(key, "=\"\n\r") != nullptr) return false;
  std::string text(key);
  return Trimmed(text) == text;
}

// A value may hold anything but a line break, which would forge further lines.
bool ValidValue(const char *value) {
  return value != nullptr && std::strpbrk(value, "\n\r") == nullptr;
}

// Fills the caller's line format by hand instead of handing it to printf: only two "%s"
// (key, then value) and "%%" are allowed, so a format can never read stray arguments.
// The line always ends with exactly one newline.
bool RenderLine(const char *format, const char *key, const char *value, std::string &line) {
  const char *args[2] = {key, value};
  int used = 0;
  line.clear();
  for (const char *p = format; *p != '\0'; ++p) {
    if (*p == '%') {
      ++p;
      if (*p == '%') {
        line += '%';
      } else if (*p == 's' && used < 2) {
        line += args[used++];
      } else {
        return false;
      }
    } else if (*p == '\r' || (*p == '\n' && p[1] != '\0')) {
      return false;
    } else {
      line += *p;
    }
  }
  if (used != 2) return false;
  if (line.empty() || line.back() != '\n') line += '\n';
  return true;
}

// `content` with the first line of `key` replaced by `new_line` and its later duplicates
// dropped, or with `new_line` appended when the key has no line. Other keys' lines go
// through byte for byte, so the file ends with one line per key.
std::string WithKeyReplaced(const std::string &content, const char *key,
                            const std::string &new_line) {
  std::string updated;
  bool replaced = false;
  for (const std::string &line : SplitKeepingLineEnds(content)) {
    Entry entry;
    if (ParseLine(WithoutLineEnd(line), entry) && entry.key == key) {
      if (!replaced) updated += new_line;
      replaced = true;
      continue;
    }
    updated += line;
  }
  if (!replaced) {
    if (!updated.empty() && updated.back() != '\n') updated += '\n';
    updated += new_line;
  }
  return updated;
}

}  // namespace

int Get(const char *path, const char *key, char *value, size_t size) {
  if (path == nullptr || key == nullptr || value == nullptr || size == 0) {
    SET_PLATFORM_ERROR(EINVAL);
    return -1;
  }
  value[0] = '\0';
  std::string found;
  int rc = Find(path, key, found);
  if (rc <= 0) return rc;
  size_t length = found.size() < size - 1 ? found.size() : size - 1;
  std::memcpy(value, found.data(), length);
  value[length] = '\0';
  return static_cast<int>(std::strlen(value));
}

int Check(const char *path, const char *key, const char *value) {
  if (path == nullptr || key == nullptr || value == nullptr) {
    SET_PLATFORM_ERROR(EINVAL);
    return -1;
  }
  std::string found;
  int rc = Find(path, key, found);
  if (rc <= 0) return rc;
  return found == value ? 1 : 0;
}

int Keys(const char *path, PVLIBSZLIST keys) {
  if (path == nullptr || keys == nullptr) {
    SET_PLATFORM_ERROR(EINVAL);
    return -1;
  }
  std::string content;
  if (!ReadTextFile(path, content)) {
    SET_PLATFORM_ERROR(errno);
    return -1;
  }
  std::vector<std::string> seen;
  for (const std::string &line : SplitKeepingLineEnds(content)) {
    Entry entry;
    if (!ParseLine(WithoutLineEnd(line), entry)) continue;
    bool duplicate = false;
    for (const std::string &key : seen) duplicate = duplicate || key == entry.key;
    if (duplicate) continue;
    if (ListPush(keys, entry.key.c_str()) < 0) return -1;
    seen.push_back(entry.key);
  }
  return static_cast<int>(seen.size());
}

int Set(const char *path, const char *key, const char *value, const char *line_format) {
  return SetMany(path, &key, &value, 1, line_format);
}

int SetMany(const char *path, const char *const *keys, const char *const *values, size_t count,
            const char *line_format, int flags) {
  if (path == nullptr || keys == nullptr || values == nullptr || count == 0 ||
      (flags & ~VLIB_FILE_NOT_DURABLE) != 0) {
    SET_PLATFORM_ERROR(EINVAL);
    return -1;
  }
  const char *format = line_format != nullptr ? line_format : kDefaultLineFormat;
  std::vector<std::string> new_lines(count);
  for (size_t i = 0; i < count; ++i) {
    if (!ValidKey(keys[i]) || !ValidValue(values[i]) ||
        !RenderLine(format, keys[i], values[i], new_lines[i])) {
      SET_PLATFORM_ERROR(EINVAL);
      return -1;
    }
  }

  DirectoryLock lock(DirectoryOf(path));
  if (!lock.Held()) {
    SET_PLATFORM_ERROR(errno);
    return -1;
  }
  std::string content;
  if (!ReadTextFile(path, content)) {
    if (errno != ENOENT) {
      SET_PLATFORM_ERROR(errno);
      return -1;
    }
    content.clear();
  }
  for (size_t i = 0; i < count; ++i) content = WithKeyReplaced(content, keys[i], new_lines[i]);
  // A file the reader refuses would lose every key at once, for good.
  if (content.size() > kMaxTextFileSize) {
    SET_PLATFORM_ERROR(EFBIG);
    return -1;
  }
  // Setting the values a file already holds changes nothing, and costs no write.
  const Durability durability =
      (flags & VLIB_FILE_NOT_DURABLE) != 0 ? Durability::kAtomicOnly : Durability::kDurable;
  if (!FileHolds(path, content, 0600) && !ReplaceFile(lock, path, content, 0600, durability)) {
    SET_PLATFORM_ERROR(errno);
    return -1;
  }
  return 0;
}

}  // namespace kv
}  // namespace vexo_platform
