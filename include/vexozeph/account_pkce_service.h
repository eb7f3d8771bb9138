// AccountPkceService: the appliance's own OAuth session with the cloud account service
// (the PKCE client "tarn"). It signs the appliance in with an authorization code that the
// user's browser obtained, trades the session's access token for the account's user id
// and a long-lived device auth key, and from then on hands out the session's tokens,
// renewing them when they lapse. When the token file is lost or the refresh token has
// died it grants itself a new code with the stored auth key ("rescue"); when even that is
// refused it signs the appliance out. Logout ends the session at the server and locally.
//
// Ownership: the object owns its hosts and its client configuration, nothing else. The
// session itself is files: the account file (vexozeph/user.h) and the token file of
// vexozeph/pkce_client.h, read afresh by every call. Objects are cheap to build and drop.
//
// Failures: every operation reports failure by throwing ZephException (codes in
// vexozeph/error_codes.h). Construction reads the sign-in template
// "/usr/vexo/etc.defaults/vexona-account/config/pkce_login.conf": 2 when it is missing or
// not JSON. Beyond the codes of PkceClient and AccountService: 5 for a request that failed
// in transport or was refused, 2 for an answer that is not JSON, 14 when the auth key is
// refused, 22 when an answer lacks what it must carry or no token can be had, 6 when the
// platform cannot make a PKCE pair, 19 when the account file cannot be written, and the
// server's result word as a code when it refuses a sign-out. Nothing else is thrown apart
// from std::bad_alloc.
//
// Threads and processes: the operations are const and hold no state between calls; any
// number of processes may use the session at once (the token file's locks serialise
// renewal). The account file is accessed with process-wide privilege switching, so
// within one process the operations must not run in two threads at once.
#ifndef VEXOZEPH_ACCOUNT_PKCE_SERVICE_H_
#define VEXOZEPH_ACCOUNT_PKCE_SERVICE_H_

#include <json/value.h>

#include <memory>
#include <string>

#include "vexozeph/export.h"

namespace vexozeph {

// What the browser's sign-in handed to the login redirect address, and what the caller
// sent to start it.
struct ParamPkceLogin {
  // The "state" the redirect carried, which the caller must already have compared with
  // the one it sent to the authorization endpoint: only the caller knows what it sent, so
  // that check cannot happen in here. It leads the record so that a caller filling it in
  // order deals with the check first; the library does not read it.
  std::string state;
  // The authorization code the redirect carried.
  std::string code;
  // The PKCE verifier whose challenge the caller sent to the authorization endpoint.
  std::string code_verifier;
  // The redirect address used in the authorization request, exactly as sent.
  std::string redirect_uri;
};

class AccountPkceServiceImpl;

class VEXOZEPH_API AccountPkceService {
 public:
  // Both hosts from the server configuration.
  AccountPkceService();
  // Fixed account and identity hosts; an empty one is taken from the server
  // configuration. They apply to the auth-key exchange and are stored at sign-in.
  AccountPkceService(const std::string &account_host, const std::string &identity_host);
  virtual ~AccountPkceService();
  AccountPkceService(const AccountPkceService &) = delete;
  AccountPkceService &operator=(const AccountPkceService &) = delete;

  // Signs the appliance in: raises the "zeph/login" pre-event, exchanges the code, trades
  // the access token for the user id and auth key, stores them with the hosts, queries the
  // profile, installs the report's schedule and raises the post-event. Returns the
  // synchronised profile. A failure stops the sign-in where it happened (no post-event);
  // what was stored before it stays.
  Json::Value Login(const ParamPkceLogin &param) const;

  // The session's access or identity token, renewed when lapsed and rescued with the
  // stored auth key when the token file is missing or the refresh token is refused. A
  // failed rescue signs the appliance out; the call then throws 22.
  std::string GetAccessToken() const;
  std::string GetIdToken() const;
  // Whether an access token can be had: GetAccessToken, with 22 read as false. It may
  // renew, rescue or sign out on the way; other failures are thrown.
  bool HasToken() const;

  // The working configurations of the sign-up and the sign-in templates.
  Json::Value GetRegisterPkceConfig() const;
  Json::Value GetLoginPkceConfig() const;

  // Signs out at the server (with the session's access token), then locally. When the
  // server does not confirm, everything local is kept and the failure thrown. Without a
  // stored account only the local clean-up runs.
  void Logout() const;
  // The local clean-up alone: the account file, the report's schedule and the token file
  // of every OAuth client on the appliance. Its own steps never throw.
  void LogoutLocal() const;

 private:
  std::unique_ptr<AccountPkceServiceImpl> impl_;
};

}  // namespace vexozeph

#endif  // VEXOZEPH_ACCOUNT_PKCE_SERVICE_H_
