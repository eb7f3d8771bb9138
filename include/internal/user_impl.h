// The account file behind vexozeph::User: generic typed access to its keys and one named
// getter and setter per key.
#ifndef VEXOZEPH_INTERNAL_USER_IMPL_H_
#define VEXOZEPH_INTERNAL_USER_IMPL_H_

#include <cstdint>
#include <string>

#include "internal/user_fields.h"

namespace vexozeph {

// The account file's path (root prefix applied).
std::string AccountFilePath();

class UserImpl {
 public:
  std::string Get(const std::string &key, const std::string &fallback) const;
  void Set(const std::string &key, const std::string &value) const;
  bool GetBool(const std::string &key, bool fallback) const;
  void SetBool(const std::string &key, bool value) const;
  int64_t GetNumber(const std::string &key, int64_t fallback) const;
  void SetNumber(const std::string &key, int64_t value) const;

  bool Exists() const;

#define VEXOZEPH_DECLARE_TEXT(Name, key, fallback) \
  std::string Get##Name() const;                   \
  void Set##Name(const std::string &value) const;
#define VEXOZEPH_DECLARE_BOOL(Name, key, fallback) \
  bool Get##Name() const;                          \
  void Set##Name(bool value) const;
#define VEXOZEPH_DECLARE_NUMBER(Name, key, fallback) \
  int64_t Get##Name() const;                         \
  void Set##Name(int64_t value) const;
  VEXOZEPH_USER_TEXT_FIELDS(VEXOZEPH_DECLARE_TEXT)
  VEXOZEPH_USER_BOOL_FIELDS(VEXOZEPH_DECLARE_BOOL)
  VEXOZEPH_USER_NUMBER_FIELDS(VEXOZEPH_DECLARE_NUMBER)
#undef VEXOZEPH_DECLARE_TEXT
#undef VEXOZEPH_DECLARE_BOOL
#undef VEXOZEPH_DECLARE_NUMBER
};

}  // namespace vexozeph

#endif  // VEXOZEPH_INTERNAL_USER_IMPL_H_
