// The platform's string hash, string list and string helpers. The C functions of the
// platform (and of the test fake) are thin wrappers over these.
#ifndef VEXO_PLATFORM_LINUX_SZ_CONTAINERS_H_
#define VEXO_PLATFORM_LINUX_SZ_CONTAINERS_H_

#include <cstddef>

#include "vexo_platform/vlib_types.h"

namespace vexo_platform {

PVLIBSZHASH HashAlloc(int size);
int HashSet(PVLIBSZHASH *hash, const char *key, const char *value);
const char *HashGet(PVLIBSZHASH hash, const char *key);
int HashEnumKeys(PVLIBSZHASH hash, PVLIBSZLIST keys);
void HashFree(PVLIBSZHASH hash);

PVLIBSZLIST ListAlloc(int capacity);
const char *ListGet(PVLIBSZLIST list, int index);
int ListSize(PVLIBSZLIST list);
int ListPush(PVLIBSZLIST list, const char *text);
void ListFree(PVLIBSZLIST list);

int StrCat(char **buffer, size_t *capacity, const char *text);
char *StrTrimSpace(char *text);

}  // namespace vexo_platform

#endif  // VEXO_PLATFORM_LINUX_SZ_CONTAINERS_H_
