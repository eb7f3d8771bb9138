// The account operations, one C++ function each. The exported C functions (vexozeph.h,
// zeph_account.h) are thin faces over them that check their pointers, clear or keep the
// last error as documented and turn a Failure into -1 (core/c_edge.h); the classes
// (AccountService, the OAuth session) call them directly and let the Failure through.
// Each logs its own failures, in its own module's name, and throws Failure with the code
// the C interface documents for it.
#ifndef VEXOZEPH_ACCOUNT_ACCOUNT_OPERATIONS_H_
#define VEXOZEPH_ACCOUNT_ACCOUNT_OPERATIONS_H_

#include <json/value.h>

#include "vexozeph/vexozeph.h"

namespace vexozeph {

// VEXOZEPHAccountLogin: `response` receives the server's whole answer, also when it
// refuses. With `verify_only` nothing is stored, scheduled or announced. Plugins that
// cannot be told fail with 6 for the classes (the C last error stays).
void SignInWithPassword(const char *email, const char *password, bool verify_only,
                        Json::Value &response);
// VEXOZEPHAccountOauthLogin. An unreadable time zone fails with 6 for the classes (the C
// last error stays).
void SignInWithToken(const char *access_token, Json::Value &response);
// VEXOZEPHAccountLoginByKey: `result` receives "email", "auth_key" and "activated".
void SignInWithKey(const char *user_id, const char *auth_key, Json::Value &result);

// VEXOZEPHAccountQueryInfo: the profile, from the account file while `fresh` enough,
// otherwise asked of the server first. A busy query lock fails with 22 for the classes
// (the C last error stays).
Json::Value QueryProfile(bool fresh, bool short_timeout);

// VEXOZEPHAccountRegister and VEXOZEPHAccountSetInfo.
void RegisterAccount(const char *email, const char *password, const char *full_name,
                     bool critical_release, bool enews, bool enews_local_promotion,
                     const char *country);
// Returns the code of the follow-up that failed after the update stood (the refreshed
// profile of a password change), 0 when none did: the C function leaves it as its last
// error although it succeeds.
unsigned int UpdateAccount(const char *full_name, const char *new_email, const char *password,
                           const char *new_password, const char *country,
                           const char *notify_language, const char *timezone, int enews,
                           int critical_release, int enews_local_promotion,
                           const char *critical_version_list);

// VEXOZEPHAccountGet (3 without a stored account; `info` is then untouched) and
// VEXOZEPHAccountSet.
void ReadAccountRecord(ZEPH_INFO &info);
void WriteAccountRecord(const ZEPH_INFO &info);
// VEXOZEPHAccountRemove: the "zeph/logout" pre-event, then the account file goes. False,
// logged, when the event could not be raised or privileges could not be taken (the file
// is then kept). It never touches the last error.
bool RemoveAccount();

// VEXOZEPHAccountScanExisting: the accounts other features of the appliance are bound to.
Json::Value ScanExistingAccounts();

}  // namespace vexozeph

#endif  // VEXOZEPH_ACCOUNT_ACCOUNT_OPERATIONS_H_
