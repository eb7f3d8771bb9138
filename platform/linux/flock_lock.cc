#include "flock_lock.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/unique_fd.h"
#include "platform_error.h"

namespace vexo_platform {
using vexozeph::UniqueFd;

namespace {

const int kOpenFlags = O_RDWR | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK;
// A file removed between the failed open and the create is looked for again, a few times.
const int kOpenAttempts = 3;

// Opens the lock file as it stands and creates it only when it is missing. Lock files are
// shared by every user, so the one in /tmp may well be another user's; where the kernel
// guards sticky directories (fs.protected_regular), an open with O_CREAT of another
// user's file there is refused even to root. O_NOFOLLOW: a planted symlink must not make
// us create or open a file elsewhere.
int OpenLockFile(const char *path) {
  for (int attempt = 0; attempt < kOpenAttempts; ++attempt) {
    int fd = ::open(path, kOpenFlags);
    if (fd >= 0 || errno != ENOENT) return fd;
    fd = ::open(path, kOpenFlags | O_CREAT | O_EXCL, 0666);
    if (fd >= 0 || errno != EEXIST) return fd;
  }
  return -1;
}

}  // namespace

int TryLockFile(const char *path, int exclusive, int *handle) {
  if (path == nullptr || handle == nullptr) {
    SET_PLATFORM_ERROR(EINVAL);
    return 0;
  }
  UniqueFd fd(OpenLockFile(path));
  if (!fd.Valid()) {
    SET_PLATFORM_ERROR(errno);
    return 0;
  }
  // Only a regular file is a lock file: a FIFO or device planted at the path is refused.
  struct stat info;
  if (::fstat(fd.Get(), &info) != 0 || !S_ISREG(info.st_mode)) {
    SET_PLATFORM_ERROR(EINVAL);
    return 0;
  }
  int operation = (exclusive != 0 ? LOCK_EX : LOCK_SH) | LOCK_NB;
  while (::flock(fd.Get(), operation) != 0) {
    if (errno == EINTR) continue;
    SET_PLATFORM_ERROR(errno);  // EWOULDBLOCK when another holder has it
    return 0;
  }
  *handle = fd.Release();
  return 1;
}

int UnlockFile(int handle) {
  if (handle < 0) {
    SET_PLATFORM_ERROR(EBADF);
    return -1;
  }
  int result = 0;
  if (::flock(handle, LOCK_UN) != 0) {
    SET_PLATFORM_ERROR(errno);
    result = -1;
  }
  // Closing drops the lock anyway, so the descriptor goes even when the unlock failed.
  if (::close(handle) != 0 && result == 0) {
    SET_PLATFORM_ERROR(errno);
    result = -1;
  }
  return result;
}

}  // namespace vexo_platform
