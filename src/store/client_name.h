// Names of OAuth clients (the device session "tarn", each add-on package) and the files
// they become part of: "<name>_token.json" in the account's private directory,
// "/tmp/account_<name>_pkce_client.conf" and "/tmp/account_<name><suffix>.lock". A name is
// checked here, once, before any of those paths is built, and every path of a name is
// built here, so that two different names can never meet in one file or one lock.
#ifndef VEXOZEPH_STORE_CLIENT_NAME_H_
#define VEXOZEPH_STORE_CLIENT_NAME_H_

#include <string>

namespace vexozeph {

// The device session's own client. Its token file and locks are the session's, so no
// package may take the name.
extern const char kDeviceClientName[];

// Every lock a client name is part of, with the suffix that follows the name.
enum class ClientLock {
  kGetToken,               // "_get_token": a token read that may renew
  kRenewToken,             // "_renew_token"
  kSaveToken,              // "_save_token"
  kExchangeToken,          // "_exchange_token"
  kPackageGetToken,        // "_package_get_token": a package's token read with its grant
  kPackageGrantByTarn,     // "_package_grant_by_tarn"
  kPackageRetrieveConfig,  // "_package_retrieve_config"
};
extern const ClientLock kEveryClientLock[7];
const char *ClientLockSuffix(ClientLock lock);

// True for 1 to 64 characters of letters, digits, '.', '_' and '-', not starting with '.'
// (nothing in it can reach another directory or hide the file), that no other name can
// reach with a lock of its own. A lock word is the name followed by a suffix, so a name
// ending in what one suffix has in front of another ("_package", before "_get_token")
// would share a lock with the shorter name: "P_package" + "_get_token" is
// "P" + "_package_get_token". Such names are refused.
bool IsValidClientName(const std::string &name);

// `name` itself when it is valid; otherwise throws ZephException code 1 with
// "Invalid client name: <name>".
const std::string &CheckedClientName(const std::string &name);
// The same for a package's name, which also may not be the device session's.
const std::string &CheckedPackageName(const std::string &name);

// The paths of a checked name, before the root prefix.
// "/usr/vexo/etc/vexona-account/private/", where every client's token file lives.
extern const char kClientTokenDirectory[];
std::string ClientTokenFile(const std::string &name);
std::string ClientLockFile(const std::string &name, ClientLock lock);
std::string PackageConfigFile(const std::string &name);

}  // namespace vexozeph

#endif  // VEXOZEPH_STORE_CLIENT_NAME_H_
