#include "vexozeph/user.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <vector>

#include "internal/log.h"
#include "internal/privilege_section.h"
#include "internal/root_path.h"
#include "internal/string_utils.h"
#include "internal/user_impl.h"
#include "vexo_platform/vlib_file.h"
#include "vexozeph/error_codes.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {

namespace {

// The account file's log lines name two fixed places, one for reads and one for writes,
// so that operators can grep one pattern whatever the release.
const char kModule[] = "user";
const int kReadLine = 340;
const int kWriteLine = 379;

const size_t kValueBufferSize = 2048;
const char kLineFormat[] = "%s=\"%s\"\n";

void EnterOrThrow(PrivilegeSection &section) {
  if (!section.Enter()) throw ZephException(VEXOZEPH_ERR_SYSTEM);
}

// Any stored value may be a credential (the auth key above all): only its start is logged.
void LogFailedWrite(const std::string &key, const std::string &value) {
  log::Write(LOG_ERR, "%s:%d Failed to set zeph config for %s:%s", kModule, kWriteLine, key.c_str(),
             ShortenSecret(value).c_str());
}

}  // namespace

std::string AccountFilePath() {
  return RootedPath("/usr/vexo/etc/vexona-account/private/user.conf");
}

std::string UserImpl::Get(const std::string &key, const std::string &fallback) const {
  PrivilegeSection section(kModule, kReadLine);
  EnterOrThrow(section);
  char value[kValueBufferSize] = {0};
  int found = VLIBCFileGetKeyValue(AccountFilePath().c_str(), key.c_str(), value, sizeof(value), 0);
  section.Leave();
  return found > 0 ? std::string(value) : fallback;
}

bool IsStorableUserValue(const std::string &value) {
  return value.size() <= kMaxUserValueLength &&
         value.find_first_of(std::string("\r\n\0", 3)) == std::string::npos;
}

UserUpdate &UserUpdate::Text(const std::string &key, const std::string &value) {
  entries_.emplace_back(key, value);
  return *this;
}

UserUpdate &UserUpdate::Bool(const std::string &key, bool value) {
  return Text(key, value ? "yes" : "no");
}

UserUpdate &UserUpdate::Number(const std::string &key, int64_t value) {
  char text[kValueBufferSize];
  std::snprintf(text, sizeof(text), "%lld", static_cast<long long>(value));
  return Text(key, text);
}

void UserImpl::Set(const std::string &key, const std::string &value) const {
  SetMany(UserUpdate().Text(key, value));
}

void UserImpl::SetMany(const UserUpdate &update) const {
  const UserUpdate::Entries &entries = update.entries();
  if (entries.empty()) return;
  // A value the file cannot give back whole refuses the whole update before the file is
  // touched: half a profile, or an identity mixed from two accounts, must never stand.
  for (const auto &entry : entries) {
    if (!IsStorableUserValue(entry.second)) {
      LogFailedWrite(entry.first, entry.second);
      throw ZephException(VEXOZEPH_ERR_ACCOUNT_WRITE);
    }
  }
  std::vector<const char *> keys;
  std::vector<const char *> values;
  for (const auto &entry : entries) {
    keys.push_back(entry.first.c_str());
    values.push_back(entry.second.c_str());
  }

  const std::string path = AccountFilePath();
  PrivilegeSection section(kModule, kWriteLine);
  EnterOrThrow(section);
  const int written = entries.size() == 1
                          ? VLIBCFileSetKeyValue(path.c_str(), keys[0], values[0], kLineFormat)
                          : VLIBCFileSetKeyValues(path.c_str(), keys.data(), values.data(),
                                                  keys.size(), kLineFormat);
  const bool failed = written < 0;
  if (failed) {
    for (const auto &entry : entries) LogFailedWrite(entry.first, entry.second);
  }
  // The file holds the device's credentials: root alone may read it, whoever wrote it.
  if (::chmod(path.c_str(), 0600) != 0) {
    log::Write(LOG_ERR, "%s:%d chmod failed, path=%s, reason=%m", kModule, kWriteLine, path.c_str());
  }
  if (::chown(path.c_str(), 0, 0) != 0) {
    log::Write(LOG_ERR, "%s:%d chown failed, path=%s, reason=%m", kModule, kWriteLine, path.c_str());
  }
  section.Leave();
  if (failed) throw ZephException(VEXOZEPH_ERR_ACCOUNT_WRITE);
}

bool UserImpl::GetBool(const std::string &key, bool fallback) const {
  std::string text = Get(key, "");
  if (text.empty()) return fallback;
  return text == "yes" || text == "true";
}

void UserImpl::SetBool(const std::string &key, bool value) const {
  SetMany(UserUpdate().Bool(key, value));
}

int64_t UserImpl::GetNumber(const std::string &key, int64_t fallback) const {
  std::string text = Get(key, "");
  if (text.empty()) return fallback;
  long long number = 0;
  if (std::sscanf(text.c_str(), "%lld", &number) != 1) return fallback;
  return static_cast<int64_t>(number);
}

void UserImpl::SetNumber(const std::string &key, int64_t value) const {
  SetMany(UserUpdate().Number(key, value));
}

bool UserImpl::Exists() const { return !GetEmail().empty(); }

#define VEXOZEPH_DEFINE_TEXT(Name, key, fallback)                                  \
  std::string UserImpl::Get##Name() const { return Get(key, fallback); }           \
  void UserImpl::Set##Name(const std::string &value) const { Set(key, value); }    \
  std::string User::Get##Name() const { return impl_->Get##Name(); }               \
  void User::Set##Name(const std::string &value) const { impl_->Set##Name(value); }
#define VEXOZEPH_DEFINE_BOOL(Name, key, fallback)                              \
  bool UserImpl::Get##Name() const { return GetBool(key, fallback); }          \
  void UserImpl::Set##Name(bool value) const { SetBool(key, value); }          \
  bool User::Get##Name() const { return impl_->Get##Name(); }                  \
  void User::Set##Name(bool value) const { impl_->Set##Name(value); }
#define VEXOZEPH_DEFINE_NUMBER(Name, key, fallback)                            \
  int64_t UserImpl::Get##Name() const { return GetNumber(key, fallback); }     \
  void UserImpl::Set##Name(int64_t value) const { SetNumber(key, value); }     \
  int64_t User::Get##Name() const { return impl_->Get##Name(); }               \
  void User::Set##Name(int64_t value) const { impl_->Set##Name(value); }
VEXOZEPH_USER_TEXT_FIELDS(VEXOZEPH_DEFINE_TEXT)
VEXOZEPH_USER_BOOL_FIELDS(VEXOZEPH_DEFINE_BOOL)
VEXOZEPH_USER_NUMBER_FIELDS(VEXOZEPH_DEFINE_NUMBER)
#undef VEXOZEPH_DEFINE_TEXT
#undef VEXOZEPH_DEFINE_BOOL
#undef VEXOZEPH_DEFINE_NUMBER

User::User() : impl_(new UserImpl()) {}
User::~User() = default;

bool User::Exists() const { return impl_->Exists(); }

}  // namespace vexozeph
