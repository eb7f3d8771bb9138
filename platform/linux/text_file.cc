#include "text_file.h"

#include <errno.h>
#include <fcntl.h>

#include <cstring>

#include "unique_fd.h"

namespace vexo_platform {

bool ReadTextFile(const std::string &path, std::string &out, size_t max_size) {
  UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!fd.Valid()) return false;
  out.clear();
  char chunk[8192];
  for (;;) {
    ssize_t n = ::read(fd.Get(), chunk, sizeof(chunk));
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (n == 0) return true;
    if (out.size() + static_cast<size_t>(n) > max_size) {
      errno = EFBIG;
      return false;
    }
    out.append(chunk, static_cast<size_t>(n));
  }
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

bool WriteAll(int fd, const std::string &data) {
  size_t done = 0;
  while (done < data.size()) {
    ssize_t n = ::write(fd, data.data() + done, data.size() - done);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    done += static_cast<size_t>(n);
  }
  return true;
}

bool CopyOut(const std::string &text, char *buf, size_t size) {
  if (buf == nullptr || text.size() >= size) return false;
  std::memcpy(buf, text.c_str(), text.size() + 1);
  return true;
}

}  // namespace vexo_platform
