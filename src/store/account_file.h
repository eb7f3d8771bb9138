// The account file "/usr/vexo/etc/vexona-account/private/user.conf": its reads, its
// writes and its removal. The file is root's alone, so a process that is not root is
// lifted to root around each access (PrivilegeSection). Nothing else touches the file:
// vexozeph::User and the C record reach their keys through here.
#ifndef VEXOZEPH_STORE_ACCOUNT_FILE_H_
#define VEXOZEPH_STORE_ACCOUNT_FILE_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/log.h"
#include "store/user_fields.h"

namespace vexozeph {

// The account file's path (root prefix applied).
std::string AccountFilePath();

// Values are read back through a 2048-byte buffer, so a longer one could never be read
// whole again.
const size_t kMaxUserValueLength = 2047;

// True when `value` can be stored and read back whole: at most kMaxUserValueLength
// characters and no CR, LF or NUL (no escaping is applied; a line break would forge
// further keys, a NUL would cut the value).
bool IsStorableUserValue(const std::string &value);

// The account file as one read saw it: the file is read whole and parsed once, inside
// one privilege section, and every key then gives what a lookup of that key alone would
// give (the first line of a key counts, a value is cut at a NUL and to
// kMaxUserValueLength characters, an empty value counts as absent). Nothing is kept
// between calls: an operation takes its snapshot when it starts, and a later operation
// takes a new one, so every operation sees the file as it is.
//
// The snapshot holds the file's text once; keys and values are places in it, so that a
// read costs two allocations, however many keys the file has. Text views it hands out
// live as long as the snapshot.
class AccountSnapshot {
 public:
  // A file without keys: every key has its default.
  AccountSnapshot() = default;
  // Reads the file. A missing or unreadable file reads as one without keys: every key
  // has its default. Throws ZephException 6 when the process cannot be lifted to read it.
  static AccountSnapshot Read();

  // The stored value of `key` into `value`; false when the key is absent or empty.
  bool Find(std::string_view key, std::string &value) const;
  bool Find(std::string_view key, std::string_view &value) const;
  // The stored value, or `fallback` when absent or empty.
  std::string_view Text(std::string_view key, std::string_view fallback) const;
  // Only the exact words "yes" and "true" are true; absent or empty gives `fallback`.
  bool Bool(std::string_view key, bool fallback) const;
  // A value read with "%lld"; absent, empty or not starting with a number gives
  // `fallback`.
  int64_t Number(std::string_view key, int64_t fallback) const;

#define VEXOZEPH_SNAPSHOT_TEXT(Name, key, fallback) \
  std::string_view Get##Name() const {              \
    return Text(key, fallback);                     \
  }
#define VEXOZEPH_SNAPSHOT_BOOL(Name, key, fallback) \
  bool Get##Name() const {                          \
    return Bool(key, fallback);                     \
  }
#define VEXOZEPH_SNAPSHOT_NUMBER(Name, key, fallback) \
  int64_t Get##Name() const {                         \
    return Number(key, fallback);                     \
  }
  VEXOZEPH_USER_TEXT_FIELDS(VEXOZEPH_SNAPSHOT_TEXT)
  VEXOZEPH_USER_BOOL_FIELDS(VEXOZEPH_SNAPSHOT_BOOL)
  VEXOZEPH_USER_NUMBER_FIELDS(VEXOZEPH_SNAPSHOT_NUMBER)
#undef VEXOZEPH_SNAPSHOT_TEXT
#undef VEXOZEPH_SNAPSHOT_BOOL
#undef VEXOZEPH_SNAPSHOT_NUMBER

 private:
  // A stretch of text_. Places rather than views, so that a snapshot can be moved and
  // copied (a short text lives inside the string object and moves with it).
  struct Span {
    uint32_t offset;
    uint32_t size;
  };
  std::string_view At(Span span) const {
    return std::string_view(text_).substr(span.offset, span.size);
  }

  struct Entry {
    Span key;
    Span value;  // already cut; empty reads as absent
  };

  std::string text_;
  // Every line that holds a key, in file order; a score of them, so a plain walk finds a
  // key faster than any index would be built.
  std::vector<Entry> entries_;
};

using AccountValues = std::vector<std::pair<std::string, std::string>>;

// Stores every pair, in order, or none: all values are checked first (one that is not
// storable throws 19 before anything is written), then the file is replaced once, left
// mode 0600 and owned by 0:0. Throws 6 when the process cannot be lifted, 19 when the
// file cannot be written.
void WriteAccountValues(const AccountValues &values);

// How a removal treats a process that cannot be lifted to root, and whether a failed
// deletion is worth a line.
enum class RemovalRule {
  kOnlyWhenLifted,        // the file is kept: no deletion without root's rights
  kAnyway,                // the deletion is tried all the same
  kAnywayLoggingFailure,  // the same, and a failed deletion is logged
};

enum class RemovalResult { kRemoved, kDeletionFailed, kNotLifted };

// The account an answer of the server is about.
struct AccountIdentity {
  std::string user_id;
  std::string auth_key;
};

// WriteAccountValues, but only while the file still holds `identity`: what the server
// said about an account that was signed out or replaced meanwhile is dropped rather than
// written into the file that now stands (a removed file stays removed). False when it was
// dropped. The check and the write hold the file's lock, as every write and the removal do.
bool WriteAccountValuesFor(const AccountIdentity &identity, const AccountValues &values);

// Deletes the account file. The privilege section's lines, and "Failed to unlink %s"
// under kAnywayLoggingFailure, name `where`. A missing file counts as a failed deletion.
RemovalResult RemoveAccountFile(const log::Place &where, RemovalRule rule);

}  // namespace vexozeph

#endif  // VEXOZEPH_STORE_ACCOUNT_FILE_H_
