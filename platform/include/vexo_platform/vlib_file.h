/* Key-value settings files (lines of key="value") and advisory file locks. */
#ifndef VEXO_PLATFORM_VLIB_FILE_H_
#define VEXO_PLATFORM_VLIB_FILE_H_

#include <stddef.h>

#include "vexo_platform/vlib_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Copies the unquoted value of `key` into `value` (cut to size-1). Returns its length
 * (> 0) when found, 0 when the key is absent or empty, < 0 when the file is unreadable or
 * an argument is bad. `flags` is reserved (0). */
int VLIBCFileGetKeyValue(const char *path, const char *key, char *value, size_t size, int flags);

/* Replaces the line of `key` or appends one, written with `line_format` (key, value;
 * normally "%s=\"%s\"\n"), creating the file when missing; the file is replaced
 * atomically. Returns >= 0 on success, < 0 on failure (including a value holding a
 * newline, carriage return, or a result larger than the reader accepts). */
int VLIBCFileSetKeyValue(const char *path, const char *key, const char *value,
                         const char *line_format);

/* VLIBCFileSetKeyValues flag: the values are a copy of what a server holds, which its next
 * answer brings again. The file is still replaced whole (a power cut leaves the old values
 * or the new ones), but the replacement need not be on disk when the call returns, so a
 * port may spare a flush: a power cut soon after may bring the old values back. */
#define VLIB_FILE_NOT_DURABLE 0x1

/* Stores `count` (>= 1) keys at once: the file ends as if VLIBCFileSetKeyValue had been
 * called for keys[i], values[i] in order, but it is replaced once, so a reader sees all of
 * the new values or none. Every key and value is checked before anything is written; one
 * that would be refused alone refuses the whole call, as does a result larger than the
 * reader accepts. `flags`: 0 (on disk when the call returns, as VLIBCFileSetKeyValue) or
 * VLIB_FILE_NOT_DURABLE. Returns >= 0 on success, < 0 on failure with the file unchanged. */
int VLIBCFileSetKeyValues(const char *path, const char *const *keys, const char *const *values,
                          size_t count, const char *line_format, int flags);

/* 1 when `key` holds exactly `value`, 0 when not (or absent), < 0 when the file is
 * unreadable. `flags` is reserved (0). */
int VLIBCFileCheckKeyValue(const char *path, const char *key, const char *value, int flags);

/* Fills `keys` (allocated by VLIBCSzListAlloc) with the file's keys in file order.
 * Returns the count (>= 0) or < 0 on failure. */
int VLIBCFileGetKeys(const char *path, PVLIBSZLIST keys);

/* Tries once, without blocking, to lock `path` (exclusive when `exclusive` is non-zero,
 * shared otherwise). Non-zero when the lock is held (and *handle set), 0 when busy or on
 * failure. */
int VLIBCFileLockByFile(const char *path, int exclusive, int *handle);

/* Releases a lock taken by VLIBCFileLockByFile. 0 on success, < 0 on failure. */
int VLIBCFileUnlockByFile(int handle);

#ifdef __cplusplus
}
#endif
#endif /* VEXO_PLATFORM_VLIB_FILE_H_ */
