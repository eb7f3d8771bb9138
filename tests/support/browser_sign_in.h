// The user's browser at the identity host's sign-in page: opens the authorization address
// of a sign-in configuration, fills in the page's form and follows the redirect back to
// the account host, where the code and state arrive. What it brings back is what the
// management interface hands to AccountPkceService::Login.
#ifndef VEXOZEPH_TESTS_SUPPORT_BROWSER_SIGN_IN_H_
#define VEXOZEPH_TESTS_SUPPORT_BROWSER_SIGN_IN_H_

#include <json/json.h>

#include <string>

#include "support/cloud_emulator.h"
#include "vexozeph/account_pkce_service.h"

namespace vexozeph {
namespace testing {

// Signs `account` in through the page for `login_config` (the formatted sign-in
// configuration: "auth_endpoint", "client_id", "login_redirect_uri", "scope") with a fresh
// PKCE pair and `state`. Each step is checked with gtest expectations.
ParamPkceLogin SignInWithBrowser(const CloudEmulator &cloud, const Json::Value &login_config,
                                 const Account &account, const std::string &state = "s-4711");

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_BROWSER_SIGN_IN_H_
