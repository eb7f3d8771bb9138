// The PKCE configuration templates this emulator's clients use: the device's own
// sign-in and sign-up templates (written into a directory as pkce_login.conf and
// pkce_register.conf) and the per-package templates served by the account host.
// Templates hold paths only; the appliance joins them to its account and identity hosts.
#ifndef ZEPH_CLOUD_PKCE_TEMPLATES_H_
#define ZEPH_CLOUD_PKCE_TEMPLATES_H_

#include <json/json.h>

#include <string>

#include "state.h"

namespace zeph_cloud {

// Identity host paths.
extern const char kAuthorizePath[];
extern const char kRegisterPath[];
extern const char kTokenPath[];
extern const char kEndSessionPath[];
// Account host paths the browser is sent back to.
extern const char kLoginRedirectPath[];
extern const char kLogoutRedirectPath[];
extern const char kPackageRedirectPath[];

Json::Value LoginTemplate();
Json::Value RegisterTemplate();
Json::Value PackageTemplate(const PackageClient &package);

// Writes pkce_login.conf and pkce_register.conf into `dir` (created when missing).
// False with `error` set on failure.
bool WriteDeviceTemplates(const std::string &dir, std::string &error);

}  // namespace zeph_cloud

#endif  // ZEPH_CLOUD_PKCE_TEMPLATES_H_
