// What one request of the classes' HTTP client came back with. A transport failure (no
// connection, TLS refused, time-out, reply too large, redirect away from HTTPS) is kept
// apart from the server's answer: when `error` is set there is no status and no text.
#ifndef VEXOZEPH_TRANSPORT_HTTP_RESPONSE_H_
#define VEXOZEPH_TRANSPORT_HTTP_RESPONSE_H_

#include <string>

namespace vexozeph {
namespace http {

struct Error {
  int code = 0;         // the libcurl result code (CURLcode); 0: no transport error
  std::string message;  // libcurl's own description of it
  explicit operator bool() const { return code != 0; }
};

struct Response {
  Error error;
  long status_code = 0;  // the HTTP status of the final answer; 0 on a transport error
  std::string text;      // the reply body, byte for byte (at most the reply cap)
};

}  // namespace http
}  // namespace vexozeph

#endif  // VEXOZEPH_TRANSPORT_HTTP_RESPONSE_H_
