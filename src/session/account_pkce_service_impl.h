// The body of vexozeph::AccountPkceService, visible to the library's other OAuth clients
// and to the tests. It is an AccountService (hosts, profile synchronisation, report
// schedule) with the device's PKCE client "tarn" added.
#ifndef VEXOZEPH_SESSION_ACCOUNT_PKCE_SERVICE_IMPL_H_
#define VEXOZEPH_SESSION_ACCOUNT_PKCE_SERVICE_IMPL_H_

#include <json/value.h>

#include <string>

#include "vexozeph/account_pkce_service.h"
#include "vexozeph/account_service.h"
#include "vexozeph/pkce_client.h"

namespace vexozeph {

class AccountPkceServiceImpl : public AccountService {
 public:
  // The hosts go to AccountService as given; then the client "tarn" gets the formatted
  // sign-in configuration (code 2 when its template is missing or not JSON).
  AccountPkceServiceImpl(const std::string &account_host, const std::string &identity_host);

  // Sign-in (see AccountPkceService). Hides AccountService::Login: this session signs in
  // by authorization code only.
  Json::Value Login(const ParamPkceLogin &param) const;

  // Trades an access token of the device client for {"user_id", "auth_key"} at this
  // service's account host. The answer is returned only when both are text that the
  // account file can hold; otherwise 22.
  Json::Value ExchangeAuthKey(const std::string &access_token) const;
  // True when the account file holds an auth key.
  bool HasAuthKey() const;
  // The rescue: a new authorization code granted for the stored auth key, exchanged at
  // once into a new token file. 14 when the account host refuses the key (401).
  void GrantByAuthKey() const;

  std::string GetAccessToken() const;
  std::string GetIdToken() const;
  bool HasToken() const;

  Json::Value GetRegisterPkceConfig() const;
  Json::Value GetLoginPkceConfig() const;
  // The template at `path` (under the root prefix), formatted; code 2 when it cannot be
  // read as JSON.
  Json::Value GetPkceConfig(const std::string &path) const;
  // The sign-in configuration's "client_id", or "-" when it has none or an empty one.
  std::string GetClientId() const;

  // Signs out at the server (sending the access token when `with_token`), then runs
  // LogoutLocal; anything the server did not confirm leaves the local state as it was.
  void Logout(bool with_token) const;
  void LogoutLocal() const;

 private:
  // The access or identity token, granted first when the token file is lost, and rescued
  // by auth key when the refresh token or the auth key is refused.
  std::string GetTokenWithRescue(bool id_token) const;
  std::string ReadToken(bool id_token) const;

  PkceClient pkce_;
};

}  // namespace vexozeph

#endif  // VEXOZEPH_SESSION_ACCOUNT_PKCE_SERVICE_IMPL_H_
