#include "base/atomic_file.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cctype>
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

constexpr char kTemporaryMark[] = ".vztmp.";
constexpr size_t kTemporaryRandomChars = 8;
constexpr int kCreateAttempts = 8;

// The temporary name prefix WriteFileAtomically uses for `base`: hidden, and marked so
// that no other file is ever taken for one.
std::string TemporaryPrefixOf(const std::string &base) {
  return "." + base + kTemporaryMark;
}

bool IsTemporaryOf(const std::string &name, const std::string &prefix) {
  if (name.size() != prefix.size() + kTemporaryRandomChars ||
      name.compare(0, prefix.size(), prefix) != 0) {
    return false;
  }
  for (size_t i = prefix.size(); i < name.size(); ++i) {
    if (!std::isalnum(static_cast<unsigned char>(name[i]))) return false;
  }
  return true;
}

bool RandomSuffix(std::string &suffix) {
  static const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
  unsigned char bytes[kTemporaryRandomChars];
  if (::getrandom(bytes, sizeof(bytes), 0) != static_cast<ssize_t>(sizeof(bytes))) return false;
  suffix.clear();
  for (unsigned char byte : bytes) suffix += kAlphabet[byte % (sizeof(kAlphabet) - 1)];
  return true;
}

// True while `name` in `dir` still names the open file `fd`.
bool StillNamed(int dir, const std::string &name, int fd) {
  struct stat by_name;
  struct stat by_fd;
  return ::fstatat(dir, name.c_str(), &by_name, AT_SYMLINK_NOFOLLOW) == 0 &&
         ::fstat(fd, &by_fd) == 0 && by_name.st_dev == by_fd.st_dev &&
         by_name.st_ino == by_fd.st_ino;
}

// Removes the temporaries of `prefix` in `dir` that writers killed before their rename
// left behind. A living writer holds a flock on its temporary from creation to rename, so
// one that can be locked is abandoned. Only regular files of this user are touched, opened
// without following links or blocking.
void RemoveAbandonedTemporaries(int dir, const std::string &prefix) {
  std::vector<std::string> names;
  // The listing gets a descriptor of its own: closedir closes it.
  DIR *listing = ::fdopendir(::openat(dir, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (listing == nullptr) return;
  while (const struct dirent *entry = ::readdir(listing)) {
    if (IsTemporaryOf(entry->d_name, prefix)) names.push_back(entry->d_name);
  }
  ::closedir(listing);
  for (const std::string &name : names) {
    UniqueFd fd(::openat(dir, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat info;
    if (!fd.Valid() || ::fstat(fd.Get(), &info) != 0 || !S_ISREG(info.st_mode) ||
        info.st_uid != ::geteuid() || ::flock(fd.Get(), LOCK_EX | LOCK_NB) != 0) {
      continue;
    }
    if (StillNamed(dir, name, fd.Get())) ::unlinkat(dir, name.c_str(), 0);
  }
}

// Creates a new temporary of `prefix` in `dir` and locks it: O_EXCL|O_NOFOLLOW, 0600.
// Between creation and lock another writer may take it for abandoned and remove it; a
// name that no longer leads to the locked file is given up for a new one.
UniqueFd CreateLockedTemporary(int dir, const std::string &prefix, std::string &name) {
  for (int attempt = 0; attempt < kCreateAttempts; ++attempt) {
    std::string suffix;
    if (!RandomSuffix(suffix)) return UniqueFd();
    name = prefix + suffix;
    UniqueFd fd(
        ::openat(dir, name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!fd.Valid()) {
      if (errno == EEXIST) continue;
      return fd;
    }
    // A file system without flock leaves temporaries to no one: nothing is removed there.
    while (::flock(fd.Get(), LOCK_EX) != 0 && errno == EINTR) {
    }
    if (StillNamed(dir, name, fd.Get())) return fd;
  }
  errno = EAGAIN;
  return UniqueFd();
}

}  // namespace

bool WriteFileAtomically(const std::string &path, const std::string &content, mode_t mode) {
  const std::string base = BaseNameOf(path);
  if (base.empty() || base == "." || base == "..") {
    errno = EINVAL;
    return false;
  }
  UniqueFd dir(::open(DirectoryOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!dir.Valid()) return false;
  const std::string prefix = TemporaryPrefixOf(base);
  RemoveAbandonedTemporaries(dir.Get(), prefix);
  std::string temp;
  UniqueFd fd = CreateLockedTemporary(dir.Get(), prefix, temp);
  if (!fd.Valid()) return false;
  // The flock belongs to the open file, not to one descriptor: this copy keeps it through
  // the rename, after the writing descriptor has been closed.
  UniqueFd lock_holder(::fcntl(fd.Get(), F_DUPFD_CLOEXEC, 0));
  if (!lock_holder.Valid()) {
    int saved = errno;
    ::unlinkat(dir.Get(), temp.c_str(), 0);
    errno = saved;
    return false;
  }
  if (!CommitTemporary(dir.Get(), std::move(fd), temp, base, content, mode)) return false;
  // The rename is durable only once the directory entry is on disk.
  ::fsync(dir.Get());
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
                 mode_t mode, Durability durability) {
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
  if (durability == Durability::kDurable) ::fsync(dir);
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
