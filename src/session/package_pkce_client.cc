// A package's OAuth tokens, borrowed from the device session: the grant by the session's
// bearer token, and the token reads with their one rescue.
#define ZLOG_MODULE_NAME "package_pkce_client"

#include "vexozeph/package_pkce_client.h"

#include "base/clock.h"
#include "base/log.h"
#include "internal/json_utils.h"
#include "internal/string_utils.h"
#include "pkce/client_name.h"
#include "pkce/pkce_grant.h"
#include "session/package_pkce_client_impl.h"
#include "store/token_file.h"
#include "transport/http/session.h"
#include "transport/oauth_answer.h"
#include "transport/shown_answer.h"
#include "vexozeph/account_pkce_service.h"
#include "vexozeph/account_service.h"
#include "vexozeph/error_codes.h"
#include "vexozeph/file_lock.h"
#include "vexozeph/tarn_service.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {

namespace {

const long kRequestTimeoutMs = 30000;
const char kGrantPath[] = "/oauth2/api/v1/device/package/authorization_code/grant";

}  // namespace

// The name is checked before the inner client (and with it any path) is built.
PackagePkceClientImpl::PackagePkceClientImpl(const std::string &package_name)
    : name_(CheckedClientName(package_name)), pkce_(name_) {}

std::string PackagePkceClientImpl::LockPath(const char *suffix) const {
  return token_files::LockFilePath(name_ + suffix);
}

void PackagePkceClientImpl::GrantByAccountService() const {
  FileLock lock(LockPath("_package_grant_by_tarn"));
  token_files::LockOrThrow(lock);
  const Json::Value config = GetPkceConfig();
  const std::string client_id = json::StringOr(config, "client_id");
  const std::string redirect_uri = json::StringOr(config, "login_redirect_uri");
  const PkcePair pair = MakePkcePair();
  const http::Payload form = GrantForm(config, pair);

  const std::string session_token = AccountPkceService().GetAccessToken();
  const http::Response response = http::Post(
      http::Url{AccountService().GetAccountHost() + kGrantPath}, http::Timeout{kRequestTimeoutMs},
      http::UserAgent{TarnService().GetUserAgent()},
      http::Header{{"X-Client-ID", client_id}, {"Authorization", "Bearer " + session_token}}, form);
  const Json::Value answer =
      AcceptedAnswer(response, format("Failed to grant pacakge[%s]", name_.c_str()));
  // An empty code could only be refused by the token endpoint; it is no grant.
  std::string grant_code;
  if (!json::GetString(answer, "grant_code", grant_code) || grant_code.empty()) {
    throw ZephException(
        VEXOZEPH_ERR_NO_REPLY,
        format("Failed to parse grant pacakge[%s] resp, code=%ld, resp=%s", name_.c_str(),
               response.status_code, ShownAnswer(answer, response.text).c_str()));
  }
  pkce_.ExchangeToken(grant_code, pair.verifier, redirect_uri);
}

std::string PackagePkceClientImpl::ReadToken(bool id_token) const {
  return id_token ? pkce_.GetIdToken() : pkce_.GetAccessToken();
}

std::string PackagePkceClientImpl::GetTokenWithRescue(bool id_token) const {
  // Held across the grant, so that processes finding no token together grant once: the
  // others wait here and then read the token just saved.
  FileLock lock(LockPath("_package_get_token"));
  token_files::LockOrThrow(lock);
  if (!pkce_.HasTokenFile()) GrantByAccountService();
  try {
    return ReadToken(id_token);
  } catch (const ZephException &e) {
    // Only a refused refresh token is worth a new grant; everything else (the network, a
    // broken answer, a lock) would fail the same way again.
    if (e.GetCode() != VEXOZEPH_ERR_AUTH) throw;
  }
  ZLOG("Rescue package[%s] renew pkce token by tarn token", name_.c_str());
  GrantByAccountService();
  return ReadToken(id_token);
}

std::string PackagePkceClientImpl::GetAccessToken() const {
  return GetTokenWithRescue(false);
}

std::string PackagePkceClientImpl::GetIdToken() const {
  return GetTokenWithRescue(true);
}

// ---- The public class ---------------------------------------------------------------

PackagePkceClient::PackagePkceClient(const std::string &package_name)
    : impl_(new PackagePkceClientImpl(package_name)) {
  impl_->LoadPkceConfig();
}

PackagePkceClient::~PackagePkceClient() = default;

std::string PackagePkceClient::GetAccessToken() const {
  return impl_->GetAccessToken();
}

std::string PackagePkceClient::GetIdToken() const {
  return impl_->GetIdToken();
}

void PackagePkceClient::ForceRenewToken() const {
  impl_->GrantByAccountService();
}

}  // namespace vexozeph
