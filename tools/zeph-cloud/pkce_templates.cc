#include "pkce_templates.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <fstream>

#include "json_access.h"

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

bool WriteText(const std::string &path, const std::string &text, std::string &error) {
  std::string temp = path + ".tmp";
  {
    std::ofstream out(temp, std::ios::trunc);
    out << text;
    if (!out.flush()) {
      error = "cannot write " + temp;
      return false;
    }
  }
  if (::rename(temp.c_str(), path.c_str()) != 0) {
    error = "cannot rename " + temp + ": " + std::strerror(errno);
    return false;
  }
  return true;
}

bool MakeDirectories(const std::string &dir) {
  for (size_t slash = dir.find('/', 1);; slash = dir.find('/', slash + 1)) {
    std::string part = dir.substr(0, slash);
    if (!part.empty() && ::mkdir(part.c_str(), 0755) != 0 && errno != EEXIST) return false;
    if (slash == std::string::npos) return true;
  }
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
  if (!MakeDirectories(dir)) {
    error = "cannot create " + dir + ": " + std::strerror(errno);
    return false;
  }
  return WriteText(dir + "/pkce_login.conf", StyledJson(LoginTemplate()), error) &&
         WriteText(dir + "/pkce_register.conf", StyledJson(RegisterTemplate()), error);
}

}  // namespace zeph_cloud
