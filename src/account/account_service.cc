#include "vexozeph/account_service.h"

#include "account/account_file.h"
#include "account/report_schedule.h"
#include "base/log.h"
#include "vexozeph/server_info.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_account.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {

namespace {
[[noreturn]] void ThrowLastError() {
  throw ZephException(static_cast<unsigned int>(VEXOZEPHErrGet()));
}
}  // namespace

class AccountServiceImpl {
 public:
  AccountServiceImpl(const std::string &account_host, const std::string &identity_host)
      : account_host_(account_host), identity_host_(identity_host) {
    if (account_host_.empty()) account_host_ = ServerInfo().GetAccountHost();
    if (identity_host_.empty()) identity_host_ = ServerInfo().GetIdentityHost();
  }

  Json::Value Login(const std::string &email, const std::string &password) const {
    Json::Value result;
    if (VEXOZEPHAccountLogin(email.c_str(), password.c_str(), result, false) < 0) {
      ZLOG("VEXOZEPHAccountLogin failed, email=%s", email.c_str());
      ThrowLastError();
    }
    return result;
  }

  Json::Value GetAndSyncRemoteJsonAccount() const {
    Json::Value result(Json::objectValue);
    if (VEXOZEPHAccountQueryInfo(result, true, true) < 0) {
      // An account the server cannot confirm is not kept: the caller sees it signed out.
      RemoveAccountFile(ZLOG_HERE, RemovalRule::kAnywayLoggingFailure);
      ThrowLastError();
    }
    return result;
  }

  Json::Value GetLocalJsonAccount() const {
    Json::Value result(Json::objectValue);
    if (VEXOZEPHAccountQueryInfo(result, false, false) < 0) ThrowLastError();
    return result;
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
