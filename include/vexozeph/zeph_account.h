// The account operations whose answers are JSON values. C++ callers only; the same
// conventions as the C interface: 0 on success, -1 on failure with the last error set
// (VEXOZEPHErrGet), and no exception ever escapes.
#ifndef VEXOZEPH_ZEPH_ACCOUNT_H_
#define VEXOZEPH_ZEPH_ACCOUNT_H_

#include <json/value.h>

#include "vexozeph/export.h"
#include "vexozeph/vexozeph.h"

// Signs in with e-mail and password; `response` receives the server's whole answer. With
// `verify_only` the credentials are only checked: nothing is stored or scheduled.
VEXOZEPH_API int VEXOZEPHAccountLogin(const char *email, const char *password,
                                      Json::Value &response, bool verify_only);

// Signs in with an OAuth access token the management interface already holds.
VEXOZEPH_API int VEXOZEPHAccountOauthLogin(Json::Value &response, const char *access_token);

// Adopts a known user id and auth key once the server confirms them; `result` receives
// "email", "auth_key" and "activated". On refusal the account file is removed (error 14).
VEXOZEPH_API int VEXOZEPHAccountLoginByKey(const char *user_id, const char *auth_key,
                                           Json::Value &result);

// The signed-in account's profile. Answered from the account file while the last query is
// recent (`fresh`: under 300 seconds, otherwise under a day), else asked of the server
// first. A server that refuses the stored key signs the appliance out (error 3).
// `short_timeout` selects 15-second time-outs and two attempts.
VEXOZEPH_API int VEXOZEPHAccountQueryInfo(Json::Value &result, bool fresh, bool short_timeout);

// Installs the periodic report's cron job from the stored schedule. Non-zero when stored.
// Does not touch the last error.
VEXOZEPH_API int VEXOZEPHAccountRegisterCrond(void);
// Removes the report's cron job. Non-zero on success. Does not touch the last error.
VEXOZEPH_API int VEXOZEPHAccountUnregisterCrond(void);

// Lists the cloud accounts other features of the appliance are bound to:
// {"<account>": {"services": [{"type": "package"|"zipreach"|"ddns", "value": ...}]}}.
VEXOZEPH_API int VEXOZEPHAccountScanExisting(Json::Value &accounts);

// ---- Store and purchases (the payment host; 15-second time-outs, two attempts) ----------

// The signed-in account's purchases: {"purchases": [{"order_id", "item_id", "name",
// "amount" (decimal text), "currency", "status" (texts), "purchased_at" (seconds since
// the epoch)}]}, in the payment host's order. Sent with the stored user id and auth key;
// `result` is untouched on failure. -1 with 3 when nobody is signed in (or the account
// left while the host answered), the server's word as a code when it refuses (a refusal
// signs nothing out), 2 for an answer that is not JSON, 5 for one without a result word
// or with a purchase lacking a member, 7, 4 or 1 as VEXOPaymentHTTPSSendWithJSON.
VEXOZEPH_API int VEXOZEPHAccountPurchaseList(Json::Value &result);

// What a management page needs to embed the store page for this device and account:
// {"address", "params": {"ticket"}, "url" (address and parameters), "expires_in",
// "expires_at"}. The ticket is a single-use proof of the device and the account that the
// payment host issues for a few minutes; the auth key never goes into the address. Load
// the page once, before "expires_at"; ask again for every page load. Codes as
// VEXOZEPHAccountPurchaseList, 5 also when the ticket or its lifetime is unusable.
VEXOZEPH_API int VEXOZEPHGetIframeInfo(Json::Value &info);

#endif  // VEXOZEPH_ZEPH_ACCOUNT_H_
