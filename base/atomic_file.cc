#include "internal/atomic_file.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

namespace vexozeph {

namespace {

class Fd {
 public:
  explicit Fd(int fd) : fd_(fd) {}
  ~Fd() {
    if (fd_ >= 0) ::close(fd_);
  }
  Fd(const Fd &) = delete;
  Fd &operator=(const Fd &) = delete;
  int get() const { return fd_; }
  // Closes now and reports the result, since a failed close may mean lost data.
  bool Close() {
    int fd = fd_;
    fd_ = -1;
    return ::close(fd) == 0;
  }

 private:
  int fd_;
};

bool WriteAll(int fd, const std::string &content) {
  size_t done = 0;
  while (done < content.size()) {
    ssize_t n = ::write(fd, content.data() + done, content.size() - done);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    done += static_cast<size_t>(n);
  }
  return true;
}

std::string DirectoryOf(const std::string &path) {
  size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return path.substr(0, slash);
}

}  // namespace

bool WriteFileAtomically(const std::string &path, const std::string &content, mode_t mode) {
  std::string temp = path + ".XXXXXX";
  std::vector<char> name(temp.begin(), temp.end());
  name.push_back('\0');
  int raw = ::mkostemp(name.data(), O_CLOEXEC);
  if (raw < 0) return false;
  Fd fd(raw);
  bool ok = ::fchmod(fd.get(), mode) == 0 && WriteAll(fd.get(), content) &&
            ::fsync(fd.get()) == 0;
  ok = fd.Close() && ok;
  if (ok) ok = ::rename(name.data(), path.c_str()) == 0;
  if (!ok) {
    int saved = errno;
    ::unlink(name.data());
    errno = saved;
    return false;
  }
  Fd dir(::open(DirectoryOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (dir.get() >= 0) ::fsync(dir.get());
  return true;
}

bool ReadWholeFile(const std::string &path, std::string &out) {
  Fd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (fd.get() < 0) return false;
  out.clear();
  char buffer[8192];
  for (;;) {
    ssize_t n = ::read(fd.get(), buffer, sizeof(buffer));
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (n == 0) break;
    out.append(buffer, static_cast<size_t>(n));
  }
  return true;
}

}  // namespace vexozeph
