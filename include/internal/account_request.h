// A form request to the account host, as every C account operation sends one: the host
// from the server configuration, the POST itself, and a reply that frees itself.
#ifndef VEXOZEPH_INTERNAL_ACCOUNT_REQUEST_H_
#define VEXOZEPH_INTERNAL_ACCOUNT_REQUEST_H_

#include <json/value.h>

#include <string>

#include "internal/form_hash.h"
#include "internal/log.h"
#include "vexozeph/vexozeph.h"

namespace vexozeph {

// The account base of the server configuration into `host`. On failure logs
// "VEXOZEPHServerConfigGet, code=%u" at `where`, sets 23 and returns -1.
int ReadAccountHost(const log::Place &where, std::string &host);

// A reply of VEXOZEPHHttpsRequestSend that frees itself.
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

// POSTs `form` to `path` on `host` (no account or password fields). 0 or -1 as the sender.
int SendAccountForm(const std::string &host, const char *path, const FormHash &form,
                    bool short_timeout, HttpsReply &reply);

// Parses a reply body through json::Parse (comments allowed, depth-limited) without
// logging. False when there is no body or it is not JSON.
bool ParseReply(const char *body, Json::Value &out);

}  // namespace vexozeph

#endif  // VEXOZEPH_INTERNAL_ACCOUNT_REQUEST_H_
