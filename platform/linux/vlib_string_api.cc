// The base library's string hash, string list and string helpers.
#include "vexo_platform/vlib_string.h"

#include "sz_containers.h"

extern "C" {

PVLIBSZHASH VLIBCSzHashAlloc(int size) {
  return vexo_platform::HashAlloc(size);
}

int VLIBCSzHashSetValue(PVLIBSZHASH *hash, const char *key, const char *value) {
  return vexo_platform::HashSet(hash, key, value);
}

const char *VLIBCSzHashGetValue(PVLIBSZHASH hash, const char *key) {
  return vexo_platform::HashGet(hash, key);
}

int VLIBCSzHashEnumKey(PVLIBSZHASH hash, PVLIBSZLIST keys) {
  return vexo_platform::HashEnumKeys(hash, keys);
}

void VLIBCSzHashFree(PVLIBSZHASH hash) {
  vexo_platform::HashFree(hash);
}

PVLIBSZLIST VLIBCSzListAlloc(int capacity) {
  return vexo_platform::ListAlloc(capacity);
}

const char *VLIBCSzListGet(PVLIBSZLIST list, int index) {
  return vexo_platform::ListGet(list, index);
}

int VLIBCSzListSize(PVLIBSZLIST list) {
  return vexo_platform::ListSize(list);
}

int VLIBCSzListPush(PVLIBSZLIST list, const char *text) {
  return vexo_platform::ListPush(list, text);
}

void VLIBCSzListFree(PVLIBSZLIST list) {
  vexo_platform::ListFree(list);
}

int VLIBCStrCat(char **buffer, size_t *capacity, const char *text) {
  return vexo_platform::StrCat(buffer, capacity, text);
}

char *VLIBCStrTrimSpace(char *text) {
  return vexo_platform::StrTrimSpace(text);
}

}  // extern "C"
