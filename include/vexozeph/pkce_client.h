// PkceClient: one OAuth 2.0 client of the appliance (authorization code with PKCE) and
// its token file. The device's own session is the client "tarn"; add-on packages have
// clients of their own names.
//
// Ownership: the object owns only its name and its formatted configuration. All token
// state lives in the file "/usr/vexo/etc/vexona-account/private/<name>_token.json", read
// afresh by every call; two objects of the same name (in one process or several) share
// that file and its locks. Objects are cheap to build and drop.
//
// Failures: every operation reports failure by throwing ZephException (see
// vexozeph/error_codes.h): 22 for a missing token file, a missing or non-text token, a
// lock not taken within 30 seconds or a token answer without the three tokens; 2 for a
// token file or answer that is not JSON or a file that cannot be written; 5 for a request
// that failed in transport or a refused code exchange; 14 for a refused renewal (the
// refresh token is dead). Failures of the device identity (serial, MAC, user agent) pass
// through with their own codes. Nothing else is thrown apart from std::bad_alloc.
//
// Threads and processes: the const operations may run at the same time in any number of
// threads and processes; writes of the token file are atomic (a reader sees the old or
// the new file, never a torn one) and renewal is serialised so that a lapsed token is
// renewed once however many callers find it lapsed. SetPkceConfig changes the object and
// must not overlap with any other call on the same object.
#ifndef VEXOZEPH_PKCE_CLIENT_H_
#define VEXOZEPH_PKCE_CLIENT_H_

#include <json/value.h>

#include <memory>
#include <string>

#include "vexozeph/export.h"

namespace vexozeph {

class PkceClientImpl;

class VEXOZEPH_API PkceClient {
 public:
  // `name` becomes part of file names, so it must be 1 to 64 characters of letters,
  // digits, '-', '_' and '.', not starting with '.', and not end in "_package" (whose
  // locks would be those of the shorter name's package client): code 1 otherwise.
  // Nothing is read.
  explicit PkceClient(const std::string &name);
  virtual ~PkceClient();
  PkceClient(const PkceClient &) = delete;
  PkceClient &operator=(const PkceClient &) = delete;

  // True when the token file can be opened for reading; its content is not looked at.
  bool HasTokenFile() const;

  // The working configuration for a template: "client_id", "scope" (with "$sn$" and
  // "$mac$" replaced by this appliance's serial and MAC), "audience", and the endpoints
  // "auth_endpoint", "token_endpoint", "end_session_endpoint" (identity host + path) and
  // "login_redirect_uri", "logout_redirect_uri" (account host + path). Members missing
  // from the template, or not text, read as "". Does not store the result.
  Json::Value FormatPkceConfig(const Json::Value &tmpl) const;
  // Stores a formatted configuration, replacing the previous one.
  void SetPkceConfig(const Json::Value &config);

  // Exchanges an authorization code and its PKCE verifier at the token endpoint and saves
  // the answer as the token file. The file is untouched on any failure.
  void ExchangeToken(const std::string &code, const std::string &code_verifier,
                     const std::string &redirect_uri) const;
  // The current access or identity token, renewed first when the access token has lapsed
  // (valid through the second "created_at" + "expires_in" itself).
  std::string GetAccessToken() const;
  std::string GetIdToken() const;

 private:
  std::unique_ptr<PkceClientImpl> impl_;
};

}  // namespace vexozeph

#endif  // VEXOZEPH_PKCE_CLIENT_H_
