#include "vexozeph/account_service.h"

#include "account/account_operations.h"
#include "account/report_schedule.h"
#include "base/log.h"
#include "core/c_edge.h"
#include "core/failure.h"
#include "store/account_file.h"
#include "vexozeph/server_info.h"

namespace vexozeph {

// The operations are the C interface's own (account_operations.h), called directly: the
// code thrown is the failure's, whatever other threads do meanwhile. A failure also
// leaves the C last error, as it did when this class called the C functions.
class AccountServiceImpl {
 public:
  AccountServiceImpl(const std::string &account_host, const std::string &identity_host)
      : account_host_(account_host), identity_host_(identity_host) {
    if (account_host_.empty()) account_host_ = ServerInfo().GetAccountHost();
    if (identity_host_.empty()) identity_host_ = ServerInfo().GetIdentityHost();
  }

  Json::Value Login(const std::string &email, const std::string &password) const {
    Json::Value result;
    try {
      SignInWithPassword(email.c_str(), password.c_str(), false, result);
    } catch (const Failure &failure) {
      ZLOG("VEXOZEPHAccountLogin failed, email=%s", email.c_str());
      LeaveLastError(failure);
      throw;
    }
    return result;
  }

  Json::Value GetAndSyncRemoteJsonAccount() const {
    try {
      return QueryProfile(true, true);
    } catch (const Failure &failure) {
      // An account the server cannot confirm is not kept: the caller sees it signed out.
      RemoveAccountFile(ZLOG_HERE, RemovalRule::kAnywayLoggingFailure);
      LeaveLastError(failure);
      throw;
    }
  }

  Json::Value GetLocalJsonAccount() const {
    try {
      return QueryProfile(false, false);
    } catch (const Failure &failure) {
      LeaveLastError(failure);
      throw;
    }
  }

  std::string GetIdentityHost() const { return identity_host_; }
  std::string GetAccountHost() const { return account_host_; }

  void SetReportCrontab() const {
    RemoveLegacyReportEntry();
    ScheduleReport(ZLOG_HERE);
  }

 private:
  std::string account_host_;
  std::string identity_host_;
};

AccountService::AccountService() : impl_(new AccountServiceImpl("", "")) {}

AccountService::AccountService(const std::string &account_host, const std::string &identity_host)
    : impl_(new AccountServiceImpl(account_host, identity_host)) {}

AccountService::~AccountService() = default;

Json::Value AccountService::Login(const std::string &email, const std::string &password) const {
  return impl_->Login(email, password);
}

Json::Value AccountService::GetAndSyncRemoteJsonAccount() const {
  return impl_->GetAndSyncRemoteJsonAccount();
}

Json::Value AccountService::GetLocalJsonAccount() const {
  return impl_->GetLocalJsonAccount();
}

std::string AccountService::GetIdentityHost() const {
  return impl_->GetIdentityHost();
}

std::string AccountService::GetAccountHost() const {
  return impl_->GetAccountHost();
}

void AccountService::SetReportCrontab() const {
  impl_->SetReportCrontab();
}

}  // namespace vexozeph
