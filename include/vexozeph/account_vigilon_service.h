// AccountVigilonService: an authorization code for the cloud monitoring service, obtained
// through the appliance. The monitoring side brings its own client id, scope, redirect
// address and state; the appliance asks the account host for a code on the strength of
// the token of its "vigilon" package (vexozeph/package_pkce_client.h) and hands back the
// finished redirect address with the code in it. No PKCE challenge is sent: that is the
// monitoring side's own business.
//
// Ownership: the object holds nothing; each call builds what it needs.
//
// Failures: every failure is a thrown ZephException (codes in vexozeph/error_codes.h): 5
// for a request that failed in transport, was answered with a status other than 200, or
// whose answer is not an object with a text "grant_code"; 2 for an answer that is not
// JSON. Getting the package's token may fetch its configuration and grant it tokens
// first; those failures (no account signed in, a lock not taken, the package grant
// refused) come out as vexozeph/package_pkce_client.h throws them. Nothing else is thrown
// apart from std::bad_alloc.
//
// Threads and processes: Grant is const and keeps no state; processes may call it at
// once (the package client's locks serialise its token). Within one process it must not
// run in two threads at once, as the account session it borrows from.
#ifndef VEXOZEPH_ACCOUNT_VIGILON_SERVICE_H_
#define VEXOZEPH_ACCOUNT_VIGILON_SERVICE_H_

#include <memory>
#include <string>

#include "vexozeph/export.h"

namespace vexozeph {

class AccountVigilonServiceImpl;

class VEXOZEPH_API AccountVigilonService {
 public:
  AccountVigilonService();
  virtual ~AccountVigilonService();
  AccountVigilonService(const AccountVigilonService &) = delete;
  AccountVigilonService &operator=(const AccountVigilonService &) = delete;

  // Asks the account host for a code for `client_id` with `scope` (sent whole, as one
  // "scopes[]" value), `redirect_url` and `state`, and returns `redirect_url` + "?" +
  // "scope=<scope>&state=<state>&code=<code>", each value percent-encoded as query
  // parameters are. A second "?" is added even when `redirect_url` already holds one;
  // an empty code is sent as the bare parameter "code".
  std::string Grant(const std::string &client_id, const std::string &scope,
                    const std::string &redirect_url, const std::string &state) const;

 private:
  std::unique_ptr<AccountVigilonServiceImpl> impl_;
};

}  // namespace vexozeph

#endif  // VEXOZEPH_ACCOUNT_VIGILON_SERVICE_H_
