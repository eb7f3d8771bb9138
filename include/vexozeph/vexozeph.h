/* libvexozeph: the C interface.
 *
 * Every function returns 0 on success and -1 on failure, leaving a numeric last error
 * (VEXOZEPHErrGet) unless its description says otherwise. No C++ exception ever leaves a
 * function of this interface. Buffers are the caller's, with the sizes stated here. */
#ifndef VEXOZEPH_VEXOZEPH_H_
#define VEXOZEPH_VEXOZEPH_H_

#include <stddef.h>
#include <stdbool.h>
#include <stdint.h>

#include "vexozeph/export.h"
#include "vexozeph/error_codes.h"

VEXOZEPH_EXTERN_C_BEGIN

/* ---- Error state ---------------------------------------------------------------- */

/* Stores `code` as the process-wide last error and returns it. Not thread-local. */
VEXOZEPH_API unsigned int VEXOZEPHErrSet(unsigned int code);
/* The last error code. */
VEXOZEPH_API int VEXOZEPHErrGet(void);
/* A constant message for `code` ("System error" for every code without a text of its
 * own). Never null; never free it. */
VEXOZEPH_API const char *GetZephErrorMsg(unsigned int code);
/* Writes the message of a non-zero `code` and a newline to stderr. */
VEXOZEPH_API void printErrCode(unsigned int code);
/* Maps a server result word (a prefix match in a fixed order) to a code; 24 when unknown
 * or null. Does not touch the last error. */
VEXOZEPH_API unsigned int GetErrorCodeFromAccountError(const char *word);
/* GetErrorCodeFromAccountError, stored as the last error and returned. */
VEXOZEPH_API unsigned int MapLibZephCenterErrorCode(const char *word);

/* ---- Device identity ------------------------------------------------------------ */

/* The appliance serial number into `buf` (at most size-1 characters). -1 when `buf` is
 * null, the platform cannot read it, or it does not begin with a digit or a letter. */
VEXOZEPH_API int VEXOZEPHGetSerialNumber(char *buf, size_t size);

/* The request token ("bx_token") for `serial` + `account` + `password` into `token`
 * (33 bytes). `account` and `password` may be null. When `serial` is empty it is read
 * from the platform and written back into `serial` (serial_size bytes). -1, with nothing
 * cut, when `token` cannot hold the 32 digits and the NUL, or `serial` the whole serial. */
VEXOZEPH_API int VEXOZEPHGenerateToken(const char *account, const char *password, char *serial,
                                       size_t serial_size, char *token, size_t token_size);

/* The appliance's user agent into `buf`. -1 with last error 1 for a null buffer or a size
 * that is not positive; 0 otherwise, even when the platform could not answer (the buffer
 * is then left as the caller cleared it). */
VEXOZEPH_API int VEXOZEPHUserAgentNameGet(char *buf, int size);

/* ---- Stored account ------------------------------------------------------------- */

/* The stored account as a fixed C record. Texts are NUL-terminated and cut to their
 * field's width less one; the booleans are 0 or 1. 20,248 bytes. */
typedef struct _tag_zeph_INFO_ {
  char email[4096];            /* "zephID" */
  char password[4096];         /* never stored; left as it is by VEXOZEPHAccountGet */
  char user_id[4096];          /* "zephIDSerial" */
  char auth_key[4096];         /* "bx_auth_key" */
  char full_name[1024];
  char country[256];
  char timezone[256];
  char notify_language[256];
  char critical_version_list[1024];
  char critical_version_domain[1024];
  int32_t activated;
  int32_t disabled;
  int32_t enews;
  int32_t critical_release;
  int32_t enews_local_promotion;
  int32_t last_query_time;     /* low 32 bits of the stored seconds since the epoch */
} ZEPH_INFO, *PZEPH_INFO;

/* Copies the stored account into `info`. -1 with error 3 when no auth key or user id is
 * stored (the record is then untouched), 1 for a null record, or the account file's own
 * error (6 privileges, 19 write). */
VEXOZEPH_API int VEXOZEPHAccountGet(ZEPH_INFO *info);
/* Stores e-mail, auth key and user id; the profile fields and the last query time only
 * when `info->last_query_time` > 0. All of them or none: a text the account file cannot
 * give back whole (over 2047 characters, or holding CR or LF) fails with 19 and changes
 * nothing. */
VEXOZEPH_API int VEXOZEPHAccountSet(const ZEPH_INFO *info);
/* Raises the "zeph/logout" pre-event, then deletes the account file. -1 (file kept) when
 * the event cannot be raised or privileges cannot be taken. Leaves the last error as it
 * was. */
VEXOZEPH_API int VEXOZEPHAccountRemove(void);
/* Signs the appliance out. With `remote` the account host is told first (with the
 * session's access token) and nothing local changes unless it confirms; -1 with the
 * failure's code then. Without `remote` the server is never contacted. The local part
 * removes the stored account, the report's schedule and every OAuth client's token file.
 * The last error is left as it was on success. */
VEXOZEPH_API int VEXOZEPHAccountLogout(bool remote);

/* ---- Periodic report ------------------------------------------------------------ */

/* The device's regular check-in, run by the report's cron job ("vexozeph --report_info"):
 * posts the account's id and auth key, the appliance's time zone and serial to the
 * account host, and stores the schedule the answer carries (before its result word is
 * judged). 0 with last error 0 when no account is stored or "zeph_disable_report" is
 * "yes" (nothing is sent), and when the answer is good: the report's job is then
 * re-installed and the session's token renewed (a renewal failure is only logged).
 * -1 otherwise, with the last error set: 23, 6, 8, 4, 2 or 5 when the report could not be
 * made, sent or read (0 when the time zone's name cannot be read), or the server's word
 * as a code. On 14 ("badauth") the notification "zeph_force_logout" (%EMAIL%, %LINK%) and
 * on 25 ("account_not_found") "zeph_deletion_logout" (%EMAIL%) is sent and the appliance
 * signed out; other refusals change nothing but the schedule. */
VEXOZEPH_API int VEXOZEPHReportInfo(void);

/* ---- Account registration and update ------------------------------------------- */

/* Creates a cloud account from the appliance. `email`, `password` and `full_name` are
 * required; `country` may be null. Stores nothing locally. -1 with the server's word as
 * the last error when it refuses. */
VEXOZEPH_API int VEXOZEPHAccountRegister(const char *email, const char *password,
                                         const char *full_name, bool critical_release,
                                         bool enews, bool enews_local_promotion,
                                         const char *country);

/* Changes the signed-in account. Null texts are not sent; the e-mail and the password
 * change only with the current `password`. The three flags are negative to leave them,
 * 0 for false, positive for true. After a password change the local record is refreshed
 * and the "ZephPasswordChanged" notification is sent (best effort). */
VEXOZEPH_API int VEXOZEPHAccountSetInfo(const char *full_name, const char *new_email,
                                        const char *password, const char *new_password,
                                        const char *country, const char *notify_language,
                                        const char *timezone, int enews, int critical_release,
                                        int enews_local_promotion,
                                        const char *critical_version_list);

/* ---- Server hosts --------------------------------------------------------------- */

/* Size of the buffer VEXOZEPHServerConfigGet fills, and of each of its two halves. */
#define VEXOZEPH_SERVER_CONFIG_SIZE 4096
#define VEXOZEPH_SERVER_CONFIG_HALF 2048

/* The payment base into buf[0..2047] and the account base into buf[2048..4095], each
 * NUL-terminated and cut to 2047 characters. `buf` must hold 4096 bytes. -1 with last
 * error 1 for a null buffer, or with the failure's code when a host cannot be found. */
VEXOZEPH_API int VEXOZEPHServerConfigGet(char *buf);

/* The payment base into `dst` (at most 2048 bytes with its NUL). */
VEXOZEPH_API int VEXOPaymentConfigGet(char *dst);

/* ---- HTTPS form requests -------------------------------------------------------- */

/* The platform's string hash (the caller's form parameters). */
typedef struct _tag_VLIBSZHASH_ *PVLIBSZHASH;

#define VEXOZEPH_HTTPS_METHOD_POST 0
#define VEXOZEPH_HTTPS_METHOD_GET 1
#define VEXOZEPH_HTTPS_ACCOUNT_SIZE 4096
#define VEXOZEPH_HTTPS_PASSWORD_SIZE 4096

/* One form request to a server. Read only for the sender. */
typedef struct _tag_VEXOZEPH_HTTPS_REQUEST_ {
  const char *host;     /* server base: scheme and host, no trailing slash; required */
  const char *path;     /* path below the base, no leading slash; required */
  PVLIBSZHASH params;   /* the caller's form fields; at least one */
  char account[VEXOZEPH_HTTPS_ACCOUNT_SIZE];   /* sent as "zephID" when not empty */
  char password[VEXOZEPH_HTTPS_PASSWORD_SIZE]; /* sent as "zephPW" when not empty */
  int method;           /* VEXOZEPH_HTTPS_METHOD_GET: form in the query; otherwise POST */
  int short_timeout;    /* non-zero: 15-second time-outs and two attempts, else 120 and three */
} VEXOZEPH_HTTPS_REQUEST;

/* The reply. Owned by the caller; release `data` with VEXOZEPHHttpsResponseFree. */
typedef struct _tag_VEXOZEPH_HTTPS_RESPONSE_ {
  int result;  /* libcurl code of a failed transfer or status read; 0 otherwise */
  long status; /* HTTP status read from the reply (0 when none was received) */
  char *data;  /* reply body without surrounding white space; null when none */
} VEXOZEPH_HTTPS_RESPONSE;

/* Sends `request` over HTTPS: the form carries "bx_sn" (the "bx_sn" parameter when given,
 * else the appliance serial), "bx_token", "zephID" and "zephPW" when set, then every
 * parameter in the hash's order. 0 when the server answered 200 or 400 with a body (the
 * caller judges the body); -1 with last error 1 (bad arguments), 6 (memory) or 4
 * (anything else, including other statuses and replies over 8 MiB). On -1 `data` is left
 * as it was. */
VEXOZEPH_API int VEXOZEPHHttpsRequestSend(const VEXOZEPH_HTTPS_REQUEST *request,
                                          VEXOZEPH_HTTPS_RESPONSE *response);

/* Frees the reply body and clears `data` and `status`; null is ignored. */
VEXOZEPH_API void VEXOZEPHHttpsResponseFree(VEXOZEPH_HTTPS_RESPONSE *response);

/* ---- Payment host ----------------------------------------------------------------- */

/* Posts the JSON object `json` to `path` (below the payment host's base, no leading
 * slash) with "bx_sn" (the object's own "bx_sn" when it has one, else the appliance
 * serial) and "bx_token" added, over the same HTTPS rules as VEXOZEPHHttpsRequestSend.
 * `short_timeout` non-zero: 15-second time-outs and two attempts, else 120 and three.
 * The reply is handed back as VEXOZEPHHttpsRequestSend hands back its own: 0 when the
 * host answered 200 or 400 with a body, which is then in `data` (free it with
 * VEXOZEPHHttpsResponseFree); the caller judges the body. -1 with last error 1 (a null
 * argument, a path with a leading slash, `json` not an object or holding "bx_token"),
 * 7 (no payment host) or 4 (anything else, including other statuses and replies over
 * 8 MiB). On -1 `data` is left as it was. */
VEXOZEPH_API int VEXOPaymentHTTPSSendWithJSON(const char *path, const char *json, int short_timeout,
                                              VEXOZEPH_HTTPS_RESPONSE *response);

VEXOZEPH_EXTERN_C_END

#endif /* VEXOZEPH_VEXOZEPH_H_ */
