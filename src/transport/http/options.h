// The small value types that configure one request of the classes' HTTP client, in the
// shape of the `cpr` library: Url, Timeout, UserAgent and Header.
#ifndef VEXOZEPH_TRANSPORT_HTTP_OPTIONS_H_
#define VEXOZEPH_TRANSPORT_HTTP_OPTIONS_H_

#include <strings.h>

#include <initializer_list>
#include <map>
#include <string>
#include <utility>

namespace vexozeph {
namespace http {

// The full address, "https://host[:port]/path". Only HTTPS is ever fetched.
struct Url {
  Url() = default;
  Url(std::string text) : text(std::move(text)) {}  // NOLINT: implicit, as cpr::Url
  Url(const char *text) : text(text) {}             // NOLINT
  std::string text;
};

// Limit for the whole request (connection, TLS, sending, the reply), in milliseconds.
// 0 means no limit.
struct Timeout {
  explicit Timeout(long milliseconds = 0) : milliseconds(milliseconds) {}
  long milliseconds;
};

// The "User-Agent" header; empty sends none.
struct UserAgent {
  UserAgent() = default;
  UserAgent(std::string text) : text(std::move(text)) {}  // NOLINT
  UserAgent(const char *text) : text(text) {}             // NOLINT
  std::string text;
};

struct CaseInsensitiveLess {
  bool operator()(const std::string &a, const std::string &b) const {
    return ::strcasecmp(a.c_str(), b.c_str()) < 0;
  }
};

// Request headers, one value per name (names compared without letter case). A Session
// keeps only the header set given last: setting a second set replaces the first whole.
class Header {
 public:
  Header() = default;
  Header(std::initializer_list<std::pair<const std::string, std::string>> fields)
      : fields_(fields) {}
  void Set(const std::string &name, const std::string &value) { fields_[name] = value; }
  const std::map<std::string, std::string, CaseInsensitiveLess> &Fields() const { return fields_; }

 private:
  std::map<std::string, std::string, CaseInsensitiveLess> fields_;
};

}  // namespace http
}  // namespace vexozeph

#endif  // VEXOZEPH_TRANSPORT_HTTP_OPTIONS_H_
