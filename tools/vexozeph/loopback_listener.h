// Receives the browser's sign-in redirect on a loopback port, as native applications do
// (RFC 8252, section 7.3): a socket bound to 127.0.0.1 alone, speaking just enough
// HTTP/1.1 for a browser to land on it. Nothing from another machine can reach it; what
// a local page might send is judged by the caller (the state it carries).
#ifndef VEXOZEPH_TOOLS_VEXOZEPH_LOOPBACK_LISTENER_H_
#define VEXOZEPH_TOOLS_VEXOZEPH_LOOPBACK_LISTENER_H_

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "base/unique_fd.h"

namespace vexozeph {
namespace cli {

class LoopbackListener {
 public:
  using Deadline = std::chrono::steady_clock::time_point;
  enum class Wait { kRequest, kTimedOut, kFailed };

  // Binds 127.0.0.1:`port` (0: a free port the kernel picks) and listens. False with
  // the reason in *why.
  bool Listen(uint16_t port, std::string *why);
  uint16_t port() const { return port_; }

  // Waits until `deadline` for a GET of `path`. A request for another path is answered
  // 404 (the browser's favicon), another method 405, and the wait goes on; connections a
  // browser opens ahead of use are held meanwhile. On kRequest, *target is the request
  // target ("/callback?code=..&state=..") and its connection waits for Answer.
  Wait WaitForRequest(const std::string &path, Deadline deadline, std::string *target,
                      std::string *why);

  // Answers the request WaitForRequest returned with a small page, and closes it. A
  // browser that has gone away is no failure.
  void Answer(int status, const std::string &title, const std::string &message);

 private:
  struct Connection {
    UniqueFd fd;
    std::string received;
  };
  // Reads what `connection` has; true when its request head is complete.
  bool Receive(Connection *connection);

  UniqueFd socket_;
  uint16_t port_ = 0;
  std::vector<Connection> connections_;
  UniqueFd answering_;
};

}  // namespace cli
}  // namespace vexozeph

#endif  // VEXOZEPH_TOOLS_VEXOZEPH_LOOPBACK_LISTENER_H_
