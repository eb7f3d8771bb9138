// The C interface's one way to talk to the account server: a form of key=value pairs,
// signed with the device serial and request token, sent over verified HTTPS with fixed
// time-outs and a small retry rule for time-outs and failed name resolution.
#include <curl/curl.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>

#include "base/log.h"
#include "core/c_edge.h"
#include "core/failure.h"
#include "transport/device.h"
#include "transport/form_sender.h"
#include "transport/https_retry_pause.h"
#include "transport/https_timeouts.h"
#include "transport/https_transfer.h"
#include "transport/shown_answer.h"
#include "vexo_platform/vlib_error.h"
#include "vexo_platform/vlib_string.h"
#include "vexozeph/vexozeph.h"

namespace vexozeph {
namespace https {
namespace {

void SleepSeconds(unsigned int seconds) {
  std::this_thread::sleep_for(std::chrono::seconds(seconds));
}

RetryPause g_retry_pause = SleepSeconds;
Timeouts g_timeouts = kFixedTimeouts;

}  // namespace

RetryPause SetRetryPause(RetryPause pause) {
  RetryPause previous = g_retry_pause;
  g_retry_pause = pause != nullptr ? pause : SleepSeconds;
  return previous;
}

Timeouts SetTimeoutsForTesting(const Timeouts &timeouts) {
  Timeouts previous = g_timeouts;
  g_timeouts = timeouts;
  return previous;
}

}  // namespace https
}  // namespace vexozeph

namespace {

const size_t kFormInitialSize = 1024;
const size_t kSerialSize = 256;
const size_t kTokenSize = 33;
const int kMaxFormKeys = 512;
const size_t kUrlSize = 4096;
const size_t kHeaderSize = 128;
const long kLowSpeedLimitBytes = 128;
const int kLongAttempts = 3;
const int kShortAttempts = 2;
const unsigned int kRetryPauseSeconds = 1;
using vexozeph::https::CurlHandle;
using vexozeph::https::CurlText;
using vexozeph::https::HeaderList;
using vexozeph::https::kMaxReplyBytes;
using vexozeph::https::ReplyBody;
using vexozeph::https::WriteMemoryCallback;

struct SzListFree {
  void operator()(_tag_VLIBSZLIST_ *list) const { VLIBCSzListFree(list); }
};
using KeyList = std::unique_ptr<_tag_VLIBSZLIST_, SzListFree>;

// A NUL-terminated heap text grown by VLIBCStrCat.
struct FormText {
  char *data = nullptr;
  size_t capacity = 0;
  ~FormText() { std::free(data); }
};

bool IsRetried(CURLcode code) {
  return code == CURLE_OPERATION_TIMEDOUT || code == CURLE_COULDNT_RESOLVE_PROXY ||
         code == CURLE_COULDNT_RESOLVE_HOST;
}

class FormRequest {
 public:
  FormRequest(const VEXOZEPH_HTTPS_REQUEST &request, VEXOZEPH_HTTPS_RESPONSE &response)
      : request_(request),
        response_(response),
        // Logged in place of the URL: a GET request's query holds the password and token.
        log_url_(std::string(request.host) + "/" + request.path),
        // The fixed-size fields are read only up to their size, terminated or not.
        account_(request.account, strnlen(request.account, sizeof(request.account))),
        password_(request.password, strnlen(request.password, sizeof(request.password))) {}

  void Send() {
    response_.result = CURLE_OK;
    form_.data = static_cast<char *>(std::calloc(1, kFormInitialSize));
    if (form_.data == nullptr) vexozeph::Fail(VEXOZEPH_ERR_SYSTEM);
    form_.capacity = kFormInitialSize;
    curl_.reset(curl_easy_init());
    if (!curl_) {
      ZLOG("failed to init pCurl");
      vexozeph::Fail(VEXOZEPH_ERR_SEND);
    }
    if (!BuildForm() || !BuildUrl() || !SetOptions() || !Perform()) {
      vexozeph::Fail(VEXOZEPH_ERR_SEND);
    }
    TakeReply();
  }

 private:
  bool BuildForm() {
    char serial[kSerialSize] = {0};
    char token[kTokenSize] = {0};
    const char *given_serial =
        request_.params != nullptr ? VLIBCSzHashGetValue(request_.params, "bx_sn") : nullptr;
    if (given_serial != nullptr) std::snprintf(serial, sizeof(serial), "%s", given_serial);
    if (!vexozeph::device::GenerateRequestToken(account_.c_str(), password_.c_str(), serial,
                                                sizeof(serial), token, sizeof(token))) {
      return false;
    }
    KeyList keys(VLIBCSzListAlloc(kMaxFormKeys));
    if (!keys) {
      ZLOG("out of memory, ERR=[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
      return false;
    }
    if (request_.params == nullptr || VLIBCSzHashEnumKey(request_.params, keys.get()) <= 0) {
      ZLOG("no key in the hash, ERR=[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
      return false;
    }
    if (!AppendPair("bx_sn", serial) || !AppendPair("bx_token", token)) return false;
    if (!account_.empty() && !AppendPair("zephID", account_.c_str())) return false;
    if (!password_.empty() && !AppendPair("zephPW", password_.c_str())) return false;
    // Every caller key in the hash's order, even one that repeats a field sent above: the
    // server has always seen such a form, so it is kept as it is.
    int count = VLIBCSzListSize(keys.get());
    for (int i = 0; i < count; ++i) {
      const char *key = VLIBCSzListGet(keys.get(), i);
      if (key == nullptr) continue;
      const char *value = VLIBCSzHashGetValue(request_.params, key);
      if (!AppendPair(key, value != nullptr ? value : "")) return false;
    }
    return true;
  }

  bool AppendPair(const char *key, const char *value) {
    // Values are never written to the log: one of them is the password.
    CurlText escaped(curl_easy_escape(curl_.get(), value, 0));
    if (!escaped) {
      ZLOG("URL encoding failed: %s", key);
      return false;
    }
    bool first = form_.data[0] == '\0';
    for (const char *part :
         {first ? "" : "&", key, "=", static_cast<const char *>(escaped.get())}) {
      if (VLIBCStrCat(&form_.data, &form_.capacity, part) < 0) {
        ZLOG("URL encoding failed: %s", key);
        return false;
      }
    }
    return true;
  }

  bool IsGet() const { return request_.method == VEXOZEPH_HTTPS_METHOD_GET; }

  bool BuildUrl() {
    int length = IsGet() ? std::snprintf(url_, sizeof(url_), "%s/%s?%s", request_.host,
                                         request_.path, form_.data)
                         : std::snprintf(url_, sizeof(url_), "%s/%s", request_.host, request_.path);
    // A cut URL would send a different request than the caller built.
    if (length < 0 || static_cast<size_t>(length) >= sizeof(url_)) {
      ZLOG("%s, URL too long (%d bytes)", log_url_.c_str(), length);
      return false;
    }
    return true;
  }

  bool SetOptions() {
    CURL *curl = curl_.get();
    CURLcode rc = CURLE_OK;
    if (form_.data[0] != '\0' && !IsGet()) {
      if ((rc = curl_easy_setopt(curl, CURLOPT_POST, 1L)) != CURLE_OK ||
          (rc = curl_easy_setopt(curl, CURLOPT_POSTFIELDS, form_.data)) != CURLE_OK) {
        ZLOG("%s, Failed to set POST parameters, code=%d, err=%s", log_url_.c_str(), rc,
             curl_easy_strerror(rc));
        return false;
      }
    }
    if ((rc = curl_easy_setopt(curl, CURLOPT_URL, url_)) != CURLE_OK) {
      ZLOG("Failed to set url to %s, code=%d, err=%s", log_url_.c_str(), rc,
           curl_easy_strerror(rc));
      return false;
    }
    // Redirects are followed, but never away from HTTPS: the form carries the password.
    if ((rc = vexozeph::https::SetHttpsOnlyRedirects(curl)) != CURLE_OK) {
      ZLOG("Failed to set curl opt error:(%d)%s", rc, curl_easy_strerror(rc));
      return false;
    }
    char agent[vexozeph::device::kUserAgentSize] = {0};
    vexozeph::device::CopyUserAgent(agent, sizeof(agent));
    if ((rc = curl_easy_setopt(curl, CURLOPT_USERAGENT, agent)) != CURLE_OK) {
      ZLOG("failed to set agent=%s, return value=%d, err=%s", agent, rc, curl_easy_strerror(rc));
      return false;
    }
    if (!SetHeaders()) return false;
    // The root's CA file is the only trust.
    if ((rc = vexozeph::https::SetVerifiedTls(curl)) != CURLE_OK) {
      ZLOG("Failed to set curl opt error:(%d)%s", rc, curl_easy_strerror(rc));
      return false;
    }
    // A missing low-speed limit only weakens the stall detection; the request goes on.
    if ((rc = curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, kLowSpeedLimitBytes)) != CURLE_OK) {
      ZLOG("Failed to set time-out, return value=%d, err=%s", rc, curl_easy_strerror(rc));
    }
    const vexozeph::https::Timeouts &timeouts = vexozeph::https::g_timeouts;
    long timeout = request_.short_timeout != 0 ? timeouts.short_seconds : timeouts.long_seconds;
    if ((rc = curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, timeouts.low_speed_seconds)) !=
            CURLE_OK ||
        (rc = curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, timeout)) != CURLE_OK ||
        (rc = curl_easy_setopt(curl, CURLOPT_TIMEOUT, timeout)) != CURLE_OK) {
      ZLOG("failed to set time-out, return value=%d, err=%s", rc, curl_easy_strerror(rc));
      return false;
    }
    if ((rc = curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, WriteMemoryCallback)) != CURLE_OK) {
      ZLOG("failed to write function WriteMemoryCallback, return value=%d, err=%s", rc,
           curl_easy_strerror(rc));
      return false;
    }
    if ((rc = curl_easy_setopt(curl, CURLOPT_WRITEDATA, &body_)) != CURLE_OK) {
      ZLOG("failed to write data, return value=%d, err=%s", rc, curl_easy_strerror(rc));
      return false;
    }
    curl_easy_setopt(curl, CURLOPT_IPRESOLVE, CURL_IPRESOLVE_WHATEVER);
    // No signals from inside a library: the host process owns its signal handlers.
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    return true;
  }

  bool SetHeaders() {
    // The entry is copied from the buffer while it is still empty, and the "Host:" text
    // is written only afterwards, so the entry sent is empty and libcurl derives the Host
    // header from the URL. Servers in the field have only ever seen this; keep the order.
    char header[kHeaderSize] = {0};
    headers_.reset(curl_slist_append(nullptr, header));
    std::snprintf(header, sizeof(header), "Host: %s", request_.host);
    CURLcode rc = headers_ ? curl_easy_setopt(curl_.get(), CURLOPT_HTTPHEADER, headers_.get())
                           : CURLE_OUT_OF_MEMORY;
    if (rc != CURLE_OK) {
      ZLOG("failed to set req=%s, header=%s, return value=%d, err=%s", log_url_.c_str(), header, rc,
           curl_easy_strerror(rc));
      return false;
    }
    return true;
  }

  // False when the transfer failed in a way that is not retried. A retried failure on
  // the last attempt is left to TakeReply, which fails it after reading the status.
  bool Perform() {
    int attempts = request_.short_timeout != 0 ? kShortAttempts : kLongAttempts;
    CURLcode rc = CURLE_OK;
    for (int attempt = 0; attempt < attempts; ++attempt) {
      body_.Clear();  // a retried transfer must not append to a partial earlier body
      rc = curl_easy_perform(curl_.get());
      if (!IsRetried(rc)) break;
      // The last try goes over IPv4 alone, in case the IPv6 route is what fails.
      if (attempt == attempts - 2) {
        curl_easy_setopt(curl_.get(), CURLOPT_IPRESOLVE, CURL_IPRESOLVE_V4);
      }
      vexozeph::https::g_retry_pause(kRetryPauseSeconds);
    }
    response_.result = rc;
    transfer_ = rc;
    if (rc != CURLE_OK && !IsRetried(rc)) {
      if (body_.too_large) {
        ZLOG("%s, reply body exceeds %zu bytes", log_url_.c_str(), kMaxReplyBytes);
      }
      ZLOG("%s, Failed to curl perform, code=%d, err=%s", log_url_.c_str(), rc,
           curl_easy_strerror(rc));
      return false;
    }
    return true;
  }

  void TakeReply() {
    long status = 0;
    CURLcode rc = curl_easy_getinfo(curl_.get(), CURLINFO_RESPONSE_CODE, &status);
    if (rc != CURLE_OK) {
      response_.result = rc;
      ZLOG("%s, Failed to curl_easy_getinfo, code=%d, err=%s", log_url_.c_str(), rc,
           curl_easy_strerror(rc));
      vexozeph::Fail(VEXOZEPH_ERR_SEND);
    }
    response_.status = status;
    // 400 is a normal answer here: the body carries the result word the caller maps.
    if (status != 200 && status != 400) {
      ZLOG("%s, Failed to request packages, httpResponseCode=%ld, data=%s", log_url_.c_str(),
           status, vexozeph::TruncatedAnswer(body_.data != nullptr ? body_.data : "").c_str());
      vexozeph::Fail(VEXOZEPH_ERR_SEND);
    }
    // The headers of a transfer cut short by its time-out may well have said 200: what
    // arrived of the body is still no answer.
    if (transfer_ != CURLE_OK) {
      ZLOG("%s, Failed to curl perform, code=%d, err=%s", log_url_.c_str(), transfer_,
           curl_easy_strerror(transfer_));
      vexozeph::Fail(VEXOZEPH_ERR_SEND);
    }
    if (body_.data == nullptr) {
      ZLOG("%s, Failed to get response", log_url_.c_str());
      vexozeph::Fail(VEXOZEPH_ERR_SEND);
    }
    // Without memory for the copy the answer still counts as received, with no data.
    char *copy = strdup(body_.data);
    if (copy != nullptr) {
      char *trimmed = VLIBCStrTrimSpace(copy);
      if (trimmed != copy) std::memmove(copy, trimmed, std::strlen(trimmed) + 1);
    }
    response_.data = copy;
  }

  const VEXOZEPH_HTTPS_REQUEST &request_;
  VEXOZEPH_HTTPS_RESPONSE &response_;
  std::string log_url_;
  std::string account_;
  std::string password_;
  // Declared before the handle so that they outlive it: libcurl points into them.
  FormText form_;
  ReplyBody body_;
  HeaderList headers_;
  char url_[kUrlSize] = {0};
  CURLcode transfer_ = CURLE_OK;  // the last attempt's result
  CurlHandle curl_;
};

}  // namespace

namespace vexozeph {

void SendHttpsForm(const VEXOZEPH_HTTPS_REQUEST &request, VEXOZEPH_HTTPS_RESPONSE &response) {
  if (request.host == nullptr || request.path == nullptr) Fail(VEXOZEPH_ERR_BAD_PARAMETER);
  FormRequest(request, response).Send();
}

}  // namespace vexozeph

extern "C" {

VEXOZEPH_API int VEXOZEPHHttpsRequestSend(const VEXOZEPH_HTTPS_REQUEST *request,
                                          VEXOZEPH_HTTPS_RESPONSE *response) {
  return vexozeph::GuardCInterface("VEXOZEPHHttpsRequestSend", [&] {
    if (request == nullptr || response == nullptr) vexozeph::Fail(VEXOZEPH_ERR_BAD_PARAMETER);
    vexozeph::SendHttpsForm(*request, *response);
    return 0;
  });
}

VEXOZEPH_API void VEXOZEPHHttpsResponseFree(VEXOZEPH_HTTPS_RESPONSE *response) {
  if (response == nullptr) return;
  std::free(response->data);
  response->data = nullptr;
  response->status = 0;
}

}  // extern "C"
