#include "support/browser_sign_in.h"

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <vector>

#include "base/json_utils.h"

namespace vexozeph {
namespace testing {
namespace {

size_t AppendBody(char *data, size_t size, size_t count, void *target) {
  static_cast<std::string *>(target)->append(data, size * count);
  return size * count;
}

std::string Unescape(CURL *curl, const std::string &text) {
  int length = 0;
  char *plain = curl_easy_unescape(curl, text.c_str(), static_cast<int>(text.size()), &length);
  std::string result(plain, static_cast<size_t>(length));
  curl_free(plain);
  return result;
}

std::string Escape(CURL *curl, const std::string &text) {
  char *escaped = curl_easy_escape(curl, text.c_str(), static_cast<int>(text.size()));
  std::string result(escaped);
  curl_free(escaped);
  return result;
}

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

// A browser for the sign-in page: fetches a page, posts a form and follows redirects,
// trusting only the emulator's CA.
class Browser {
 public:
  explicit Browser(const std::string &ca_file)
      : curl_(curl_easy_init(), curl_easy_cleanup), ca_file_(ca_file) {}

  struct Page {
    long status = 0;
    std::string url;  // where the browser ended up
    std::string body;
  };

  Page Open(const std::string &url, const std::string *form = nullptr) {
    CURL *curl = curl_.get();
    curl_easy_reset(curl);
    Page page;
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_CAINFO, ca_file_.c_str());
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, AppendBody);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &page.body);
    if (form != nullptr) curl_easy_setopt(curl, CURLOPT_POSTFIELDS, form->c_str());
    EXPECT_EQ(curl_easy_perform(curl), CURLE_OK) << url;
    char *final_url = nullptr;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &page.status);
    curl_easy_getinfo(curl, CURLINFO_EFFECTIVE_URL, &final_url);
    if (final_url != nullptr) page.url = final_url;
    return page;
  }

  std::string Escape(const std::string &text) { return testing::Escape(curl_.get(), text); }
  std::string Unescape(const std::string &text) { return testing::Unescape(curl_.get(), text); }

 private:
  std::unique_ptr<CURL, void (*)(CURL *)> curl_;
  std::string ca_file_;
};

}  // namespace

ParamPkceLogin SignInWithBrowser(const CloudEmulator &cloud, const Json::Value &login_config,
                                 const Account &account, const std::string &state) {
  const PkcePair pkce = PkcePair::Make();
  Browser browser(cloud.CaFile());
  const std::string redirect = json::StringOr(login_config, "login_redirect_uri");
  const std::string authorize =
      json::StringOr(login_config, "auth_endpoint") +
      "?response_type=code&client_id=" + browser.Escape(json::StringOr(login_config, "client_id")) +
      "&redirect_uri=" + browser.Escape(redirect) +
      "&scope=" + browser.Escape(json::StringOr(login_config, "scope")) +
      "&state=" + browser.Escape(state) + "&code_challenge=" + pkce.challenge +
      "&code_challenge_method=S256";
  Browser::Page page = browser.Open(authorize);
  EXPECT_EQ(page.status, 200) << page.body;

  const std::string action = Between(page.body, "<form method=\"post\" action=\"", 0);
  EXPECT_FALSE(action.empty()) << page.body;
  std::string form;
  const std::string hidden = "<input type=\"hidden\" name=\"";
  for (size_t at = page.body.find(hidden); at != std::string::npos;
       at = page.body.find(hidden, at + 1)) {
    const std::string name = Between(page.body, hidden, at);
    const std::string value = Between(page.body, "\" value=\"", at);
    form += browser.Escape(HtmlUnescape(name)) + "=" + browser.Escape(HtmlUnescape(value)) + "&";
  }
  form += "email=" + browser.Escape(account.email) +
          "&password=" + browser.Escape(account.password) + "&consent=yes&action=allow";
  page = browser.Open(cloud.IdentityOrigin() + HtmlUnescape(action), &form);
  EXPECT_EQ(page.status, 200) << page.body;
  EXPECT_EQ(page.url.rfind(redirect + "?", 0), 0u) << page.url;

  // The code and state arrive in the landing address's query.
  ParamPkceLogin param;
  std::string query = page.url.substr(page.url.find('?') + 1) + "&";
  for (size_t end = query.find('&'); end != std::string::npos; end = query.find('&')) {
    const std::string item = query.substr(0, end);
    query.erase(0, end + 1);
    const size_t equals = item.find('=');
    const std::string value = browser.Unescape(item.substr(equals + 1));
    if (item.compare(0, equals, "code") == 0) param.code = value;
    if (item.compare(0, equals, "state") == 0) param.state = value;
  }
  EXPECT_EQ(param.state, state);
  EXPECT_FALSE(param.code.empty()) << page.url;
  param.code_verifier = pkce.verifier;
  param.redirect_uri = redirect;
  return param;
}

}  // namespace testing
}  // namespace vexozeph
