// Whole files: reading them, and replacing them so that a reader sees either the old
// content or the new one, never a torn mixture, even if the writer is killed half-way.
#ifndef VEXOZEPH_BASE_ATOMIC_FILE_H_
#define VEXOZEPH_BASE_ATOMIC_FILE_H_

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "base/unique_fd.h"

namespace vexozeph {

// Writes `content` to a temporary file beside `path`, fsyncs it, gives it `mode`, renames
// it over `path` and fsyncs the directory. For writers that take no lock, also in
// directories others may write to: every call creates a temporary name of its own
// (".<name>.vztmp." and random characters, O_EXCL|O_NOFOLLOW, 0600) and holds a flock on
// it until the rename. A writer killed before its rename leaves its temporary unlocked,
// and the next writer of `path` removes it, so temporaries never pile up. False (errno
// set) on failure, with the temporary file removed.
bool WriteFileAtomically(const std::string &path, const std::string &content, mode_t mode = 0600);

// An exclusive flock on a directory, held for the life of the object. Every writer that
// uses ReplaceFile for a file in that directory takes it around its read-modify-write, so
// two processes changing different keys of one file never lose each other's update, and
// the single temporary name per file can be reused (a leftover from a killed writer is
// stale by definition and removed by the next writer).
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

// The temporary file a ReplaceFile writer of `path` uses: ".<name>.vztmp" beside it.
std::string TempNameFor(const std::string &path);

// How far a replacement has gone when the writer returns.
enum class Durability {
  // On disk: the new file and then its directory entry are flushed.
  kDurable,
  // Whole, but not yet necessarily on disk: the new file is flushed before the rename, so
  // that a power cut leaves the old content or the new one, never a torn or empty file;
  // the rename reaches the disk with the file system's next commit (seconds), and a power
  // cut before then brings the old content back. For copies of what a server holds, which
  // its next answer brings again: one flush to the disk instead of two.
  kAtomicOnly,
};

// Replaces the file at `path` with `content`, mode `mode`: the temporary file is created
// with O_EXCL|O_NOFOLLOW, written, fsynced and renamed over `path`; then, for a durable
// replacement, the directory is fsynced. `lock` must be held on the directory of `path`.
// False with errno set; the temporary file is removed on failure.
bool ReplaceFile(const DirectoryLock &lock, const std::string &path, const std::string &content,
                 mode_t mode = 0600, Durability durability = Durability::kDurable);

// True when `path` already is what ReplaceFile would leave there: a regular file (not a
// link) of this process's effective user and group, mode `mode`, holding exactly
// `content`. A writer that finds so skips the replacement and its two flushes to disk:
// files rewritten on every run with the same text (the cron jobs, a schedule the server
// sends again) then cost a read instead of a write.
bool FileHolds(const std::string &path, const std::string &content, mode_t mode);

// The whole content of `path` into `out`. False with errno set when it cannot be read, or
// (EFBIG) when it is larger than `max_size`.
bool ReadWholeFile(const std::string &path, std::string &out, size_t max_size = SIZE_MAX);
// The rest of the open file `fd` into `out`, for a caller that must open the file itself
// (to tell a missing file from an unreadable one with a single open). Same failures.
bool ReadAllFrom(int fd, std::string &out, size_t max_size = SIZE_MAX);

// Reads `path` only when it can be trusted in a directory that others may write to, such
// as /tmp: opened without following a link and without blocking (a planted FIFO), a
// regular file, owned by this process's effective user or by root, and writable by
// neither its group nor others. False with errno set: ELOOP for a link, EPERM for a file
// that fails the checks, EFBIG when it is larger than `max_size`.
bool ReadTrustedFile(const std::string &path, std::string &out, size_t max_size = SIZE_MAX);

// Writes all of `data` to `fd`, retrying after interruptions. False with errno set.
bool WriteAll(int fd, const std::string &data);

// The directory part of `path` ("." when it has none).
std::string DirectoryOf(const std::string &path);
// The last component of `path`.
std::string BaseNameOf(const std::string &path);

}  // namespace vexozeph

#endif  // VEXOZEPH_BASE_ATOMIC_FILE_H_
