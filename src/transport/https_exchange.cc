#include "transport/https_exchange.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <utility>

#include "base/log.h"
#include "core/failure.h"
#include "transport/device.h"
#include "transport/https_retry_pause.h"
#include "transport/https_timeouts.h"
#include "transport/shown_answer.h"
#include "vexo_platform/vlib_string.h"

// Lines name the sender that runs the exchange, at this file's lines.
#define XLOG(fmt, ...) \
  ::vexozeph::log::Write(LOG_ERR, "%s:%d " fmt, module_.c_str(), __LINE__, ##__VA_ARGS__)

namespace vexozeph {
namespace https {
namespace {

const long kLowSpeedLimitBytes = 128;
const int kLongAttempts = 3;
const int kShortAttempts = 2;
const unsigned int kRetryPauseSeconds = 1;

void SleepSeconds(unsigned int seconds) {
  std::this_thread::sleep_for(std::chrono::seconds(seconds));
}

RetryPause g_retry_pause = SleepSeconds;
Timeouts g_timeouts = kFixedTimeouts;

bool IsRetried(CURLcode code) {
  return code == CURLE_OPERATION_TIMEDOUT || code == CURLE_COULDNT_RESOLVE_PROXY ||
         code == CURLE_COULDNT_RESOLVE_HOST;
}

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

Exchange::Exchange(std::string module, std::string log_url, bool short_timeout,
                   VEXOZEPH_HTTPS_RESPONSE &response)
    : module_(std::move(module)),
      log_url_(std::move(log_url)),
      short_timeout_(short_timeout),
      response_(response) {}

void Exchange::Init() {
  curl_.reset(curl_easy_init());
  if (!curl_) {
    XLOG("failed to init pCurl");
    Fail(VEXOZEPH_ERR_SEND);
  }
}

void Exchange::SetOptions(const char *url, const char *post_fields, const HeaderStep &headers) {
  CURL *curl = curl_.get();
  CURLcode rc = CURLE_OK;
  if (post_fields != nullptr) {
    if ((rc = curl_easy_setopt(curl, CURLOPT_POST, 1L)) != CURLE_OK ||
        (rc = curl_easy_setopt(curl, CURLOPT_POSTFIELDS, post_fields)) != CURLE_OK) {
      XLOG("%s, Failed to set POST parameters, code=%d, err=%s", log_url_.c_str(), rc,
           curl_easy_strerror(rc));
      Fail(VEXOZEPH_ERR_SEND);
    }
  }
  if ((rc = curl_easy_setopt(curl, CURLOPT_URL, url)) != CURLE_OK) {
    XLOG("Failed to set url to %s, code=%d, err=%s", log_url_.c_str(), rc, curl_easy_strerror(rc));
    Fail(VEXOZEPH_ERR_SEND);
  }
  // Redirects are followed, but never away from HTTPS: a body may carry the password.
  if ((rc = SetHttpsOnlyRedirects(curl)) != CURLE_OK) {
    XLOG("Failed to set curl opt error:(%d)%s", rc, curl_easy_strerror(rc));
    Fail(VEXOZEPH_ERR_SEND);
  }
  char agent[device::kUserAgentSize] = {0};
  device::CopyUserAgent(agent, sizeof(agent));
  if ((rc = curl_easy_setopt(curl, CURLOPT_USERAGENT, agent)) != CURLE_OK) {
    XLOG("failed to set agent=%s, return value=%d, err=%s", agent, rc, curl_easy_strerror(rc));
    Fail(VEXOZEPH_ERR_SEND);
  }
  if (!headers(curl)) Fail(VEXOZEPH_ERR_SEND);
  // The root's CA file is the only trust.
  if ((rc = SetVerifiedTls(curl)) != CURLE_OK) {
    XLOG("Failed to set curl opt error:(%d)%s", rc, curl_easy_strerror(rc));
    Fail(VEXOZEPH_ERR_SEND);
  }
  // A missing low-speed limit only weakens the stall detection; the request goes on.
  if ((rc = curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, kLowSpeedLimitBytes)) != CURLE_OK) {
    XLOG("Failed to set time-out, return value=%d, err=%s", rc, curl_easy_strerror(rc));
  }
  long timeout = short_timeout_ ? g_timeouts.short_seconds : g_timeouts.long_seconds;
  if ((rc = curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, g_timeouts.low_speed_seconds)) !=
          CURLE_OK ||
      (rc = curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, timeout)) != CURLE_OK ||
      (rc = curl_easy_setopt(curl, CURLOPT_TIMEOUT, timeout)) != CURLE_OK) {
    XLOG("failed to set time-out, return value=%d, err=%s", rc, curl_easy_strerror(rc));
    Fail(VEXOZEPH_ERR_SEND);
  }
  if ((rc = curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, WriteMemoryCallback)) != CURLE_OK) {
    XLOG("failed to write function WriteMemoryCallback, return value=%d, err=%s", rc,
         curl_easy_strerror(rc));
    Fail(VEXOZEPH_ERR_SEND);
  }
  if ((rc = curl_easy_setopt(curl, CURLOPT_WRITEDATA, &body_)) != CURLE_OK) {
    XLOG("failed to write data, return value=%d, err=%s", rc, curl_easy_strerror(rc));
    Fail(VEXOZEPH_ERR_SEND);
  }
  curl_easy_setopt(curl, CURLOPT_IPRESOLVE, CURL_IPRESOLVE_WHATEVER);
  // No signals from inside a library: the host process owns its signal handlers.
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
}

// A retried failure on the last attempt is left to TakeReply, which fails it after
// reading the status.
void Exchange::Perform() {
  int attempts = short_timeout_ ? kShortAttempts : kLongAttempts;
  CURLcode rc = CURLE_OK;
  for (int attempt = 0; attempt < attempts; ++attempt) {
    body_.Clear();  // a retried transfer must not append to a partial earlier body
    rc = curl_easy_perform(curl_.get());
    if (!IsRetried(rc)) break;
    // The last try goes over IPv4 alone, in case the IPv6 route is what fails.
    if (attempt == attempts - 2) {
      curl_easy_setopt(curl_.get(), CURLOPT_IPRESOLVE, CURL_IPRESOLVE_V4);
    }
    g_retry_pause(kRetryPauseSeconds);
  }
  response_.result = rc;
  transfer_ = rc;
  if (rc != CURLE_OK && !IsRetried(rc)) {
    if (body_.too_large) {
      XLOG("%s, reply body exceeds %zu bytes", log_url_.c_str(), kMaxReplyBytes);
    }
    XLOG("%s, Failed to curl perform, code=%d, err=%s", log_url_.c_str(), rc,
         curl_easy_strerror(rc));
    Fail(VEXOZEPH_ERR_SEND);
  }
}

void Exchange::TakeReply() {
  long status = 0;
  CURLcode rc = curl_easy_getinfo(curl_.get(), CURLINFO_RESPONSE_CODE, &status);
  if (rc != CURLE_OK) {
    response_.result = rc;
    XLOG("%s, Failed to curl_easy_getinfo, code=%d, err=%s", log_url_.c_str(), rc,
         curl_easy_strerror(rc));
    Fail(VEXOZEPH_ERR_SEND);
  }
  response_.status = status;
  // 400 is a normal answer here: the body carries the result word the caller maps.
  if (status != 200 && status != 400) {
    XLOG("%s, Failed to request packages, httpResponseCode=%ld, data=%s", log_url_.c_str(), status,
         TruncatedAnswer(body_.data != nullptr ? body_.data : "").c_str());
    Fail(VEXOZEPH_ERR_SEND);
  }
  // The headers of a transfer cut short by its time-out may well have said 200: what
  // arrived of the body is still no answer.
  if (transfer_ != CURLE_OK) {
    XLOG("%s, Failed to curl perform, code=%d, err=%s", log_url_.c_str(), transfer_,
         curl_easy_strerror(transfer_));
    Fail(VEXOZEPH_ERR_SEND);
  }
  if (body_.data == nullptr) {
    XLOG("%s, Failed to get response", log_url_.c_str());
    Fail(VEXOZEPH_ERR_SEND);
  }
  // Without memory for the copy the answer still counts as received, with no data.
  char *copy = strdup(body_.data);
  if (copy != nullptr) {
    char *trimmed = VLIBCStrTrimSpace(copy);
    if (trimmed != copy) std::memmove(copy, trimmed, std::strlen(trimmed) + 1);
  }
  response_.data = copy;
}

}  // namespace https
}  // namespace vexozeph
