// A platform string hash (VLIBCSzHash) owned by one object and freed on every path: the
// fields of a form request, the variables of a notification, a zone's properties.
#ifndef VEXOZEPH_TRANSPORT_FORM_HASH_H_
#define VEXOZEPH_TRANSPORT_FORM_HASH_H_

#include <string>

#include "vexo_platform/vlib_types.h"

namespace vexozeph {

// The size the account operations allocate their hashes with.
const int kAccountHashSize = 1024;

class FormHash {
 public:
  FormHash();
  ~FormHash();
  FormHash(const FormHash &) = delete;
  FormHash &operator=(const FormHash &) = delete;

  bool ok() const { return hash_ != nullptr; }
  // Sets `key`; false when the hash refuses it.
  bool Set(const char *key, const std::string &value);
  PVLIBSZHASH get() const { return hash_; }
  PVLIBSZHASH *address() { return &hash_; }

 private:
  PVLIBSZHASH hash_;
};

}  // namespace vexozeph

#endif  // VEXOZEPH_TRANSPORT_FORM_HASH_H_
