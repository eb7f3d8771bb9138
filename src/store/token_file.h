// The OAuth clients' token files, "<client>_token.json" in the account's private
// directory: where each one lives, reading it whole, the locked atomic save and the
// removal of all of them. They sit here beside the account file, because a sign-in or a
// sign-out changes both. What a token file must hold and when it lapses is the OAuth
// client's to judge (pkce/pkce_client_impl.h). Client names reach here already checked
// (pkce/client_name.h).
#ifndef VEXOZEPH_STORE_TOKEN_FILE_H_
#define VEXOZEPH_STORE_TOKEN_FILE_H_

#include <json/value.h>

#include <string>

namespace vexozeph {

class FileLock;

namespace token_files {

// The directory of every token file, without the root prefix and with its final '/'.
const char *Directory();

// The token file of `client`, under the root prefix.
std::string PathOf(const std::string &client);
bool Exists(const std::string &client);

// The file, opened and parsed once: code 22 "Failed to find an existed token file" when it
// cannot be opened for reading, 2 when it cannot be read or is not JSON.
Json::Value Read(const std::string &client);

// Writes `token` (an object, else code 2) with "created_at" set to the library's clock,
// under the lock "<client>_save_token", atomically and with mode 0600. Code 2 when it
// cannot be written (logged), 22 when the lock cannot be had.
void Save(const std::string &client, const Json::Value &token);

// Removes every client's token file. False when some may be left behind.
bool RemoveAll();

// The lock file of `word` (a client name and the suffix of what it guards, such as
// "tarn_save_token"): "/tmp/account_<word>.lock", rooted by FileLock.
std::string LockFilePath(const std::string &word);
// Takes `lock` within the 30-second wait, or throws code 22 naming its file.
void LockOrThrow(FileLock &lock);

}  // namespace token_files
}  // namespace vexozeph

#endif  // VEXOZEPH_STORE_TOKEN_FILE_H_
