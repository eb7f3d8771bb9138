#include "store/token_file.h"

#include <fcntl.h>
#include <unistd.h>

#include "base/atomic_file.h"
#include "base/clock.h"
#include "base/root_path.h"
#include "base/unique_fd.h"
#include "internal/json_utils.h"
#include "internal/string_utils.h"
#include "vexo_platform/vlib_process.h"
#include "vexozeph/error_codes.h"
#include "vexozeph/file_lock.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {
namespace token_files {

namespace {

const char kTokenDirectory[] = "/usr/vexo/etc/vexona-account/private/";
const unsigned int kLockWaitSeconds = 30;
// The platform's flag word for running a program without a shell of its own and waiting.
const int kExeclFlags = 0xBB;

}  // namespace

const char *Directory() {
  return kTokenDirectory;
}

std::string PathOf(const std::string &client) {
  return RootedPath(kTokenDirectory + client + "_token.json");
}

bool Exists(const std::string &client) {
  int fd = ::open(PathOf(client).c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  ::close(fd);
  return true;
}

Json::Value Read(const std::string &client) {
  // One open serves as the existence test and the read: a file that cannot be opened for
  // reading is absent, one that opens but cannot be read or parsed is not JSON.
  UniqueFd fd(::open(PathOf(client).c_str(), O_RDONLY | O_CLOEXEC));
  if (!fd.Valid()) {
    throw ZephException(VEXOZEPH_ERR_TOKEN_STATE, "Failed to find an existed token file");
  }
  std::string text;
  Json::Value file;
  if (!ReadAllFrom(fd.Get(), text, json::kMaxFileBytes) || !json::Parse(text, file)) {
    throw ZephException(VEXOZEPH_ERR_BAD_JSON);
  }
  return file;
}

void Save(const std::string &client, const Json::Value &token) {
  if (!token.isObject()) throw ZephException(VEXOZEPH_ERR_BAD_JSON);
  FileLock lock(LockFilePath(client + "_save_token"));
  LockOrThrow(lock);
  Json::Value saved = token;
  // The local time of the save, whatever the server said: expiry is judged by this
  // appliance's clock alone.
  saved["created_at"] = Json::Int64(clock::Now());
  // Atomic and 0600: a reader never sees a torn token file. The helper logs the failure.
  if (!json::WriteFileAtomically(saved, PathOf(client))) {
    throw ZephException(VEXOZEPH_ERR_BAD_JSON);
  }
}

bool RemoveAll() {
  // The directory (under the root prefix, which may hold anything) is quoted for the
  // shell; the pattern stays outside the quotes so that the shell expands it.
  const std::string command =
      "/bin/rm -f " + QuoteForShell(RootedPath(kTokenDirectory)) + "*_token.json";
  // rm -f succeeds when nothing matches, so any other status is a file left behind.
  return VLIBCExecl("/bin/sh", kExeclFlags, "/bin/sh", "-c", command.c_str(),
                    static_cast<char *>(nullptr)) == 0;
}

std::string LockFilePath(const std::string &word) {
  return format("/tmp/account_%s.lock", word.c_str());
}

void LockOrThrow(FileLock &lock) {
  if (!lock.Lock(kLockWaitSeconds)) {
    throw ZephException(VEXOZEPH_ERR_TOKEN_STATE,
                        format("Failed to lock file: %s", lock.GetPath().c_str()));
  }
}

}  // namespace token_files
}  // namespace vexozeph
