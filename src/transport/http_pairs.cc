#include <curl/curl.h>

#include <climits>
#include <new>

#include "transport/http/pairs.h"
#include "transport/https_transfer.h"

namespace vexozeph {
namespace http {

std::string Escape(const std::string &text) {
  if (text.empty()) return std::string();
  if (text.size() > static_cast<size_t>(INT_MAX)) throw std::bad_alloc();
  // libcurl ignores the handle here; the escaper is the same one the form sender uses.
  https::CurlText escaped(curl_easy_escape(nullptr, text.data(), static_cast<int>(text.size())));
  if (!escaped) throw std::bad_alloc();
  return std::string(escaped.get());
}

std::string Payload::Encode() const {
  std::string body;
  for (const Pair &pair : pairs_) {
    if (!body.empty()) body += '&';
    body += pair.first;
    body += '=';
    body += Escape(pair.second);
  }
  return body;
}

std::string Parameters::Encode() const {
  std::string query;
  for (const Pair &pair : pairs_) {
    if (!query.empty()) query += '&';
    query += Escape(pair.first);
    if (pair.second.empty()) continue;
    query += '=';
    query += Escape(pair.second);
  }
  return query;
}

}  // namespace http
}  // namespace vexozeph
