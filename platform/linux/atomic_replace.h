// Whole-file replacement for the platform's settings and key files: a reader sees the old
// content or the new one, never a torn mixture, even when the writer is killed mid-way.
#ifndef VEXO_PLATFORM_LINUX_ATOMIC_REPLACE_H_
#define VEXO_PLATFORM_LINUX_ATOMIC_REPLACE_H_

#include <sys/types.h>

#include <string>

#include "unique_fd.h"

namespace vexo_platform {

// An exclusive flock on a directory, held for the life of the object. Every platform
// writer of a file in that directory takes it around its read-modify-write, so two
// processes changing different keys of one file never lose each other's update, and the
// single temporary name per file can be reused (a leftover from a killed writer is stale
// by definition and removed by the next writer).
class DirectoryLock {
 public:
  // Opens `dir` and waits (up to 30 seconds) for the lock. Check Held().
  explicit DirectoryLock(const std::string &dir);
  DirectoryLock(const DirectoryLock &) = delete;
  DirectoryLock &operator=(const DirectoryLock &) = delete;

  // True when the lock is held; otherwise errno tells why.
  bool Held() const { return held_; }
  int DirFd() const { return dir_.Get(); }

 private:
  UniqueFd dir_;
  bool held_ = false;
};

// The directory part of `path` ("." when it has none).
std::string DirectoryOf(const std::string &path);
// The last component of `path`.
std::string BaseNameOf(const std::string &path);

// The temporary file a writer of `path` uses: ".<name>.vztmp" in the same directory.
std::string TempNameFor(const std::string &path);

// Replaces the file at `path` with `content`, mode `mode`: the temporary file is created
// with O_EXCL|O_NOFOLLOW, written, fsynced and renamed over `path`; then the directory is
// fsynced. `lock` must be held on the directory of `path`. False with errno set; the
// temporary file is removed on failure.
bool ReplaceFile(const DirectoryLock &lock, const std::string &path, const std::string &content,
                 mode_t mode = 0600);

}  // namespace vexo_platform

#endif  // VEXO_PLATFORM_LINUX_ATOMIC_REPLACE_H_
