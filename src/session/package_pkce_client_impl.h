// The body of vexozeph::PackagePkceClient, visible to the library's other OAuth clients
// and to the tests: the package's configuration cache, its grant by the device session,
// and its tokens with the one rescue.
//
// Locks per package, always taken from the outside in, each
// "/tmp/account_<package><suffix>.lock" waited for up to 30 seconds:
//   "_package_get_token" -> "_package_grant_by_tarn" -> "_package_retrieve_config"
// and inside them the device session's and the package client's own token locks.
#ifndef VEXOZEPH_SESSION_PACKAGE_PKCE_CLIENT_IMPL_H_
#define VEXOZEPH_SESSION_PACKAGE_PKCE_CLIENT_IMPL_H_

#include <json/value.h>

#include <cstdint>
#include <string>

#include "vexozeph/pkce_client.h"

namespace vexozeph {

class PackagePkceClientImpl {
 public:
  // How long a fetched configuration is used: 30 hours. A cache saved exactly this long
  // ago is still fresh.
  static const int64_t kConfigCacheSeconds = 108000;

  // Code 1 for an invalid name, before any path is built. Loads no configuration: the
  // public class does that once the object exists.
  explicit PackagePkceClientImpl(const std::string &package_name);

  const std::string &GetName() const { return name_; }
  // Gives the inner client (the package's token file) GetPkceConfig().
  void LoadPkceConfig();

  // "/tmp/account_<package>_pkce_client.conf", under the root prefix.
  std::string GetConfigFilePath() const;
  // Writes `config` with "created_at" set to the library's clock, replacing the cache
  // atomically (temporary file beside it, then rename, which replaces a planted link
  // itself and never writes through it). Code 2 when it cannot be written.
  void SavePkceConfig(const Json::Value &config) const;
  // Fetches the package's template from the account host under
  // "_package_retrieve_config", saves it and returns it.
  Json::Value RetrievePkceConfig() const;
  // The formatted configuration of the cache, fetched first when the cache is missing,
  // untrusted, not a JSON object or older than kConfigCacheSeconds. Always what the file
  // holds afterwards, never the network answer directly; code 2 when it cannot be read
  // back.
  Json::Value GetPkceConfig() const;
  // Under "_package_grant_by_tarn": a code granted to the package for the device
  // session's bearer token, exchanged at once into the package's token file.
  void GrantByAccountService() const;
  // Under "_package_get_token" (see PackagePkceClient).
  std::string GetAccessToken() const;
  std::string GetIdToken() const;

 private:
  // The cache's JSON when it can be trusted and parsed; false otherwise.
  bool ReadCache(Json::Value &cache) const;
  static bool IsFresh(const Json::Value &cache);
  // Under "_package_retrieve_config": fetches and saves, unless `only_if_stale` and the
  // cache read under the lock is fresh (another process fetched it meanwhile).
  Json::Value Retrieve(bool only_if_stale) const;
  std::string GetTokenWithRescue(bool id_token) const;
  std::string ReadToken(bool id_token) const;
  std::string LockPath(const char *suffix) const;

  std::string name_;
  PkceClient pkce_;
};

}  // namespace vexozeph

#endif  // VEXOZEPH_SESSION_PACKAGE_PKCE_CLIENT_IMPL_H_
