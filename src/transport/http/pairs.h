// Ordered key/value lists for a request's form body (Payload) and query string
// (Parameters). Order and repeated keys are kept exactly: servers read "scopes[]" pieces
// in the order sent.
#ifndef VEXOZEPH_TRANSPORT_HTTP_PAIRS_H_
#define VEXOZEPH_TRANSPORT_HTTP_PAIRS_H_

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace vexozeph {
namespace http {

using Pair = std::pair<std::string, std::string>;

// Percent-encoding of everything but the unreserved characters (A-Z a-z 0-9 - . _ ~),
// so a space is "%20". Embedded NUL bytes are encoded too. Throws std::bad_alloc only.
std::string Escape(const std::string &text);

// An "application/x-www-form-urlencoded" body: "key=value" joined with "&". Values are
// escaped; keys are sent as they stand, so a key such as "scopes[]" keeps its brackets
// (the callers' keys are fixed names, never outside input). An empty value is "key=".
class Payload {
 public:
  Payload() = default;
  Payload(std::initializer_list<Pair> pairs) : pairs_(pairs) {}
  void Add(const std::string &key, const std::string &value) { pairs_.emplace_back(key, value); }
  const std::vector<Pair> &Pairs() const { return pairs_; }
  std::string Encode() const;

 private:
  std::vector<Pair> pairs_;
};

// A query string: keys and values both escaped, joined with "&"; an empty value sends
// the bare key ("flag", not "flag=").
class Parameters {
 public:
  Parameters() = default;
  Parameters(std::initializer_list<Pair> pairs) : pairs_(pairs) {}
  void Add(const std::string &key, const std::string &value) { pairs_.emplace_back(key, value); }
  const std::vector<Pair> &Pairs() const { return pairs_; }
  bool Empty() const { return pairs_.empty(); }
  std::string Encode() const;

 private:
  std::vector<Pair> pairs_;
};

}  // namespace http
}  // namespace vexozeph

#endif  // VEXOZEPH_TRANSPORT_HTTP_PAIRS_H_
