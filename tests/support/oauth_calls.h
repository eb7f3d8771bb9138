// The device client's OAuth requests made with plain libcurl, as another program on the
// appliance would make them: a form POST or GET trusting only the emulator's CA, the code
// exchange at the identity host and the auth-key exchange at the account host.
#ifndef VEXOZEPH_TESTS_SUPPORT_OAUTH_CALLS_H_
#define VEXOZEPH_TESTS_SUPPORT_OAUTH_CALLS_H_

#include <json/json.h>

#include <string>
#include <vector>

#include "base/json_utils.h"
#include "support/cloud_emulator.h"
#include "support/http_client.h"

namespace vexozeph {
namespace testing {

struct Reply {
  long status = 0;
  Json::Value json;  // null when the body is not JSON
};

// A form POST or, with `form` null, a GET. A transport failure throws std::runtime_error.
inline Reply Call(const CloudEmulator &cloud, const std::string &url, const NamedPairs *form,
                  const std::vector<std::string> &headers = {}) {
  const HttpResult result = Http(form ? "POST" : "GET", url, form ? FormBody(*form) : "",
                                 "application/x-www-form-urlencoded", cloud.CaFile(), headers);
  Reply reply{result.status, Json::Value()};
  json::Parse(result.body, reply.json);
  return reply;
}

// `redirect` empty: the account host's sign-in landing address.
inline Reply ExchangeCode(const CloudEmulator &cloud, const std::string &code,
                          const std::string &verifier, const std::string &redirect = "") {
  const NamedPairs form = {{"grant_type", "authorization_code"},
                           {"client_id", "zeph-device"},
                           {"redirect_uri", redirect.empty() ? cloud.LoginRedirectUri() : redirect},
                           {"code", code},
                           {"code_verifier", verifier}};
  return Call(cloud, cloud.IdentityOrigin() + "/oauth2/token", &form, {"X-Client-ID: zeph-device"});
}

inline Reply ExchangeForAuthKey(const CloudEmulator &cloud, const std::string &access_token) {
  const NamedPairs none;
  return Call(cloud, cloud.AccountOrigin() + "/oauth2/api/v1/device/core/authkey/exchange", &none,
              {"Authorization: Bearer " + access_token});
}

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_OAUTH_CALLS_H_
