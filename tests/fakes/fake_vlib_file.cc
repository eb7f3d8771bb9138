// Key-value files and file locks: recorded, then done for real by the generic-Linux code.
#include <string>
#include <utility>
#include <vector>

#include "fake_state.h"
#include "flock_lock.h"
#include "kv_file.h"
#include "vexo_platform/vlib_file.h"

using vexozeph::fake::internal::Enter;
using vexozeph::fake::internal::Text;

extern "C" {

int VLIBCFileGetKeyValue(const char *path, const char *key, char *value, size_t size, int flags) {
  if (Enter(__func__, {Text(path), Text(key), std::to_string(size), std::to_string(flags)})) {
    return -1;
  }
  return vexo_platform::kv::Get(path, key, value, size);
}

int VLIBCFileSetKeyValue(const char *path, const char *key, const char *value,
                         const char *line_format) {
  if (Enter(__func__, {Text(path), Text(key), Text(value), Text(line_format)})) return -1;
  return vexo_platform::kv::Set(path, key, value, line_format);
}

// Recorded as the path, the count, one "key=value" per pair, the line format and the flags.
int VLIBCFileSetKeyValues(const char *path, const char *const *keys, const char *const *values,
                          size_t count, const char *line_format, int flags) {
  std::vector<std::string> args = {Text(path), std::to_string(count)};
  for (size_t i = 0; keys != nullptr && values != nullptr && i < count; ++i) {
    args.push_back(Text(keys[i]) + "=" + Text(values[i]));
  }
  args.push_back(Text(line_format));
  args.push_back(std::to_string(flags));
  if (Enter(__func__, std::move(args))) return -1;
  return vexo_platform::kv::SetMany(path, keys, values, count, line_format, flags);
}

int VLIBCFileCheckKeyValue(const char *path, const char *key, const char *value, int flags) {
  if (Enter(__func__, {Text(path), Text(key), Text(value), std::to_string(flags)})) return -1;
  return vexo_platform::kv::Check(path, key, value);
}

int VLIBCFileGetKeys(const char *path, PVLIBSZLIST keys) {
  if (Enter(__func__, {Text(path)})) return -1;
  return vexo_platform::kv::Keys(path, keys);
}

int VLIBCFileLockByFile(const char *path, int exclusive, int *handle) {
  if (Enter(__func__, {Text(path), std::to_string(exclusive)})) return 0;
  return vexo_platform::TryLockFile(path, exclusive, handle);
}

int VLIBCFileUnlockByFile(int handle) {
  if (Enter(__func__, {std::to_string(handle)})) return -1;
  return vexo_platform::UnlockFile(handle);
}

}  // extern "C"
