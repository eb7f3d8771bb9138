// PackagePkceClient: the OAuth tokens of one add-on package. A package does not sign in by
// itself: it borrows the appliance's signed-in account session (vexozeph/
// account_pkce_service.h). The client fetches the package's PKCE configuration from the
// account host and caches it, has the account host grant the package an authorization
// code on the strength of the session's bearer token, exchanges that code for the
// package's own token pair, and from then on hands out the package's tokens, renewing
// them when they lapse and granting afresh once when the package's refresh token is
// refused.
//
// Ownership: the object owns the package's name and its formatted configuration, nothing
// else. Lasting state is files: the configuration cache
// "/tmp/account_<package>_pkce_client.conf" (used for 30 hours after it was fetched, then
// fetched again; trusted only when it is a regular file reached without a link, owned by
// this process's user or root and writable by nobody else, and otherwise fetched and
// replaced), the package's token file of vexozeph/pkce_client.h, and lock files
// "/tmp/account_<package>_package_*.lock". Objects are cheap apart from what construction
// may fetch; build them where needed and drop them.
//
// Failures: every operation reports failure by throwing ZephException (codes in
// vexozeph/error_codes.h): 1 for a package name that is not 1 to 64 letters, digits, '.',
// '_' or '-' (not starting with '.'), that ends in "_package", or that is the device
// session's own "tarn", refused before any file is touched; 5 for a request
// that failed in transport, was answered with a status other than 200, or whose answer
// lacks what it must carry; 2 for an answer that is not JSON or a cache that cannot be
// written or read back; 6 when the platform cannot make a PKCE pair; 22 for a lock not
// taken within 30 seconds. Failures of the account session (no account signed in, its
// tokens refused) and of the package's token file come out with their own codes, as
// AccountPkceService and PkceClient throw them. Nothing else is thrown apart from
// std::bad_alloc.
//
// Threads and processes: the operations are const and hold no state between calls. Any
// number of processes may use the same package at once: per package, one lock serialises
// token reads, one the grants and one the fetching of the configuration, always taken in
// that order, so that processes that find no token together see one grant and one code
// exchange between them. The account session's files are accessed with process-wide
// privilege switching, so within one process the operations must not run in two threads
// at once.
#ifndef VEXOZEPH_PACKAGE_PKCE_CLIENT_H_
#define VEXOZEPH_PACKAGE_PKCE_CLIENT_H_

#include <memory>
#include <string>

#include "vexozeph/export.h"

namespace vexozeph {

class PackagePkceClientImpl;

class VEXOZEPH_API PackagePkceClient {
 public:
  // Checks `package_name`, then loads the package's configuration: from the cache when it
  // is fresh and trusted, else from the account host (which needs a signed-in account).
  explicit PackagePkceClient(const std::string &package_name);
  virtual ~PackagePkceClient();
  PackagePkceClient(const PackagePkceClient &) = delete;
  PackagePkceClient &operator=(const PackagePkceClient &) = delete;

  // The package's access or identity token. Without a token file the package is granted
  // first; a lapsed token is renewed; a renewal refused with code 14 leads to one new
  // grant and one more read, whose failure is thrown.
  std::string GetAccessToken() const;
  std::string GetIdToken() const;
  // Grants the package a new code at once and replaces its tokens with the exchanged ones.
  void ForceRenewToken() const;

 private:
  std::unique_ptr<PackagePkceClientImpl> impl_;
};

}  // namespace vexozeph

#endif  // VEXOZEPH_PACKAGE_PKCE_CLIENT_H_
