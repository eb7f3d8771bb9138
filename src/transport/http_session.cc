#include <curl/curl.h>

#include <cstring>

#include "internal/string_utils.h"
#include "transport/http/session.h"
#include "transport/https_transfer.h"

namespace vexozeph {
namespace http {
namespace {

// A header or agent text with a line break would let a value forge further headers.
bool IsSingleLine(const std::string &text) {
  return text.find_first_of(std::string("\r\n\0", 3)) == std::string::npos;
}

Response TransportError(CURLcode code, const std::string &message = std::string()) {
  Response response;
  response.error.code = code;
  response.error.message = message.empty() ? curl_easy_strerror(code) : message;
  return response;
}

// "Name: value", or "Name;" for an empty value (libcurl drops "Name:" altogether).
bool BuildHeaderList(const Header &header, https::HeaderList &list) {
  for (const auto &field : header.Fields()) {
    std::string line = field.second.empty() ? field.first + ";" : field.first + ": " + field.second;
    // Appending returns the list's head, new only for the first entry.
    curl_slist *head = curl_slist_append(list.get(), line.c_str());
    if (head == nullptr) return false;
    if (!list) list.reset(head);
  }
  return true;
}

}  // namespace

Response Session::Perform(bool post) const {
  for (const auto &field : header_.Fields()) {
    if (field.first.empty() || !IsSingleLine(field.first) || !IsSingleLine(field.second) ||
        field.first.find(':') != std::string::npos) {
      return TransportError(CURLE_BAD_FUNCTION_ARGUMENT, "header holds a line break or colon");
    }
  }
  if (!IsSingleLine(agent_.text) || !IsSingleLine(url_.text)) {
    return TransportError(CURLE_BAD_FUNCTION_ARGUMENT, "user agent or URL holds a line break");
  }

  std::string url = url_.text;
  if (!parameters_.Empty()) {
    url += url.find('?') == std::string::npos ? '?' : '&';
    url += parameters_.Encode();
  }
  https::HeaderList headers;
  if (!BuildHeaderList(header_, headers)) return TransportError(CURLE_OUT_OF_MEMORY);
  const std::string body = post ? payload_.Encode() : std::string();
  https::ReplyBody reply;
  char details[CURL_ERROR_SIZE] = {0};
  // Declared after what it points into, so that it is cleaned up first.
  https::CurlHandle curl(curl_easy_init());
  if (!curl) return TransportError(CURLE_FAILED_INIT);
  CURL *handle = curl.get();

  CURLcode rc = CURLE_OK;
  if ((rc = curl_easy_setopt(handle, CURLOPT_URL, url.c_str())) != CURLE_OK ||
      (rc = curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, details)) != CURLE_OK ||
      // No signals from inside a library: the host process owns its signal handlers.
      (rc = curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L)) != CURLE_OK ||
      (rc = https::SetHttpsOnlyRedirects(handle)) != CURLE_OK ||
      (rc = https::SetVerifiedTls(handle)) != CURLE_OK ||
      (rc = curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, timeout_.milliseconds)) != CURLE_OK ||
      (rc = curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers.get())) != CURLE_OK ||
      (rc = curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, https::WriteMemoryCallback)) !=
          CURLE_OK ||
      (rc = curl_easy_setopt(handle, CURLOPT_WRITEDATA, &reply)) != CURLE_OK) {
    return TransportError(rc);
  }
  if (!agent_.text.empty() &&
      (rc = curl_easy_setopt(handle, CURLOPT_USERAGENT, agent_.text.c_str())) != CURLE_OK) {
    return TransportError(rc);
  }
  if (post) {
    // The size first, so that the copy takes exactly these bytes.
    if ((rc = curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE_LARGE,
                               static_cast<curl_off_t>(body.size()))) != CURLE_OK ||
        (rc = curl_easy_setopt(handle, CURLOPT_COPYPOSTFIELDS, body.c_str())) != CURLE_OK) {
      return TransportError(rc);
    }
  } else if ((rc = curl_easy_setopt(handle, CURLOPT_HTTPGET, 1L)) != CURLE_OK) {
    return TransportError(rc);
  }

  rc = curl_easy_perform(handle);
  if (rc != CURLE_OK) {
    if (reply.too_large) {
      return TransportError(rc, format("reply body exceeds %zu bytes", https::kMaxReplyBytes));
    }
    return TransportError(rc, details[0] != '\0' ? details : "");
  }
  Response response;
  long status = 0;
  if ((rc = curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status)) != CURLE_OK) {
    return TransportError(rc);
  }
  response.status_code = status;
  if (reply.data != nullptr) response.text.assign(reply.data, reply.length);
  return response;
}

}  // namespace http
}  // namespace vexozeph
