#include "atomic_replace.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>

#include "text_file.h"

namespace vexo_platform {
namespace {

constexpr long kLockWaitMillis = 30 * 1000;

void SleepMillis(long millis) {
  struct timespec pause = {millis / 1000, (millis % 1000) * 1000000L};
  while (::nanosleep(&pause, &pause) != 0 && errno == EINTR) {
  }
}

}  // namespace

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
  bool ok = ::fchmod(fd.Get(), mode) == 0 && WriteAll(fd.Get(), content) && ::fsync(fd.Get()) == 0;
  ok = fd.Close() && ok;
  if (ok) ok = ::renameat(dir, temp.c_str(), dir, base.c_str()) == 0;
  if (!ok) {
    int saved = errno;
    ::unlinkat(dir, temp.c_str(), 0);
    errno = saved;
    return false;
  }
  // The rename is durable only once the directory entry is on disk.
  ::fsync(dir);
  return true;
}

}  // namespace vexo_platform
