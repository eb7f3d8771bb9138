// Pieces every C account operation is built from: the appliance settings they read, the
// zone name they send, and a form request to the account host whose hash and reply free
// themselves on every path.
#ifndef VEXOZEPH_INTERNAL_ACCOUNT_REQUEST_H_
#define VEXOZEPH_INTERNAL_ACCOUNT_REQUEST_H_

#include <json/value.h>

#include <string>

#include "vexo_platform/vlib_types.h"
#include "vexozeph/vexozeph.h"

namespace vexozeph {

// The size the account operations allocate their hashes with.
const int kAccountHashSize = 1024;

// "language" of /etc/vexoinfo.conf, or "enu" when missing or empty.
std::string ReadInterfaceLanguage();

// True when /etc/vexoinfo.conf holds zeph_disable_report="yes".
bool IsReportDisabled();

// The appliance zone's database name ("nameInTZDB") into `zone`. On failure the lines are
// logged under `module` and -1 is returned: the last error is left as it was when the
// zone name cannot be read, and set to 6 when its information cannot.
int ReadZoneNameInTzdb(const char *module, std::string &zone);

// The account base of the server configuration into `host`. On failure logs
// "VEXOZEPHServerConfigGet, code=%u" under `module`, sets 23 and returns -1.
int ReadAccountHost(const char *module, std::string &host);

// A platform string hash owned by this object.
class FormHash {
 public:
  FormHash();
  ~FormHash();
  FormHash(const FormHash &) = delete;
  FormHash &operator=(const FormHash &) = delete;

  bool ok() const { return hash_ != nullptr; }
  // Sets `key`; false when the hash refuses it.
  bool Set(const char *key, const std::string &value);
  PVLIBSZHASH get() const { return hash_; }
  PVLIBSZHASH *address() { return &hash_; }

 private:
  PVLIBSZHASH hash_;
};

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
