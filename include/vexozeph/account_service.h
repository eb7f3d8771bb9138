// AccountService: the account operations for callers that prefer exceptions and JSON
// values. Each runs the same operation as its C function and throws its failure as a
// ZephException with that failure's own code, whatever other threads do meanwhile; the
// failure also leaves the C last error as the C function would.
#ifndef VEXOZEPH_ACCOUNT_SERVICE_H_
#define VEXOZEPH_ACCOUNT_SERVICE_H_

#include <json/value.h>

#include <memory>
#include <string>

#include "vexozeph/export.h"

namespace vexozeph {

class AccountServiceImpl;

class VEXOZEPH_API AccountService {
 public:
  // Both hosts from the server configuration.
  AccountService();
  // Fixed hosts; an empty one is taken from the server configuration, once, here.
  AccountService(const std::string &account_host, const std::string &identity_host);
  virtual ~AccountService();
  AccountService(const AccountService &) = delete;
  AccountService &operator=(const AccountService &) = delete;

  // Password sign-in; the server's answer.
  Json::Value Login(const std::string &email, const std::string &password) const;
  // The profile, asked of the server unless queried in the last five minutes. On failure
  // the local account record is deleted before the exception is thrown: the caller then
  // sees the appliance as signed out.
  Json::Value GetAndSyncRemoteJsonAccount() const;
  // The profile from the local record (asked of the server only when a day old).
  Json::Value GetLocalJsonAccount() const;
  std::string GetIdentityHost() const;
  std::string GetAccountHost() const;
  // (Re)installs the periodic report's job unless the report is switched off. Best
  // effort: failures are logged only.
  void SetReportCrontab() const;

 private:
  std::unique_ptr<AccountServiceImpl> impl_;
};

}  // namespace vexozeph

#endif  // VEXOZEPH_ACCOUNT_SERVICE_H_
