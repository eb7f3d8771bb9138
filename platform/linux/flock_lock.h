// Advisory whole-file locks between processes (flock), tried once without blocking.
#ifndef VEXO_PLATFORM_LINUX_FLOCK_LOCK_H_
#define VEXO_PLATFORM_LINUX_FLOCK_LOCK_H_

namespace vexo_platform {

// See VLIBCFileLockByFile: non-zero and *handle set when held, 0 when busy or failed.
int TryLockFile(const char *path, int exclusive, int *handle);
// See VLIBCFileUnlockByFile: 0 released, < 0 on failure.
int UnlockFile(int handle);

}  // namespace vexo_platform

#endif  // VEXO_PLATFORM_LINUX_FLOCK_LOCK_H_
