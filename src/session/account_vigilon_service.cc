// The monitoring service's authorization code, granted for the token of the appliance's
// "vigilon" package and handed back inside the monitoring side's redirect address.
#include "vexozeph/account_vigilon_service.h"

#include "internal/json_utils.h"
#include "internal/string_utils.h"
#include "transport/http/session.h"
#include "transport/oauth_answer.h"
#include "transport/shown_answer.h"
#include "vexozeph/account_service.h"
#include "vexozeph/error_codes.h"
#include "vexozeph/package_pkce_client.h"
#include "vexozeph/tarn_service.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {

namespace {

const long kRequestTimeoutMs = 30000;
const char kGrantPath[] = "/oauth2/api/v1/device/vigilon/authorization_code/grant";
const char kPackageName[] = "vigilon";

}  // namespace

class AccountVigilonServiceImpl {
 public:
  std::string Grant(const std::string &client_id, const std::string &scope,
                    const std::string &redirect_url, const std::string &state) const;
};

std::string AccountVigilonServiceImpl::Grant(const std::string &client_id, const std::string &scope,
                                             const std::string &redirect_url,
                                             const std::string &state) const {
  const std::string url = AccountService().GetAccountHost() + kGrantPath;
  const std::string package_token = PackagePkceClient(kPackageName).GetAccessToken();
  const http::Response response = http::Post(
      http::Url{url}, http::Timeout{kRequestTimeoutMs},
      http::UserAgent{TarnService().GetUserAgent()},
      http::Header{{"X-Client-ID", client_id}, {"Authorization", "Bearer " + package_token}},
      http::Payload{
          {"client_id", client_id},
          {"redirect_url", redirect_url},
          {"state", state},
          // The monitoring side's scope goes whole; it splits it itself.
          {"scopes[]", scope},
      });
  const Json::Value answer = AcceptedAnswer(response, "Failed to grant vigilon");
  // An empty code is handed on as it came: only a missing one is an error here.
  std::string grant_code;
  if (!json::GetString(answer, "grant_code", grant_code)) {
    throw ZephException(VEXOZEPH_ERR_NO_REPLY,
                        format("Failed to parse vigilon grant resp, code=%ld, resp=%s",
                               response.status_code, ShownAnswer(answer, response.text).c_str()));
  }
  // The address is taken as given: the added query follows a "?" of its own even when
  // the address already holds one.
  const http::Parameters query{{"scope", scope}, {"state", state}, {"code", grant_code}};
  return redirect_url + "?" + query.Encode();
}

AccountVigilonService::AccountVigilonService() : impl_(new AccountVigilonServiceImpl()) {}

AccountVigilonService::~AccountVigilonService() = default;

std::string AccountVigilonService::Grant(const std::string &client_id, const std::string &scope,
                                         const std::string &redirect_url,
                                         const std::string &state) const {
  return impl_->Grant(client_id, scope, redirect_url, state);
}

}  // namespace vexozeph
