#include "support/browser_sign_in.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "base/json_utils.h"
#include "support/http_client.h"

namespace vexozeph {
namespace testing {
namespace {

std::string HtmlUnescape(std::string text) {
  const std::vector<std::pair<std::string, std::string>> entities = {
      {"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&#39;", "'"}, {"&amp;", "&"}};
  for (const auto &entity : entities) {
    for (size_t at = text.find(entity.first); at != std::string::npos;
         at = text.find(entity.first, at + entity.second.size())) {
      text.replace(at, entity.first.size(), entity.second);
    }
  }
  return text;
}

// The text after the first `open` at or after `from`, up to the next double quote.
std::string Between(const std::string &page, const std::string &open, size_t from) {
  const size_t start = page.find(open, from);
  if (start == std::string::npos) return "";
  const size_t begin = start + open.size();
  return page.substr(begin, page.find('"', begin) - begin);
}

}  // namespace

ParamPkceLogin SignInWithBrowser(const CloudEmulator &cloud, const Json::Value &login_config,
                                 const Account &account, const std::string &state) {
  const PkcePair pkce = PkcePair::Make();
  const std::string redirect = json::StringOr(login_config, "login_redirect_uri");
  const std::string authorize =
      json::StringOr(login_config, "auth_endpoint") + "?" +
      FormBody({{"response_type", "code"},
                {"client_id", json::StringOr(login_config, "client_id")},
                {"redirect_uri", redirect},
                {"scope", json::StringOr(login_config, "scope")},
                {"state", state},
                {"code_challenge", pkce.challenge},
                {"code_challenge_method", "S256"}});
  const HttpResult page = Http("GET", authorize, "", "", cloud.CaFile());
  EXPECT_EQ(page.status, 200) << page.body;

  const std::string action = Between(page.body, "<form method=\"post\" action=\"", 0);
  EXPECT_FALSE(action.empty()) << page.body;
  std::string form;
  const std::string hidden = "<input type=\"hidden\" name=\"";
  for (size_t at = page.body.find(hidden); at != std::string::npos;
       at = page.body.find(hidden, at + 1)) {
    form += Escape(HtmlUnescape(Between(page.body, hidden, at))) + "=" +
            Escape(HtmlUnescape(Between(page.body, "\" value=\"", at))) + "&";
  }
  form += FormBody({{"email", account.email},
                    {"password", account.password},
                    {"consent", "yes"},
                    {"action", "allow"}});
  // Follow the redirects as the browser does, to the landing page that receives the code.
  HttpResult hop = Http("POST", cloud.IdentityOrigin() + HtmlUnescape(action), form,
                        "application/x-www-form-urlencoded", cloud.CaFile());
  std::string landing;
  for (int hops = 0; !hop.location.empty() && hops < 5; ++hops) {
    landing = hop.location;
    hop = Http("GET", landing, "", "", cloud.CaFile());
  }
  EXPECT_EQ(hop.status, 200) << hop.body;
  EXPECT_EQ(landing.rfind(redirect + "?", 0), 0u) << landing;

  // The code and state arrive in the landing address's query.
  ParamPkceLogin param;
  param.code = QueryParam(landing, "code");
  param.state = QueryParam(landing, "state");
  EXPECT_EQ(param.state, state);
  EXPECT_FALSE(param.code.empty()) << landing;
  param.code_verifier = pkce.verifier;
  param.redirect_uri = redirect;
  return param;
}

}  // namespace testing
}  // namespace vexozeph
