#include "store/account_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "base/atomic_file.h"
#include "base/key_value_text.h"
#include "base/root_path.h"
#include "internal/string_utils.h"
#include "store/privilege_section.h"
#include "vexo_platform/vlib_file.h"
#include "vexozeph/error_codes.h"
#include "vexozeph/file_lock.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {

namespace {

// The reads and writes name two fixed places in their lines, one for reads and one for
// writes, so that operators can grep one pattern whatever the release.
const char kModule[] = "user";
const int kReadLine = 340;
const int kWriteLine = 379;

const char kLineFormat[] = "%s=\"%s\"\n";

// Every write and the removal of the file hold this lock, so that a check of the stored
// identity and the write that depends on it cannot have a sign-out or a sign-in between.
// Taken last, after any lock of an operation, and nothing is taken inside it.
const char kFileLockName[] = "/tmp/account_user_conf.lock";
const unsigned int kFileLockSeconds = 30;

bool TakeFileLock(FileLock &lock) {
  if (lock.Lock(kFileLockSeconds)) return true;
  log::Write(LOG_ERR, "%s:%d Failed to lock file: %s", kModule, kWriteLine, lock.GetPath().c_str());
  return false;
}

// The keys a signed-in account stores, with room to spare.
const size_t kUsualKeyCount = 32;

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

bool IsStorableUserValue(const std::string &value) {
  return value.size() <= kMaxUserValueLength &&
         value.find_first_of(std::string("\r\n\0", 3)) == std::string::npos;
}

AccountSnapshot AccountSnapshot::Read() {
  AccountSnapshot snapshot;
  {
    PrivilegeSection section(kModule, kReadLine);
    EnterOrThrow(section);
    // An unreadable file is one without keys, as for a lookup of each key.
    if (!ReadWholeFile(AccountFilePath(), snapshot.text_, kMaxKeyValueFileSize)) {
      snapshot.text_.clear();
    }
  }
  const std::string_view text(snapshot.text_);
  const auto place = [&text](std::string_view part) {
    return Span{static_cast<uint32_t>(part.data() - text.data()),
                static_cast<uint32_t>(part.size())};
  };
  // An account file holds a score of keys: room for them all at once.
  snapshot.entries_.reserve(kUsualKeyCount);
  size_t position = 0;
  std::string_view key;
  std::string_view value;
  // Every line is kept, later duplicates too: a lookup walks in file order and stops at
  // the first line of its key, so that line counts, even when its value is empty.
  while (NextKeyValue(text, position, key, value)) {
    // What a lookup through the platform's 2048-byte buffer gives back: cut at a NUL and
    // to the buffer less its terminator.
    value = value.substr(0, std::min(value.find('\0'), kMaxUserValueLength));
    snapshot.entries_.push_back(Entry{place(key), place(value)});
  }
  return snapshot;
}

bool AccountSnapshot::Find(std::string_view key, std::string_view &value) const {
  for (const Entry &entry : entries_) {
    if (entry.key.size == key.size() &&
        std::memcmp(text_.data() + entry.key.offset, key.data(), key.size()) == 0) {
      // An empty value reads as an absent key.
      value = At(entry.value);
      return !value.empty();
    }
  }
  return false;
}

bool AccountSnapshot::Find(std::string_view key, std::string &value) const {
  std::string_view found;
  if (!Find(key, found)) return false;
  value.assign(found);
  return true;
}

std::string_view AccountSnapshot::Text(std::string_view key, std::string_view fallback) const {
  std::string_view value;
  return Find(key, value) ? value : fallback;
}

bool AccountSnapshot::Bool(std::string_view key, bool fallback) const {
  std::string_view text;
  if (!Find(key, text)) return fallback;
  return text == "yes" || text == "true";
}

int64_t AccountSnapshot::Number(std::string_view key, int64_t fallback) const {
  std::string_view text;
  if (!Find(key, text)) return fallback;
  // strtoll in base 10 is what "%lld" reads with (blanks skipped, a sign, saturated on
  // overflow); it wants a terminated text, and a value is never longer than this buffer.
  char terminated[kMaxUserValueLength + 1];
  text.copy(terminated, kMaxUserValueLength);
  terminated[std::min(text.size(), kMaxUserValueLength)] = '\0';
  char *end = nullptr;
  const long long number = std::strtoll(terminated, &end, 10);
  if (end == terminated) return fallback;
  return static_cast<int64_t>(number);
}

namespace {

// True when the file as it stands holds `identity`.
bool HoldsIdentity(const AccountIdentity &identity) {
  const AccountSnapshot stored = AccountSnapshot::Read();
  return !identity.user_id.empty() && stored.GetUserId() == identity.user_id &&
         stored.GetAuthKey() == identity.auth_key;
}

// Writes `values` under the file lock, and only while the file holds `identity` when one
// is given. False when the identity no longer stands and nothing was written. What is
// written for a standing identity is what the server holds about that account (a profile,
// a schedule), which its next answer brings again: it is replaced whole but not flushed
// to disk a second time. Credentials and the user's own settings are written durably.
bool WriteValues(const AccountIdentity *identity, const AccountValues &values) {
  if (values.empty()) return true;
  // A value the file cannot give back whole refuses the whole update before the file is
  // touched: half a profile, or an identity mixed from two accounts, must never stand.
  for (const auto &entry : values) {
    if (!IsStorableUserValue(entry.second)) {
      LogFailedWrite(entry.first, entry.second);
      throw ZephException(VEXOZEPH_ERR_ACCOUNT_WRITE);
    }
  }
  std::vector<const char *> keys;
  std::vector<const char *> texts;
  for (const auto &entry : values) {
    keys.push_back(entry.first.c_str());
    texts.push_back(entry.second.c_str());
  }

  const std::string path = AccountFilePath();
  PrivilegeSection section(kModule, kWriteLine);
  EnterOrThrow(section);
  // Taken as root, like the file itself, so that any process that may write can lock.
  FileLock lock(kFileLockName);
  if (!TakeFileLock(lock)) throw ZephException(VEXOZEPH_ERR_ACCOUNT_WRITE);
  if (identity != nullptr && !HoldsIdentity(*identity)) return false;
  const int flags = identity != nullptr ? VLIB_FILE_NOT_DURABLE : 0;
  const int written = values.size() == 1 && flags == 0
                          ? VLIBCFileSetKeyValue(path.c_str(), keys[0], texts[0], kLineFormat)
                          : VLIBCFileSetKeyValues(path.c_str(), keys.data(), texts.data(),
                                                  keys.size(), kLineFormat, flags);
  const bool failed = written < 0;
  if (failed) {
    for (const auto &entry : values) LogFailedWrite(entry.first, entry.second);
  }
  // The file holds the device's credentials: root alone may read it, whoever wrote it.
  if (::chmod(path.c_str(), 0600) != 0) {
    log::Write(LOG_ERR, "%s:%d chmod failed, path=%s, reason=%m", kModule, kWriteLine,
               path.c_str());
  }
  if (::chown(path.c_str(), 0, 0) != 0) {
    log::Write(LOG_ERR, "%s:%d chown failed, path=%s, reason=%m", kModule, kWriteLine,
               path.c_str());
  }
  section.Leave();
  if (failed) throw ZephException(VEXOZEPH_ERR_ACCOUNT_WRITE);
  return true;
}

}  // namespace

void WriteAccountValues(const AccountValues &values) {
  WriteValues(nullptr, values);
}

bool WriteAccountValuesFor(const AccountIdentity &identity, const AccountValues &values) {
  return WriteValues(&identity, values);
}

RemovalResult RemoveAccountFile(const log::Place &where, RemovalRule rule) {
  const std::string path = AccountFilePath();
  PrivilegeSection section(where.module.c_str(), where.line);
  if (!section.Enter() && rule == RemovalRule::kOnlyWhenLifted) return RemovalResult::kNotLifted;
  // A sign-out is not held back by a lock it cannot get: it removes the file all the same.
  FileLock lock(kFileLockName);
  TakeFileLock(lock);
  const bool deleted = ::unlink(path.c_str()) == 0;
  if (!deleted && rule == RemovalRule::kAnywayLoggingFailure) {
    ZLOG_FROM(where, "Failed to unlink %s", path.c_str());
  }
  section.Leave();
  return deleted ? RemovalResult::kRemoved : RemovalResult::kDeletionFailed;
}

}  // namespace vexozeph
