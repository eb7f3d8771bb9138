/* String hash, string list and string helpers. */
#ifndef VEXO_PLATFORM_VLIB_STRING_H_
#define VEXO_PLATFORM_VLIB_STRING_H_

#include <stddef.h>

#include "vexo_platform/vlib_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A new empty hash sized for about `size` entries (it grows). Null on failure. */
PVLIBSZHASH VLIBCSzHashAlloc(int size);
/* Sets `key` to a copy of `value`; a replaced key keeps its place in the enumeration
 * order. The hash may move: *hash is updated. 0 on success, < 0 on failure. */
int VLIBCSzHashSetValue(PVLIBSZHASH *hash, const char *key, const char *value);
/* The value of `key` (owned by the hash), or null when missing. */
const char *VLIBCSzHashGetValue(PVLIBSZHASH hash, const char *key);
/* Appends the hash's keys to `keys` in insertion order. Returns the count of keys of the
 * hash (>= 0) or < 0 on failure (null hash or list, list full). */
int VLIBCSzHashEnumKey(PVLIBSZHASH hash, PVLIBSZLIST keys);
/* Frees the hash; null is ignored. */
void VLIBCSzHashFree(PVLIBSZHASH hash);

/* A new empty list that holds up to `capacity` strings. Null on failure. */
PVLIBSZLIST VLIBCSzListAlloc(int capacity);
/* The string at `index` (owned by the list), or null when out of range. */
const char *VLIBCSzListGet(PVLIBSZLIST list, int index);
/* The number of strings in the list; 0 for null. */
int VLIBCSzListSize(PVLIBSZLIST list);
/* Appends a copy of `text`. 0 on success, < 0 when full or on failure. */
int VLIBCSzListPush(PVLIBSZLIST list, const char *text);
/* Frees the list; null is ignored. */
void VLIBCSzListFree(PVLIBSZLIST list);

/* Appends `text` to the heap buffer *buffer of *capacity bytes (NUL-terminated), growing
 * it with realloc as needed. 0 on success, < 0 on failure (buffer left as it was). */
int VLIBCStrCat(char **buffer, size_t *capacity, const char *text);
/* Removes leading and trailing white space in place and returns `text` (null for null). */
char *VLIBCStrTrimSpace(char *text);

#ifdef __cplusplus
}
#endif
#endif /* VEXO_PLATFORM_VLIB_STRING_H_ */
