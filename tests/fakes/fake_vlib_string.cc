// The string hash, list and helpers: recorded, then done by the generic-Linux code.
#include <string>

#include "fake_state.h"
#include "sz_containers.h"
#include "vexo_platform/vlib_string.h"

using vexozeph::fake::internal::Enter;
using vexozeph::fake::internal::Text;

extern "C" {

PVLIBSZHASH VLIBCSzHashAlloc(int size) {
  if (Enter(__func__, {std::to_string(size)})) return nullptr;
  return vexo_platform::HashAlloc(size);
}

int VLIBCSzHashSetValue(PVLIBSZHASH *hash, const char *key, const char *value) {
  if (Enter(__func__, {Text(key), Text(value)})) return -1;
  return vexo_platform::HashSet(hash, key, value);
}

const char *VLIBCSzHashGetValue(PVLIBSZHASH hash, const char *key) {
  if (Enter(__func__, {Text(key)})) return nullptr;
  return vexo_platform::HashGet(hash, key);
}

int VLIBCSzHashEnumKey(PVLIBSZHASH hash, PVLIBSZLIST keys) {
  if (Enter(__func__, {})) return -1;
  return vexo_platform::HashEnumKeys(hash, keys);
}

void VLIBCSzHashFree(PVLIBSZHASH hash) {
  Enter(__func__, {});
  vexo_platform::HashFree(hash);
}

PVLIBSZLIST VLIBCSzListAlloc(int capacity) {
  if (Enter(__func__, {std::to_string(capacity)})) return nullptr;
  return vexo_platform::ListAlloc(capacity);
}

const char *VLIBCSzListGet(PVLIBSZLIST list, int index) {
  if (Enter(__func__, {std::to_string(index)})) return nullptr;
  return vexo_platform::ListGet(list, index);
}

int VLIBCSzListSize(PVLIBSZLIST list) {
  Enter(__func__, {});
  return vexo_platform::ListSize(list);
}

int VLIBCSzListPush(PVLIBSZLIST list, const char *text) {
  if (Enter(__func__, {Text(text)})) return -1;
  return vexo_platform::ListPush(list, text);
}

void VLIBCSzListFree(PVLIBSZLIST list) {
  Enter(__func__, {});
  vexo_platform::ListFree(list);
}

int VLIBCStrCat(char **buffer, size_t *capacity, const char *text) {
  if (Enter(__func__, {Text(text)})) return -1;
  return vexo_platform::StrCat(buffer, capacity, text);
}

char *VLIBCStrTrimSpace(char *text) {
  Enter(__func__, {Text(text)});
  return vexo_platform::StrTrimSpace(text);
}

}  // extern "C"
