// FileLock: a named lock between processes, taken with a deadline.
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
