#include "vexozeph/user.h"

#include <cinttypes>
#include <cstdio>

#include "store/account_file.h"
#include "store/user_impl.h"

namespace vexozeph {

namespace {
// Numbers are formatted through a buffer as large as the file's read buffer.
const size_t kNumberBufferSize = 2048;
}  // namespace

// A getter reads the file for its one value by the very rules of an operation that takes
// all values in one read.
std::string UserImpl::Get(const std::string &key, const std::string &fallback) const {
  return std::string(AccountSnapshot::Read().Text(key, fallback));
}

UserUpdate &UserUpdate::Text(const std::string &key, const std::string &value) {
  entries_.emplace_back(key, value);
  return *this;
}

UserUpdate &UserUpdate::Bool(const std::string &key, bool value) {
  return Text(key, value ? "yes" : "no");
}

UserUpdate &UserUpdate::Number(const std::string &key, int64_t value) {
  char text[kNumberBufferSize];
  std::snprintf(text, sizeof(text), "%lld", static_cast<long long>(value));
  return Text(key, text);
}

void UserImpl::Set(const std::string &key, const std::string &value) const {
  SetMany(UserUpdate().Text(key, value));
}

void UserImpl::SetMany(const UserUpdate &update) const {
  WriteAccountValues(update.entries());
}

bool UserImpl::GetBool(const std::string &key, bool fallback) const {
  return AccountSnapshot::Read().Bool(key, fallback);
}

void UserImpl::SetBool(const std::string &key, bool value) const {
  SetMany(UserUpdate().Bool(key, value));
}

int64_t UserImpl::GetNumber(const std::string &key, int64_t fallback) const {
  return AccountSnapshot::Read().Number(key, fallback);
}

void UserImpl::SetNumber(const std::string &key, int64_t value) const {
  SetMany(UserUpdate().Number(key, value));
}

bool UserImpl::Exists() const {
  return !GetEmail().empty();
}

#define VEXOZEPH_DEFINE_TEXT(Name, key, fallback)            \
  std::string UserImpl::Get##Name() const {                  \
    return Get(key, fallback);                               \
  }                                                          \
  void UserImpl::Set##Name(const std::string &value) const { \
    Set(key, value);                                         \
  }                                                          \
  std::string User::Get##Name() const {                      \
    return impl_->Get##Name();                               \
  }                                                          \
  void User::Set##Name(const std::string &value) const {     \
    impl_->Set##Name(value);                                 \
  }
#define VEXOZEPH_DEFINE_BOOL(Name, key, fallback) \
  bool UserImpl::Get##Name() const {              \
    return GetBool(key, fallback);                \
  }                                               \
  void UserImpl::Set##Name(bool value) const {    \
    SetBool(key, value);                          \
  }                                               \
  bool User::Get##Name() const {                  \
    return impl_->Get##Name();                    \
  }                                               \
  void User::Set##Name(bool value) const {        \
    impl_->Set##Name(value);                      \
  }
#define VEXOZEPH_DEFINE_NUMBER(Name, key, fallback) \
  int64_t UserImpl::Get##Name() const {             \
    return GetNumber(key, fallback);                \
  }                                                 \
  void UserImpl::Set##Name(int64_t value) const {   \
    SetNumber(key, value);                          \
  }                                                 \
  int64_t User::Get##Name() const {                 \
    return impl_->Get##Name();                      \
  }                                                 \
  void User::Set##Name(int64_t value) const {       \
    impl_->Set##Name(value);                        \
  }
VEXOZEPH_USER_TEXT_FIELDS(VEXOZEPH_DEFINE_TEXT)
VEXOZEPH_USER_BOOL_FIELDS(VEXOZEPH_DEFINE_BOOL)
VEXOZEPH_USER_NUMBER_FIELDS(VEXOZEPH_DEFINE_NUMBER)
#undef VEXOZEPH_DEFINE_TEXT
#undef VEXOZEPH_DEFINE_BOOL
#undef VEXOZEPH_DEFINE_NUMBER

User::User() : impl_(new UserImpl()) {}
User::~User() = default;

bool User::Exists() const {
  return impl_->Exists();
}

}  // namespace vexozeph
