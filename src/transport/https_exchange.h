// One HTTPS request of the C interface's senders, from the options to the reply: the
// form sender and the payment host's JSON sender differ only in how they build their
// body and headers, so everything the network decides (trust, redirects, time-outs,
// retries, the reply cap and which statuses count as an answer) is written once, here.
#ifndef VEXOZEPH_TRANSPORT_HTTPS_EXCHANGE_H_
#define VEXOZEPH_TRANSPORT_HTTPS_EXCHANGE_H_

#include <curl/curl.h>

#include <functional>
#include <string>

#include "transport/https_transfer.h"
#include "vexozeph/vexozeph.h"

namespace vexozeph {
namespace https {

class Exchange {
 public:
  // Sets the headers on the handle, logging its own failure. False stops the request.
  using HeaderStep = std::function<bool(CURL *curl)>;

  // `module` names the sender in log lines; `log_url` stands for the request in them (a
  // GET request's query holds the password and token, so the URL itself is never shown).
  // `short_timeout` selects 15-second time-outs and two attempts instead of 120 and three.
  Exchange(std::string module, std::string log_url, bool short_timeout,
           VEXOZEPH_HTTPS_RESPONSE &response);
  Exchange(const Exchange &) = delete;
  Exchange &operator=(const Exchange &) = delete;

  // Each step that fails logs why and throws Failure 4 (core/failure.h).

  // The libcurl handle; "failed to init pCurl" when there is none.
  void Init();
  CURL *curl() const { return curl_.get(); }

  // Every option, in the order servers in the field have always seen them: the POST
  // body (when `post_fields` is set; null sends a GET), `url` (which must outlive the
  // exchange), redirects (HTTPS only), the user agent, the headers, TLS against the
  // root's CA file alone, the time-outs and the capped reply buffer.
  void SetOptions(const char *url, const char *post_fields, const HeaderStep &headers);

  // Performs the request, retrying a time-out or a failed name resolution (the last try
  // over IPv4 alone, a pause before each retry).
  void Perform();

  // The answer: status 200 or 400 with a body counts, its body handed over trimmed in the
  // response's `data` (a heap copy the caller frees with VEXOZEPHHttpsResponseFree).
  void TakeReply();

 private:
  const std::string module_;
  const std::string log_url_;
  const bool short_timeout_;
  VEXOZEPH_HTTPS_RESPONSE &response_;
  // Declared before the handle so that they outlive it: libcurl points into them.
  ReplyBody body_;
  CURLcode transfer_ = CURLE_OK;  // the last attempt's result
  CurlHandle curl_;
};

}  // namespace https
}  // namespace vexozeph

#endif  // VEXOZEPH_TRANSPORT_HTTPS_EXCHANGE_H_
