#define ZLOG_MODULE_NAME "pkce_client"

#include "store/token_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/atomic_file.h"
#include "base/clock.h"
#include "base/log.h"
#include "base/root_path.h"
#include "base/unique_fd.h"
#include "internal/json_utils.h"
#include "internal/string_utils.h"
#include "store/account_file.h"
#include "vexo_platform/vlib_process.h"
#include "vexozeph/error_codes.h"
#include "vexozeph/file_lock.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {
namespace token_files {

const char kOwnerMember[] = "account_user_id";

namespace {

const unsigned int kLockWaitSeconds = 30;
// The platform's flag word for running a program without a shell of its own and waiting.
const int kExeclFlags = 0xBB;
const char kTokenFileEnd[] = "_token.json";

enum class FileState { kAbsent, kNotJson, kParsed };

// The file as it stands, whoever it belongs to.
FileState Inspect(const std::string &client, Json::Value &file) {
  // One open serves as the existence test and the read: a file that cannot be opened for
  // reading is absent, one that opens but cannot be read or parsed is not JSON.
  UniqueFd fd(::open(PathOf(client).c_str(), O_RDONLY | O_CLOEXEC));
  if (!fd.Valid()) return FileState::kAbsent;
  std::string text;
  if (!ReadAllFrom(fd.Get(), text, json::kMaxFileBytes) || !json::Parse(text, file)) {
    return FileState::kNotJson;
  }
  return FileState::kParsed;
}

// True when `file` names `account` as its own. A file written before tokens named their
// account, or planted by hand, names none and belongs to no one.
bool BelongsTo(const Json::Value &file, const std::string &account) {
  std::string owner;
  return !account.empty() && json::GetString(file, kOwnerMember, owner) && owner == account;
}

}  // namespace

const char *Directory() {
  return kClientTokenDirectory;
}

std::string PathOf(const std::string &client) {
  return RootedPath(ClientTokenFile(client));
}

std::string SignedInAccount() {
  return std::string(AccountSnapshot::Read().GetUserId());
}

bool Exists(const std::string &client) {
  Json::Value file;
  const FileState state = Inspect(client, file);
  if (state == FileState::kAbsent) return false;
  const std::string account = SignedInAccount();
  // A file that is not JSON is the signed-in account's to be told about by the read.
  return state == FileState::kNotJson ? !account.empty() : BelongsTo(file, account);
}

Json::Value Read(const std::string &client) {
  Json::Value file;
  const FileState state = Inspect(client, file);
  if (state == FileState::kAbsent) {
    throw ZephException(VEXOZEPH_ERR_TOKEN_STATE, "Failed to find an existed token file");
  }
  const std::string account = SignedInAccount();
  if (!account.empty() && state == FileState::kNotJson) {
    throw ZephException(VEXOZEPH_ERR_BAD_JSON);
  }
  if (!BelongsTo(file, account)) {
    throw ZephException(VEXOZEPH_ERR_TOKEN_STATE,
                        format("Token file of no signed-in account: %s", client.c_str()));
  }
  return file;
}

bool Save(const std::string &client, const Json::Value &token, const SaveBasis &basis) {
  if (!token.isObject()) throw ZephException(VEXOZEPH_ERR_BAD_JSON);
  FileLock lock(ClientLockFile(client, ClientLock::kSaveToken));
  LockOrThrow(lock);
  // Checked and written under the lock the account file's writes and its removal hold: a
  // sign-out or another account's sign-in is either wholly before this save, and the
  // save is dropped, or wholly after it, and removes what it wrote.
  AccountFileLock account_lock;
  if (!account_lock.Held()) {
    throw ZephException(VEXOZEPH_ERR_TOKEN_STATE, "Failed to lock the account file");
  }
  if (basis.owner.empty() || SignedInAccount() != basis.owner) {
    ZLOG("Dropped the %s token of an account no longer signed in", client.c_str());
    return false;
  }
  if (basis.replaces) {
    Json::Value file;
    std::string refresh_token;
    if (Inspect(client, file) != FileState::kParsed || !BelongsTo(file, basis.owner) ||
        !json::GetString(file, "refresh_token", refresh_token) ||
        refresh_token != basis.replaced_refresh_token) {
      ZLOG("Dropped the renewed %s token: its file was replaced meanwhile", client.c_str());
      return false;
    }
  }
  Json::Value saved = token;
  // The local time of the save, whatever the server said: expiry is judged by this
  // appliance's clock alone.
  saved["created_at"] = Json::Int64(clock::Now());
  saved[kOwnerMember] = basis.owner;
  // Atomic and 0600: a reader never sees a torn token file. The helper logs the failure.
  if (!json::WriteFileAtomically(saved, PathOf(client))) {
    throw ZephException(VEXOZEPH_ERR_BAD_JSON);
  }
  return true;
}

bool RemoveAll() {
  // The directory (under the root prefix, which may hold anything) is quoted for the
  // shell; the pattern stays outside the quotes so that the shell expands it.
  const std::string command =
      "/bin/rm -f " + QuoteForShell(RootedPath(kClientTokenDirectory)) + "*" + kTokenFileEnd;
  // rm -f succeeds when nothing matches, so any other status is a file left behind.
  return VLIBCExecl("/bin/sh", kExeclFlags, "/bin/sh", "-c", command.c_str(),
                    static_cast<char *>(nullptr)) == 0;
}

bool RemoveEvery() {
  const std::string directory = RootedPath(kClientTokenDirectory);
  DIR *listing = ::opendir(directory.c_str());
  if (listing == nullptr) return errno == ENOENT;
  bool removed_all = true;
  const size_t end_length = std::strlen(kTokenFileEnd);
  while (const dirent *entry = ::readdir(listing)) {
    const size_t length = std::strlen(entry->d_name);
    if (length <= end_length ||
        std::strcmp(entry->d_name + length - end_length, kTokenFileEnd) != 0) {
      continue;
    }
    if (::unlinkat(::dirfd(listing), entry->d_name, 0) != 0 && errno != ENOENT) {
      ZLOG("Failed to remove token file %s%s", directory.c_str(), entry->d_name);
      removed_all = false;
    }
  }
  ::closedir(listing);
  return removed_all;
}

void LockOrThrow(FileLock &lock) {
  if (!lock.Lock(kLockWaitSeconds)) {
    throw ZephException(VEXOZEPH_ERR_TOKEN_STATE,
                        format("Failed to lock file: %s", lock.GetPath().c_str()));
  }
}

}  // namespace token_files
}  // namespace vexozeph
