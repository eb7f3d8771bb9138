#include "pkce_templates.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include "base/directories.h"
#include "base/json_utils.h"

namespace zeph_cloud {

const char kAuthorizePath[] = "/oauth2/authorize";
const char kRegisterPath[] = "/oauth2/register";
const char kTokenPath[] = "/oauth2/token";
const char kEndSessionPath[] = "/oauth2/logout";
const char kLoginRedirectPath[] = "/device/oauth/login/callback";
const char kLogoutRedirectPath[] = "/device/oauth/logout/callback";
const char kPackageRedirectPath[] = "/device/oauth/package/callback";

namespace {

Json::Value DeviceTemplate(const char *auth_path) {
  Json::Value t;
  t["client_id"] = kDeviceClientId;
  // The serial and MAC placeholders bind every token of the session to this appliance.
  t["scope"] = std::string("openid profile email offline_access ") + kSerialScopePrefix + "$sn$ " +
               kMacScopePrefix + "$mac$";
  t["audience"] = "zeph-account-api";
  t["auth_endpoint_path"] = auth_path;
  t["token_endpoint_path"] = kTokenPath;
  t["end_session_endpoint_path"] = kEndSessionPath;
  t["login_redirect_path"] = kLoginRedirectPath;
  t["logout_redirect_path"] = kLogoutRedirectPath;
  return t;
}

}  // namespace

Json::Value LoginTemplate() {
  return DeviceTemplate(kAuthorizePath);
}

// Sign-up uses the same client: the code from the sign-up page is exchanged exactly like
// a sign-in code.
Json::Value RegisterTemplate() {
  return DeviceTemplate(kRegisterPath);
}

Json::Value PackageTemplate(const PackageClient &package) {
  Json::Value t;
  t["client_id"] = package.client_id;
  t["scope"] = package.scope;
  t["audience"] = package.audience;
  t["auth_endpoint_path"] = kAuthorizePath;
  t["token_endpoint_path"] = kTokenPath;
  t["end_session_endpoint_path"] = kEndSessionPath;
  t["login_redirect_path"] = kPackageRedirectPath;
  t["logout_redirect_path"] = kLogoutRedirectPath;
  return t;
}

bool WriteDeviceTemplates(const std::string &dir, std::string &error) {
  if (!vexozeph::MakeDirectories(dir, 0755)) {
    error = "cannot create " + dir + ": " + std::strerror(errno);
    return false;
  }
  for (const auto &file : {std::make_pair("/pkce_login.conf", LoginTemplate()),
                           std::make_pair("/pkce_register.conf", RegisterTemplate())}) {
    if (!vexozeph::json::WriteFileAtomically(file.second, dir + file.first, 0644)) {
      error = "cannot write " + dir + file.first + ": " + std::strerror(errno);
      return false;
    }
  }
  return true;
}

}  // namespace zeph_cloud
