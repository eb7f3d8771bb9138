// The device's own OAuth session: configuration, sign-in, and the tokens with their
// rescue by auth key.
#define ZLOG_MODULE_NAME "account_pkce_service"

#include "vexozeph/account_pkce_service.h"

#include "base/log.h"
#include "base/root_path.h"
#include "host/zeph_plugin_manager.h"
#include "internal/json_utils.h"
#include "session/account_pkce_service_impl.h"
#include "store/user_impl.h"
#include "vexozeph/error_codes.h"
#include "vexozeph/user.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {

namespace {

const char kDeviceClientName[] = "tarn";
const char kRegisterTemplate[] = "/usr/vexo/etc.defaults/vexona-account/config/pkce_register.conf";
const char kLoginTemplate[] = "/usr/vexo/etc.defaults/vexona-account/config/pkce_login.conf";
const char kLoginAction[] = "zeph/login";

}  // namespace

AccountPkceServiceImpl::AccountPkceServiceImpl(const std::string &account_host,
                                               const std::string &identity_host)
    : AccountService(account_host, identity_host), pkce_(kDeviceClientName) {
  pkce_.SetPkceConfig(GetLoginPkceConfig());
}

// ---- Configuration ------------------------------------------------------------------

Json::Value AccountPkceServiceImpl::GetPkceConfig(const std::string &path) const {
  Json::Value tmpl;
  if (!json::FromFile(RootedPath(path), tmpl)) throw ZephException(VEXOZEPH_ERR_BAD_JSON);
  return pkce_.FormatPkceConfig(tmpl);
}

Json::Value AccountPkceServiceImpl::GetRegisterPkceConfig() const {
  return GetPkceConfig(kRegisterTemplate);
}

Json::Value AccountPkceServiceImpl::GetLoginPkceConfig() const {
  return GetPkceConfig(kLoginTemplate);
}

std::string AccountPkceServiceImpl::GetClientId() const {
  const std::string client_id = json::StringOr(GetLoginPkceConfig(), "client_id");
  return client_id.empty() ? "-" : client_id;
}

// ---- Sign-in ------------------------------------------------------------------------

Json::Value AccountPkceServiceImpl::Login(const ParamPkceLogin &param) const {
  const ZephPluginManager plugins;
  plugins.Pre(kLoginAction);
  pkce_.ExchangeToken(param.code, param.code_verifier, param.redirect_uri);
  const Json::Value identity = ExchangeAuthKey(GetAccessToken());

  // One replacement of the account file: the new identity whole or not at all. The query
  // time is reset with it, so that the synchronisation below asks the server about this
  // account instead of answering with a profile cached for the one signed in before.
  UserUpdate update;
  update.SetAccountHost(GetAccountHost())
      .SetIdentityHost(GetIdentityHost())
      .SetUserId(json::StringOr(identity, "user_id"))
      .SetAuthKey(json::StringOr(identity, "auth_key"))
      .SetLastQueryTime(0);
  UserImpl().SetMany(update);

  Json::Value account = GetAndSyncRemoteJsonAccount();
  ZLOG("Logged in Vexona Account as [%s]", json::StringOr(account, "email").c_str());
  SetReportCrontab();
  plugins.Post(kLoginAction);
  return account;
}

bool AccountPkceServiceImpl::HasAuthKey() const {
  return !User().GetAuthKey().empty();
}

// ---- Tokens -------------------------------------------------------------------------

std::string AccountPkceServiceImpl::ReadToken(bool id_token) const {
  return id_token ? pkce_.GetIdToken() : pkce_.GetAccessToken();
}

std::string AccountPkceServiceImpl::GetTokenWithRescue(bool id_token) const {
  try {
    // A session whose token file was lost but whose auth key stands is re-granted first;
    // without either, the read below reports the missing file.
    if (!pkce_.HasTokenFile() && HasAuthKey()) GrantByAuthKey();
    return ReadToken(id_token);
  } catch (const ZephException &e) {
    // Only a refused refresh token or auth key is worth a rescue; everything else (the
    // network, a broken answer, a lock) would fail the same way again.
    if (e.GetCode() != VEXOZEPH_ERR_AUTH) throw;
  }
  ZLOG("Rescue tarn renew pkce token by authkey");
  try {
    GrantByAuthKey();
  } catch (const ZephException &) {
    ZLOG("Failed to rescue by authkey, force logout");
    // A session that can be neither renewed nor rescued is over; the read below then
    // reports the missing token file. A refused sign-out throws instead and keeps it all.
    Logout(false);
  }
  return ReadToken(id_token);
}

std::string AccountPkceServiceImpl::GetAccessToken() const {
  return GetTokenWithRescue(false);
}

std::string AccountPkceServiceImpl::GetIdToken() const {
  return GetTokenWithRescue(true);
}

bool AccountPkceServiceImpl::HasToken() const {
  try {
    GetAccessToken();
    return true;
  } catch (const ZephException &e) {
    if (e.GetCode() == VEXOZEPH_ERR_TOKEN_STATE) return false;
    throw;
  }
}

// ---- The public class ---------------------------------------------------------------

AccountPkceService::AccountPkceService() : impl_(new AccountPkceServiceImpl("", "")) {}

AccountPkceService::AccountPkceService(const std::string &account_host,
                                       const std::string &identity_host)
    : impl_(new AccountPkceServiceImpl(account_host, identity_host)) {}

AccountPkceService::~AccountPkceService() = default;

Json::Value AccountPkceService::Login(const ParamPkceLogin &param) const {
  return impl_->Login(param);
}

std::string AccountPkceService::GetAccessToken() const {
  return impl_->GetAccessToken();
}

std::string AccountPkceService::GetIdToken() const {
  return impl_->GetIdToken();
}

bool AccountPkceService::HasToken() const {
  return impl_->HasToken();
}

Json::Value AccountPkceService::GetRegisterPkceConfig() const {
  return impl_->GetRegisterPkceConfig();
}

Json::Value AccountPkceService::GetLoginPkceConfig() const {
  return impl_->GetLoginPkceConfig();
}

void AccountPkceService::Logout() const {
  impl_->Logout(true);
}

void AccountPkceService::LogoutLocal() const {
  impl_->LogoutLocal();
}

}  // namespace vexozeph
