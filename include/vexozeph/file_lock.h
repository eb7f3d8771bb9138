// FileLock: a named lock between processes, taken with a deadline.
//
// The lock is an flock(2) on its own open of the file, so two FileLock objects exclude
// each other even inside one process (one object is not for sharing between threads).
// The file is opened close-on-exec, so a program the holder starts never keeps the lock,
// and without following links: a symbolic link planted at the path is refused, never
// locked or written through. A missing file is created at mode 0666 (whatever the umask)
// so that processes of other users can take the same lock; an existing one is used as it
// stands. The kernel drops the lock when its holder dies, even by SIGKILL.
#ifndef VEXOZEPH_FILE_LOCK_H_
#define VEXOZEPH_FILE_LOCK_H_

#include <string>

#include "vexozeph/export.h"

namespace vexozeph {

class VEXOZEPH_API FileLock {
 public:
  // `path` is the lock file, normally "/tmp/account_<name>.lock"; nothing is opened yet.
  // Every caller in the library uses kind 0 (an exclusive lock).
  explicit FileLock(const std::string &path, int kind = 0);
  // Releases the lock if held. Never throws.
  virtual ~FileLock();
  FileLock(const FileLock &) = delete;
  FileLock &operator=(const FileLock &) = delete;

  // True once the lock is held; false when it could not be taken before `timeout_seconds`
  // passed or the file could not be prepared. The deadline is checked before the first
  // attempt, so Lock(0) never takes the lock. Re-locking releases first.
  bool Lock(unsigned int timeout_seconds);
  // Releases the lock if held; safe to call at any time.
  void Unlock();
  std::string GetPath() const;

 private:
  std::string path_;
  int kind_;
  int handle_;
};

}  // namespace vexozeph

#endif  // VEXOZEPH_FILE_LOCK_H_
