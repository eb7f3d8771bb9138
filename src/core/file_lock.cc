#include "vexozeph/file_lock.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <random>

#include "base/log.h"
#include "base/root_path.h"
#include "vexo_platform/vlib_file.h"

namespace vexozeph {

namespace {

const unsigned int kMinPauseMicros = 50000;
const unsigned int kMaxPauseMicros = 100000;

const int kOpenFlags = O_RDWR | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC;
const mode_t kLockFileMode = 0666;
// A file removed between the failed create and the open is created again, a few times.
const int kPrepareAttempts = 3;

// Opens the lock file, creating it if needed. The file nearly always exists already, so
// it is opened as it is first and created only when missing. A file created here is given
// its mode with fchmod, readable and writable by every user so that a process of any user
// can later lock the same name; the process umask is never changed, since other threads
// create their own files under it meanwhile. An existing file keeps its owner and mode.
int OpenLockFile(const std::string &path) {
  for (int attempt = 0; attempt < kPrepareAttempts; ++attempt) {
    // A planted link fails here (O_NOFOLLOW) with ELOOP and is never followed.
    int fd = ::open(path.c_str(), kOpenFlags);
    if (fd >= 0 || errno != ENOENT) return fd;
    fd = ::open(path.c_str(), kOpenFlags | O_CREAT | O_EXCL, kLockFileMode);
    if (fd >= 0) {
      if (::fchmod(fd, kLockFileMode) == 0) return fd;
      ::close(fd);
      return -1;
    }
    // Another process created it in between: open that one.
    if (errno != EEXIST) return -1;
  }
  return -1;
}

enum class Prepared { kReady, kNotRegular, kOpenFailed, kCloseFailed };

// Makes sure a lock file exists at `path`. A directory, FIFO, socket, device or link found
// there cannot serve (a link is never followed) and is reported as such.
Prepared PrepareLockFile(const std::string &path) {
  int fd = OpenLockFile(path);
  struct stat info;
  if (fd < 0) {
    return ::lstat(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode) ? Prepared::kNotRegular
                                                                       : Prepared::kOpenFailed;
  }
  const bool regular = ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode);
  if (::close(fd) != 0) {
    ZLOG("Failed to close file: %s", path.c_str());
    return Prepared::kCloseFailed;
  }
  return regular ? Prepared::kReady : Prepared::kNotRegular;
}

// Root's way past an entry another user planted at a lock path to keep root's sign-in
// out: the entry goes, and a lock file takes its place. An empty directory is removed; a
// full one is set aside under a name nobody can guess, since removing another user's tree
// as root is itself a hazard. Nothing is followed or opened.
bool ClearPlantedEntry(const std::string &path) {
  struct stat info;
  if (::lstat(path.c_str(), &info) != 0 || S_ISREG(info.st_mode)) return false;
  if (!S_ISDIR(info.st_mode)) {
    if (::unlink(path.c_str()) != 0) return false;
    ZLOG("Removed an entry that is no lock file (mode %o, owner %u) at %s",
         static_cast<unsigned>(info.st_mode), static_cast<unsigned>(info.st_uid), path.c_str());
    return true;
  }
  if (::rmdir(path.c_str()) == 0) {
    ZLOG("Removed a directory (owner %u) at %s", static_cast<unsigned>(info.st_uid), path.c_str());
    return true;
  }
  uint64_t random = 0;
  if (::getrandom(&random, sizeof(random), GRND_NONBLOCK) != static_cast<ssize_t>(sizeof(random))) {
    return false;
  }
  const std::string aside = path + ".planted-" + std::to_string(random);
  if (::rename(path.c_str(), aside.c_str()) != 0) return false;
  ZLOG("Set aside a directory (owner %u) found at %s as %s", static_cast<unsigned>(info.st_uid),
       path.c_str(), aside.c_str());
  return true;
}

// Prepares the lock file; a process running as root clears an entry that is no lock file
// and tries once more. Any other process keeps out: it may not remove what it finds.
bool PrepareOrClear(const std::string &path) {
  Prepared prepared = PrepareLockFile(path);
  if (prepared == Prepared::kNotRegular && ::geteuid() == 0 && ClearPlantedEntry(path)) {
    prepared = PrepareLockFile(path);
  }
  if (prepared == Prepared::kReady) return true;
  if (prepared != Prepared::kCloseFailed) ZLOG("Failed to open file: %s", path.c_str());
  return false;
}

// The quick look that serves nearly every lock: a regular file already stands at the
// path, so there is nothing to create or clear and the platform's own open follows. It
// saves the preparing open and close, which would otherwise double the cost of an
// uncontended lock. Anything else, or a lock the platform then cannot take, goes through
// the full preparation.
bool LockFileStands(const std::string &path) {
  struct stat info;
  return ::lstat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

// The starting value of a waiter's pause generator, from the kernel's random source. It
// is drawn only once the lock is found busy, so an uncontended lock costs no more than
// its opens. Each call draws afresh: forked processes never share a sequence.
uint32_t RandomStartingValue() {
  uint32_t value = 0;
  if (::getrandom(&value, sizeof(value), GRND_NONBLOCK) == static_cast<ssize_t>(sizeof(value))) {
    return value;
  }
  // Entropy not yet available at early boot: the time and the process still differ
  // between waiters.
  const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
  return static_cast<uint32_t>(now) ^ (static_cast<uint32_t>(::getpid()) << 16);
}

}  // namespace

FileLock::FileLock(const std::string &path, int kind)
    : path_(RootedPath(path)), kind_(kind), handle_(-1) {}

FileLock::~FileLock() {
  Unlock();
}

bool FileLock::Lock(unsigned int timeout_seconds) {
  bool prepared = !LockFileStands(path_);
  if (prepared && !PrepareOrClear(path_)) return false;
  Unlock();

  using Clock = std::chrono::system_clock;
  const Clock::time_point deadline = Clock::now() + std::chrono::seconds(timeout_seconds);

  // Waiting processes draw their pauses independently so they do not retry in step. The
  // minimal-standard generator maps a starting value of 0 (mod 2^31-1) to 1 itself.
  std::minstd_rand0 generator;
  bool generator_ready = false;
  std::uniform_int_distribution<unsigned int> pause(kMinPauseMicros, kMaxPauseMicros);

  while (Clock::now() < deadline) {
    if (VLIBCFileLockByFile(path_.c_str(), kind_ == 0 ? 1 : 0, &handle_) != 0) return true;
    handle_ = -1;
    // Busy, or the file the quick look saw cannot be opened by us or was swapped for
    // another entry since: the full preparation tells these apart, failing now with its
    // log line (or clearing a planted entry as root) rather than after the whole wait.
    if (!prepared) {
      prepared = true;
      if (!PrepareOrClear(path_)) return false;
    }
    if (!generator_ready) {
      generator = std::minstd_rand0(RandomStartingValue());
      generator_ready = true;
    }
    ::usleep(pause(generator));
  }
  return false;
}

void FileLock::Unlock() {
  if (handle_ != -1) VLIBCFileUnlockByFile(handle_);
  handle_ = -1;
}

std::string FileLock::GetPath() const {
  return path_;
}

}  // namespace vexozeph
