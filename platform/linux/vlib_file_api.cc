// The base library's file functions: key-value settings files and file locks.
#include "vexo_platform/vlib_file.h"

#include "flock_lock.h"
#include "kv_file.h"

extern "C" {

int VLIBCFileGetKeyValue(const char *path, const char *key, char *value, size_t size, int) {
  return vexo_platform::kv::Get(path, key, value, size);
}

int VLIBCFileSetKeyValue(const char *path, const char *key, const char *value,
                         const char *line_format) {
  return vexo_platform::kv::Set(path, key, value, line_format);
}

int VLIBCFileSetKeyValues(const char *path, const char *const *keys, const char *const *values,
                          size_t count, const char *line_format, int flags) {
  return vexo_platform::kv::SetMany(path, keys, values, count, line_format, flags);
}

int VLIBCFileCheckKeyValue(const char *path, const char *key, const char *value, int) {
  return vexo_platform::kv::Check(path, key, value);
}

int VLIBCFileGetKeys(const char *path, PVLIBSZLIST keys) {
  return vexo_platform::kv::Keys(path, keys);
}

int VLIBCFileLockByFile(const char *path, int exclusive, int *handle) {
  return vexo_platform::TryLockFile(path, exclusive, handle);
}

int VLIBCFileUnlockByFile(int handle) {
  return vexo_platform::UnlockFile(handle);
}

}  // extern "C"
