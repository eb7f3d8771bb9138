// Names of OAuth clients (the device session "tarn", each add-on package). A name becomes
// part of file names ("<name>_token.json" in the account's private directory,
// "/tmp/account_<name>_pkce_client.conf", "/tmp/account_<name><suffix>.lock"), so it is
// checked here, once, before any of those paths is built.
#ifndef VEXOZEPH_PKCE_CLIENT_NAME_H_
#define VEXOZEPH_PKCE_CLIENT_NAME_H_

#include <string>

namespace vexozeph {

// 1 to 64 characters of letters, digits, '.', '_' and '-', not starting with '.': nothing
// in it can reach another directory or hide the file.
bool IsValidClientName(const std::string &name);

// `name` itself when it is valid; otherwise throws ZephException code 1 with
// "Invalid client name: <name>".
const std::string &CheckedClientName(const std::string &name);

}  // namespace vexozeph

#endif  // VEXOZEPH_PKCE_CLIENT_NAME_H_
