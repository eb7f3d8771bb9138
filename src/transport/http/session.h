// The classes' HTTP client: one HTTPS request over libcurl, built from the option types
// in the manner of `cpr` (Debian ships no cpr):
//
//   http::Response r = http::Post(http::Url{endpoint}, http::Timeout{30000},
//                                 http::UserAgent{agent}, http::Header{{"X-Client-ID", id}},
//                                 http::Payload{{"grant_type", "refresh_token"}, ...});
//   if (r.error) ... r.error.code, r.error.message ...
//   else if (r.status_code != 200) ... r.text ...
//
// Every request is verified HTTPS against the root's CA file, follows redirects only to
// HTTPS, and caps the reply at the same size as the form sender. It never throws for a
// network failure: that is the response's error. Not thread-safe per object; separate
// sessions may run in separate threads.
#ifndef VEXOZEPH_TRANSPORT_HTTP_SESSION_H_
#define VEXOZEPH_TRANSPORT_HTTP_SESSION_H_

#include <utility>

#include "transport/http/options.h"
#include "transport/http/pairs.h"
#include "transport/http/response.h"

namespace vexozeph {
namespace http {

class Session {
 public:
  void SetUrl(const Url &url) { url_ = url; }
  void SetTimeout(const Timeout &timeout) { timeout_ = timeout; }
  void SetUserAgent(const UserAgent &agent) { agent_ = agent; }
  // Replaces every header set before.
  void SetHeader(const Header &header) { header_ = header; }
  // The POST body. A POST without a payload sends an empty body.
  void SetPayload(const Payload &payload) { payload_ = payload; }
  // Appended to the URL's query ("?" or "&" as the URL needs).
  void SetParameters(const Parameters &parameters) { parameters_ = parameters; }

  void SetOption(const Url &url) { SetUrl(url); }
  void SetOption(const Timeout &timeout) { SetTimeout(timeout); }
  void SetOption(const UserAgent &agent) { SetUserAgent(agent); }
  void SetOption(const Header &header) { SetHeader(header); }
  void SetOption(const Payload &payload) { SetPayload(payload); }
  void SetOption(const Parameters &parameters) { SetParameters(parameters); }

  Response Get() const { return Perform(false); }
  Response Post() const { return Perform(true); }

 private:
  Response Perform(bool post) const;

  Url url_;
  Timeout timeout_;
  UserAgent agent_;
  Header header_;
  Payload payload_;
  Parameters parameters_;
};

// One-call forms: the options in any order; of a repeated kind the last one counts.
template <typename... Options>
Response Get(Options &&...options) {
  Session session;
  (session.SetOption(std::forward<Options>(options)), ...);
  return session.Get();
}

template <typename... Options>
Response Post(Options &&...options) {
  Session session;
  (session.SetOption(std::forward<Options>(options)), ...);
  return session.Post();
}

}  // namespace http
}  // namespace vexozeph

#endif  // VEXOZEPH_TRANSPORT_HTTP_SESSION_H_
