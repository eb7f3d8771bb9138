#include "transport/form_hash.h"

#include "vexo_platform/vlib_string.h"

namespace vexozeph {

FormHash::FormHash() : hash_(VLIBCSzHashAlloc(kAccountHashSize)) {}

FormHash::~FormHash() {
  VLIBCSzHashFree(hash_);
}

bool FormHash::Set(const char *key, const std::string &value) {
  return hash_ != nullptr && VLIBCSzHashSetValue(&hash_, key, value.c_str()) >= 0;
}

}  // namespace vexozeph
