#include "flock_lock.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "base/unique_fd.h"
#include "platform_error.h"

namespace vexo_platform {
using vexozeph::UniqueFd;

int TryLockFile(const char *path, int exclusive, int *handle) {
  if (path == nullptr || handle == nullptr) {
    SET_PLATFORM_ERROR(EINVAL);
    return 0;
  }
  // O_NOFOLLOW: lock files live in world-writable /tmp, where a planted symlink must not
  // make us create or open a file elsewhere.
  UniqueFd fd(::open(path, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, 0666));
  if (!fd.Valid()) {
    SET_PLATFORM_ERROR(errno);
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
