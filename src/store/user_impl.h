// The account file behind vexozeph::User: generic typed access to its keys and one named
// getter and setter per key.
#ifndef VEXOZEPH_STORE_USER_IMPL_H_
#define VEXOZEPH_STORE_USER_IMPL_H_

#include <cstdint>
#include <string>

#include "store/account_file.h"
#include "store/user_fields.h"

namespace vexozeph {

// Keys of the account file to be stored together by UserImpl::SetMany, in order, with
// the values written exactly as the single setters write them.
class UserUpdate {
 public:
  using Entries = AccountValues;

  UserUpdate &Text(const std::string &key, const std::string &value);
  UserUpdate &Bool(const std::string &key, bool value);
  UserUpdate &Number(const std::string &key, int64_t value);

#define VEXOZEPH_UPDATE_TEXT(Name, key, fallback)   \
  UserUpdate &Set##Name(const std::string &value) { \
    return Text(key, value);                        \
  }
#define VEXOZEPH_UPDATE_BOOL(Name, key, fallback) \
  UserUpdate &Set##Name(bool value) {             \
    return Bool(key, value);                      \
  }
#define VEXOZEPH_UPDATE_NUMBER(Name, key, fallback) \
  UserUpdate &Set##Name(int64_t value) {            \
    return Number(key, value);                      \
  }
  VEXOZEPH_USER_TEXT_FIELDS(VEXOZEPH_UPDATE_TEXT)
  VEXOZEPH_USER_BOOL_FIELDS(VEXOZEPH_UPDATE_BOOL)
  VEXOZEPH_USER_NUMBER_FIELDS(VEXOZEPH_UPDATE_NUMBER)
#undef VEXOZEPH_UPDATE_TEXT
#undef VEXOZEPH_UPDATE_BOOL
#undef VEXOZEPH_UPDATE_NUMBER

  const Entries &entries() const {
    return entries_;
  }

 private:
  Entries entries_;
};

class UserImpl {
 public:
  std::string Get(const std::string &key, const std::string &fallback) const;
  void Set(const std::string &key, const std::string &value) const;
  // Stores every key of `update` or none: all values are checked first (a value that is
  // not storable throws code 19 before anything is written), then the file is replaced
  // once, inside one privilege section. Failures are reported as by Set.
  void SetMany(const UserUpdate &update) const;
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

#endif  // VEXOZEPH_STORE_USER_IMPL_H_
