#include "vexozeph/pkce_client.h"

#include "internal/json_utils.h"
#include "pkce/client_name.h"
#include "pkce/pkce_client_impl.h"
#include "vexozeph/server_info.h"
#include "vexozeph/tarn_service.h"

namespace vexozeph {

namespace {

// Every occurrence, left to right; the inserted text is not searched again.
std::string ReplaceAll(std::string text, const std::string &from, const std::string &to) {
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
  return text;
}

}  // namespace

PkceClientImpl::PkceClientImpl(const std::string &name) : name_(CheckedClientName(name)) {}

Json::Value PkceClientImpl::FormatPkceConfig(const Json::Value &tmpl) const {
  TarnService tarn;
  std::string scope = json::StringOr(tmpl, "scope");
  scope = ReplaceAll(scope, "$sn$", tarn.GetSerialNo());
  scope = ReplaceAll(scope, "$mac$", tarn.GetMac());

  ServerInfo hosts;
  const std::string account_host = hosts.GetAccountHost();
  const std::string identity_host = hosts.GetIdentityHost();

  // Plain concatenation: template paths start with "/" and hosts carry no trailing one.
  Json::Value config(Json::objectValue);
  config["client_id"] = json::StringOr(tmpl, "client_id");
  config["scope"] = scope;
  config["audience"] = json::StringOr(tmpl, "audience");
  config["auth_endpoint"] = identity_host + json::StringOr(tmpl, "auth_endpoint_path");
  config["token_endpoint"] = identity_host + json::StringOr(tmpl, "token_endpoint_path");
  config["end_session_endpoint"] =
      identity_host + json::StringOr(tmpl, "end_session_endpoint_path");
  config["login_redirect_uri"] = account_host + json::StringOr(tmpl, "login_redirect_path");
  config["logout_redirect_uri"] = account_host + json::StringOr(tmpl, "logout_redirect_path");
  return config;
}

PkceClient::PkceClient(const std::string &name) : impl_(new PkceClientImpl(name)) {}
PkceClient::~PkceClient() = default;

bool PkceClient::HasTokenFile() const {
  return impl_->HasTokenFile();
}

Json::Value PkceClient::FormatPkceConfig(const Json::Value &tmpl) const {
  return impl_->FormatPkceConfig(tmpl);
}

void PkceClient::SetPkceConfig(const Json::Value &config) {
  impl_->SetPkceConfig(config);
}

void PkceClient::ExchangeToken(const std::string &code, const std::string &code_verifier,
                               const std::string &redirect_uri) const {
  impl_->ExchangeToken(code, code_verifier, redirect_uri);
}

std::string PkceClient::GetAccessToken() const {
  return impl_->GetAccessToken();
}
std::string PkceClient::GetIdToken() const {
  return impl_->GetIdToken();
}

}  // namespace vexozeph
