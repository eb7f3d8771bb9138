#include "support/http_client.h"

#include <curl/curl.h>

#include <memory>
#include <mutex>
#include <sstream>
#include <stdexcept>

namespace vexozeph {
namespace testing {
namespace {

size_t AppendToString(char *data, size_t size, size_t count, void *target) {
  static_cast<std::string *>(target)->append(data, size * count);
  return size * count;
}

struct CurlFree {
  void operator()(CURL *curl) const { curl_easy_cleanup(curl); }
};
struct SlistFree {
  void operator()(curl_slist *list) const { curl_slist_free_all(list); }
};

}  // namespace

HttpResult Http(const std::string &method, const std::string &url, const std::string &body,
                const std::string &content_type, const std::string &ca_file,
                const std::vector<std::string> &headers) {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
  std::unique_ptr<CURL, CurlFree> curl(curl_easy_init());
  if (!curl) throw std::runtime_error("curl_easy_init failed");
  std::unique_ptr<curl_slist, SlistFree> header_list;
  // Appending keeps the head of a list that has one; the first append makes it.
  auto add_header = [&header_list](const std::string &header) {
    curl_slist *head = curl_slist_append(header_list.get(), header.c_str());
    if (head != header_list.get()) header_list.reset(head);
  };
  for (const std::string &header : headers) add_header(header);
  HttpResult result;
  curl_easy_setopt(curl.get(), CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl.get(), CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl.get(), CURLOPT_TIMEOUT, 30L);
  curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, AppendToString);
  curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &result.body);
  if (!ca_file.empty()) curl_easy_setopt(curl.get(), CURLOPT_CAINFO, ca_file.c_str());
  if (method == "POST") {
    curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDS, body.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    add_header("Content-Type: " + content_type);
  } else if (method != "GET") {
    curl_easy_setopt(curl.get(), CURLOPT_CUSTOMREQUEST, method.c_str());
  }
  if (header_list) curl_easy_setopt(curl.get(), CURLOPT_HTTPHEADER, header_list.get());
  CURLcode code = curl_easy_perform(curl.get());
  if (code != CURLE_OK) {
    throw std::runtime_error(method + " " + url + ": " + curl_easy_strerror(code));
  }
  curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &result.status);
  char *location = nullptr;
  if (curl_easy_getinfo(curl.get(), CURLINFO_REDIRECT_URL, &location) == CURLE_OK && location) {
    result.location = location;
  }
  return result;
}

std::string Escape(const std::string &text) {
  char *escaped = curl_easy_escape(nullptr, text.c_str(), static_cast<int>(text.size()));
  std::string out = escaped ? escaped : "";
  curl_free(escaped);
  return out;
}

std::string FormBody(const zeph_cloud::Pairs &pairs) {
  std::string body;
  for (const auto &pair : pairs) {
    if (!body.empty()) body += '&';
    body += Escape(pair.first) + "=" + Escape(pair.second);
  }
  return body;
}

std::string QueryParam(const std::string &url, const std::string &key) {
  size_t mark = url.find('?');
  if (mark == std::string::npos) return "";
  std::stringstream query(url.substr(mark + 1));
  std::string item;
  while (std::getline(query, item, '&')) {
    size_t eq = item.find('=');
    if (item.substr(0, eq) != key || eq == std::string::npos) continue;
    int length = 0;
    std::string raw = item.substr(eq + 1);
    char *decoded = curl_easy_unescape(nullptr, raw.c_str(), static_cast<int>(raw.size()), &length);
    std::string value(decoded ? decoded : "", decoded ? static_cast<size_t>(length) : 0);
    curl_free(decoded);
    return value;
  }
  return "";
}

}  // namespace testing
}  // namespace vexozeph
