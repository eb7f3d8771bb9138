// The OAuth clients' token files, "<client>_token.json" in the account's private
// directory: where each one lives, reading it whole, the locked atomic save and the
// removal of all of them. They sit here beside the account file, because a sign-in or a
// sign-out changes both. What a token file must hold and when it lapses is the OAuth
// client's to judge (pkce/pkce_client_impl.h). Client names reach here already checked,
// and every file and lock name of a client is built by store/client_name.h.
//
// Every token file belongs to one account: it names the user id of the account it was
// obtained for (kOwnerMember), and it is handed out only while that account is the one
// signed in. A save names the account it worked for and is dropped unless that account
// still stands, checked under the account file's lock, which the account file's writes
// and its removal also hold (store/account_file.h). Those remove every token file when
// the account ends or another one takes its place.
#ifndef VEXOZEPH_STORE_TOKEN_FILE_H_
#define VEXOZEPH_STORE_TOKEN_FILE_H_

#include <json/value.h>

#include <string>

#include "store/client_name.h"

namespace vexozeph {

class FileLock;

namespace token_files {

// The member that names the account a token file belongs to.
extern const char kOwnerMember[];

// The directory of every token file, without the root prefix and with its final '/'.
const char *Directory();

// The token file of `client`, under the root prefix.
std::string PathOf(const std::string &client);

// The user id of the account signed in now; empty when none is.
std::string SignedInAccount();

// True when the client has a token file that a read may give out: one of the signed-in
// account, or, while one is signed in, one that is not JSON (the read then reports it).
// A file of another account, or of none, counts as absent, so that it is granted anew.
bool Exists(const std::string &client);

// The file, opened and parsed once, when it belongs to the signed-in account. Code 22
// "Failed to find an existed token file" when it cannot be opened for reading; 22 "Token
// file of no signed-in account: <client>" when no account is signed in or the file names
// none or another; 2 when it cannot be read or is not JSON.
Json::Value Read(const std::string &client);

// What a save stands on: the account it was obtained for and, for a renewal, the file it
// started from. A save that replaces a renewed file is a compare-and-swap: it is written
// only while the file still names `owner` and still holds `replaced_refresh_token`.
struct SaveBasis {
  std::string owner;
  bool replaces = false;
  std::string replaced_refresh_token;
};

// Writes `token` (an object, else code 2) with "created_at" set to the library's clock and
// kOwnerMember set to basis.owner, atomically and with mode 0600, under the lock
// "<client>_save_token" and then the account file's. False (logged, nothing written) when
// basis.owner is no longer the signed-in account or the file is no longer the one the
// renewal started from. Code 2 when it cannot be written (logged), 22 when a lock cannot
// be had.
bool Save(const std::string &client, const Json::Value &token, const SaveBasis &basis);

// Removes every client's token file with the sign-out's command. False when some may be
// left behind.
bool RemoveAll();

// Removes every client's token file in this process. The caller holds the account file's
// lock (store/account_file.h). False when one could not be removed (logged).
bool RemoveEvery();

// Takes `lock` within the 30-second wait, or throws code 22 naming its file.
void LockOrThrow(FileLock &lock);

}  // namespace token_files
}  // namespace vexozeph

#endif  // VEXOZEPH_STORE_TOKEN_FILE_H_
