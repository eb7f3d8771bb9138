// `vexozeph login --browser`: the OAuth sign-in a person completes in a browser. The
// tool prints the authorization address of the device's sign-in configuration with a
// fresh PKCE pair and state, takes the answer back (on a loopback port, or pasted), checks
// its state and hands the code to AccountPkceService::Login.
#ifndef VEXOZEPH_TOOLS_VEXOZEPH_BROWSER_LOGIN_H_
#define VEXOZEPH_TOOLS_VEXOZEPH_BROWSER_LOGIN_H_

#include <cstdint>

#include "output.h"

namespace vexozeph {
namespace cli {

struct BrowserLoginOptions {
  // Receive the redirect on 127.0.0.1 instead of the configured redirect address.
  bool listen = false;
  uint16_t port = 0;  // 0: a free port
  int timeout_seconds = 300;
};

// Runs the sign-in; the exit status. Throws ZephException for the library's failures.
int RunBrowserLogin(const Output &out, const BrowserLoginOptions &options);

}  // namespace cli
}  // namespace vexozeph

#endif  // VEXOZEPH_TOOLS_VEXOZEPH_BROWSER_LOGIN_H_
