// A form request to the account host, as every C account operation sends one: the host
// from the server configuration, the POST itself, and a reply that frees itself.
#ifndef VEXOZEPH_ACCOUNT_ACCOUNT_REQUEST_H_
#define VEXOZEPH_ACCOUNT_ACCOUNT_REQUEST_H_

#include <json/value.h>

#include <string>

#include "base/log.h"
#include "transport/form_hash.h"
#include "vexozeph/vexozeph.h"

namespace vexozeph {

// The account base of the server configuration (ServerInfo). When it cannot be found,
// logs "VEXOZEPHServerConfigGet, code=%u" at `where` and throws Failure 23.
std::string ReadAccountHost(const log::Place &where);

// A reply of the form sender that frees itself.
class HttpsReply {
 public:
  HttpsReply();
  ~HttpsReply();
  HttpsReply(const HttpsReply &) = delete;
  HttpsReply &operator=(const HttpsReply &) = delete;

  VEXOZEPH_HTTPS_RESPONSE *raw() { return &raw_; }
  // The body, "" when none.
  const char *body() const { return raw_.data ? raw_.data : ""; }

 private:
  VEXOZEPH_HTTPS_RESPONSE raw_;
};

// POSTs `form` to `path` on `host` (no account or password fields). False when the
// sender failed (it logged why); each caller then logs and fails in its own words.
bool SendAccountForm(const std::string &host, const char *path, const FormHash &form,
                     bool short_timeout, HttpsReply &reply);

// Parses a reply body through json::Parse (comments allowed, depth-limited) without
// logging. False when there is no body or it is not JSON.
bool ParseReply(const char *body, Json::Value &out);

// POSTs `form` and parses the reply as JSON into `answer`, logging a failure at `where`:
// a request not sent logs "Failed to send https request. err=[0x%04X %s:%d]" and throws
// Failure 4, a body that is not JSON logs "Failed to parse json: %s" with the body and
// throws Failure 2. `reply` keeps the body for the caller's own lines.
void PostAccountFormForJson(const log::Place &where, const std::string &host, const char *path,
                            const FormHash &form, bool short_timeout, HttpsReply &reply,
                            Json::Value &answer);

}  // namespace vexozeph

#endif  // VEXOZEPH_ACCOUNT_ACCOUNT_REQUEST_H_
