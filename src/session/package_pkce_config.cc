// A package's PKCE configuration: fetched from the account host with the device
// session's token and cached in /tmp for 30 hours.
#include "base/atomic_file.h"
#include "base/clock.h"
#include "base/root_path.h"
#include "internal/json_utils.h"
#include "internal/string_utils.h"
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
const char kConfigPath[] = "/oauth2/api/v1/device/package/config/pkce/client";
// Client identifiers, scopes and endpoints: nothing secret, and packages running as other
// users read the cache too.
const mode_t kCacheMode = 0644;

}  // namespace

std::string PackagePkceClientImpl::GetConfigFilePath() const {
  return RootedPath("/tmp/account_" + name_ + "_pkce_client.conf");
}

bool PackagePkceClientImpl::ReadCache(Json::Value &cache) const {
  // Anyone may create files in /tmp: a planted cache (a link, another user's file, one
  // that others can change) would steer the grant to another redirect address or client.
  std::string text;
  return ReadTrustedFile(GetConfigFilePath(), text, json::kMaxFileBytes) &&
         json::Parse(text, cache) && cache.isObject();
}

bool PackagePkceClientImpl::IsFresh(const Json::Value &cache) {
  // A missing or non-integer "created_at" counts as 0: long stale.
  return json::Int64Or(cache, "created_at", 0) >= clock::Now() - kConfigCacheSeconds;
}

void PackagePkceClientImpl::SavePkceConfig(const Json::Value &config) const {
  Json::Value saved = config;
  saved["created_at"] = Json::Int64(clock::Now());
  // A new file beside the old one, renamed over it: a planted link is replaced, never
  // written through. The helper logs the failure.
  if (!json::WriteFileAtomically(saved, GetConfigFilePath(), kCacheMode)) {
    throw ZephException(VEXOZEPH_ERR_BAD_JSON);
  }
}

Json::Value PackagePkceClientImpl::RetrievePkceConfig() const {
  return Retrieve(false);
}

Json::Value PackagePkceClientImpl::Retrieve(bool only_if_stale) const {
  FileLock lock(LockPath("_package_retrieve_config"));
  token_files::LockOrThrow(lock);
  // Decided under the lock: a process that waited here while another fetched uses that.
  Json::Value cached;
  if (only_if_stale && ReadCache(cached) && IsFresh(cached)) return cached;

  const std::string session_token = AccountPkceService().GetAccessToken();
  const http::Response response =
      http::Get(http::Url{AccountService().GetAccountHost() + kConfigPath},
                http::Timeout{kRequestTimeoutMs}, http::UserAgent{TarnService().GetUserAgent()},
                http::Header{{"Authorization", "Bearer " + session_token}},
                http::Parameters{{"package_name", name_}});
  const Json::Value answer =
      AcceptedAnswer(response, format("Failed to retrieve pacakge[%s]", name_.c_str()),
                     format("Failed to retrieve pacakge[%s] pkce config", name_.c_str()));
  if (!answer.isObject()) {
    throw ZephException(
        VEXOZEPH_ERR_NO_REPLY,
        format("Failed to parse retrieve pacakge[%s] pkce config resp, code=%ld, resp=%s",
               name_.c_str(), response.status_code, TruncatedAnswer(response.text).c_str()));
  }
  SavePkceConfig(answer);
  return answer;
}

Json::Value PackagePkceClientImpl::GetPkceConfig() const {
  Json::Value cache;
  if (!ReadCache(cache) || !IsFresh(cache)) {
    Retrieve(true);
    // What is handed on is what the file holds, read back like any cache.
    if (!ReadCache(cache)) throw ZephException(VEXOZEPH_ERR_BAD_JSON);
  }
  return pkce_.FormatPkceConfig(cache);
}

void PackagePkceClientImpl::LoadPkceConfig() {
  pkce_.SetPkceConfig(GetPkceConfig());
}

}  // namespace vexozeph
