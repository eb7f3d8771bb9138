// Key-value settings files: one `key="value"` per line. The C functions of the platform
// (and of the test fake) are thin wrappers over these.
#ifndef VEXO_PLATFORM_LINUX_KV_FILE_H_
#define VEXO_PLATFORM_LINUX_KV_FILE_H_

#include <cstddef>

#include "vexo_platform/vlib_types.h"

namespace vexo_platform {
namespace kv {

// See VLIBCFileGetKeyValue: length copied (> 0), 0 absent or empty, < 0 unreadable.
int Get(const char *path, const char *key, char *value, size_t size);
// See VLIBCFileSetKeyValue: >= 0 stored, < 0 refused or failed.
int Set(const char *path, const char *key, const char *value, const char *line_format);
// See VLIBCFileSetKeyValues: >= 0 all stored in one replacement, < 0 none.
int SetMany(const char *path, const char *const *keys, const char *const *values, size_t count,
            const char *line_format, int flags = 0);
// See VLIBCFileCheckKeyValue: 1 equal, 0 not, < 0 unreadable.
int Check(const char *path, const char *key, const char *value);
// See VLIBCFileGetKeys: count of keys pushed, < 0 on failure.
int Keys(const char *path, PVLIBSZLIST keys);

}  // namespace kv
}  // namespace vexo_platform

#endif  // VEXO_PLATFORM_LINUX_KV_FILE_H_
