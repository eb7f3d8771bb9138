#include "base/atomic_file.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

namespace vexozeph {

namespace {

constexpr long kLockWaitMillis = 30 * 1000;

void SleepMillis(long millis) {
  struct timespec pause = {millis / 1000, (millis % 1000) * 1000000L};
  while (::nanosleep(&pause, &pause) != 0 && errno == EINTR) {
  }
}

// Fills the freshly created temporary file `fd` (named `temp` relative to `dir`) and
// renames it over `target`. On failure the temporary file is removed and errno kept.
bool CommitTemporary(int dir, UniqueFd fd, const std::string &temp, const std::string &target,
                     const std::string &content, mode_t mode) {
  bool ok = ::fchmod(fd.Get(), mode) == 0 && WriteAll(fd.Get(), content) && ::fsync(fd.Get()) == 0;
  // A failed close after writing can mean lost data.
  ok = fd.Close() && ok;
  if (ok) ok = ::renameat(dir, temp.c_str(), dir, target.c_str()) == 0;
  if (!ok) {
    int saved = errno;
    ::unlinkat(dir, temp.c_str(), 0);
    errno = saved;
  }
  return ok;
}


}  // namespace

bool WriteFileAtomically(const std::string &path, const std::string &content, mode_t mode) {
  std::string temp = path + ".XXXXXX";
  std::vector<char> name(temp.begin(), temp.end());
  name.push_back('\0');
  UniqueFd fd(::mkostemp(name.data(), O_CLOEXEC));
  if (!fd.Valid()) return false;
  if (!CommitTemporary(AT_FDCWD, std::move(fd), name.data(), path, content, mode)) return false;
  // The rename is durable only once the directory entry is on disk.
  UniqueFd dir(::open(DirectoryOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (dir.Valid()) ::fsync(dir.Get());
  return true;
}

DirectoryLock::DirectoryLock(const std::string &dir)
    : dir_(::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  if (!dir_.Valid()) return;
  // Polling with a deadline rather than a blocking flock: a stopped or hung writer must
  // not wedge every later writer of the directory for ever.
  long waited = 0;
  long pause = 1;
  for (;;) {
    if (::flock(dir_.Get(), LOCK_EX | LOCK_NB) == 0) {
      held_ = true;
      return;
    }
    if (errno != EWOULDBLOCK && errno != EINTR) return;
    if (waited >= kLockWaitMillis) {
      errno = ETIMEDOUT;
      return;
    }
    SleepMillis(pause);
    waited += pause;
    if (pause < 20) pause *= 2;
  }
}

std::string TempNameFor(const std::string &path) {
  return "." + BaseNameOf(path) + ".vztmp";
}

bool ReplaceFile(const DirectoryLock &lock, const std::string &path, const std::string &content,
                 mode_t mode) {
  if (!lock.Held()) {
    errno = ENOLCK;
    return false;
  }
  const std::string base = BaseNameOf(path);
  if (base.empty() || base == "." || base == "..") {
    errno = EINVAL;
    return false;
  }
  const std::string temp = TempNameFor(path);
  const int dir = lock.DirFd();

  // Only writers holding the directory lock use this name, so whatever is there now was
  // left by a writer that died; it never held anything a reader could see.
  if (::unlinkat(dir, temp.c_str(), 0) != 0 && errno != ENOENT) return false;

  UniqueFd fd(
      ::openat(dir, temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!fd.Valid()) return false;
  if (!CommitTemporary(dir, std::move(fd), temp, base, content, mode)) return false;
  ::fsync(dir);
  return true;
}

bool ReadWholeFile(const std::string &path, std::string &out, size_t max_size) {
  UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!fd.Valid()) return false;
  return ReadAllFrom(fd.Get(), out, max_size);
}

bool ReadAllFrom(int fd, std::string &out, size_t max_size) {
  out.clear();
  char chunk[8192];
  for (;;) {
    ssize_t n = ::read(fd, chunk, sizeof(chunk));
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (n == 0) return true;
    if (static_cast<size_t>(n) > max_size - out.size()) {
      errno = EFBIG;
      return false;
    }
    out.append(chunk, static_cast<size_t>(n));
  }
}

bool FileHolds(const std::string &path, const std::string &content, mode_t mode) {
  UniqueFd fd(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!fd.Valid()) return false;
  struct stat info;
  if (::fstat(fd.Get(), &info) != 0 || !S_ISREG(info.st_mode) || info.st_uid != ::geteuid() ||
      info.st_gid != ::getegid() || (info.st_mode & 07777) != mode ||
      static_cast<size_t>(info.st_size) != content.size()) {
    return false;
  }
  // One byte more than expected is read, so that a file grown since the stat differs.
  std::string held;
  return ReadAllFrom(fd.Get(), held, content.size() + 1) && held == content;
}

bool ReadTrustedFile(const std::string &path, std::string &out, size_t max_size) {
  UniqueFd fd(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!fd.Valid()) return false;
  // Judged on the file that was opened, not on the name, which may change meanwhile.
  struct stat info;
  if (::fstat(fd.Get(), &info) != 0) return false;
  const bool owner_trusted = info.st_uid == ::geteuid() || info.st_uid == 0;
  if (!S_ISREG(info.st_mode) || !owner_trusted || (info.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    errno = EPERM;
    return false;
  }
  return ReadAllFrom(fd.Get(), out, max_size);
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

std::string DirectoryOf(const std::string &path) {
  size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return path.substr(0, slash);
}

std::string BaseNameOf(const std::string &path) {
  size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

}  // namespace vexozeph
