// The account file "/usr/vexo/etc/vexona-account/private/user.conf": its reads, its
// writes and its removal. The file is root's alone, so a process that is not root is
// lifted to root around each access (PrivilegeSection). Nothing else touches the file:
// vexozeph::User and the C record reach their keys through here.
#ifndef VEXOZEPH_INTERNAL_ACCOUNT_FILE_H_
#define VEXOZEPH_INTERNAL_ACCOUNT_FILE_H_

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "internal/log.h"

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

// The stored value of `key` into `value`; false when the key or the file is missing.
// Throws ZephException 6 when the process cannot be lifted to read it.
bool ReadAccountValue(const std::string &key, std::string &value);

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

// Deletes the account file. The privilege section's lines, and "Failed to unlink %s"
// under kAnywayLoggingFailure, name `where`. A missing file counts as a failed deletion.
RemovalResult RemoveAccountFile(const log::Place &where, RemovalRule rule);

}  // namespace vexozeph

#endif  // VEXOZEPH_INTERNAL_ACCOUNT_FILE_H_
