#include "loopback_listener.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/html_text.h"

namespace vexozeph {
namespace cli {
namespace {

// A redirect's request head is a few hundred bytes; anything far larger is not one.
constexpr size_t kMaxRequestHead = 16384;
// Browsers open a few connections ahead of use; more than this are not a browser's.
constexpr size_t kMaxConnections = 16;

const char *Reason(int status) {
  switch (status) {
    case 200:
      return "OK";
    case 400:
      return "Bad Request";
    case 404:
      return "Not Found";
    case 405:
      return "Method Not Allowed";
    case 431:
      return "Request Header Fields Too Large";
    default:
      return "Error";
  }
}

// Best effort: the page is small enough for the socket's buffer, and a browser that
// closed its end must neither block nor kill the tool (no SIGPIPE).
void SendPage(int fd, int status, const std::string &title, const std::string &message) {
  const std::string body = "<!DOCTYPE html>\n<html><head><meta charset=\"utf-8\"><title>" +
                           HtmlEscape(title) + "</title></head>\n<body>\n<h1>" + HtmlEscape(title) +
                           "</h1>\n<p>" + HtmlEscape(message) + "</p>\n</body></html>\n";
  const std::string response =
      "HTTP/1.1 " + std::to_string(status) + " " + Reason(status) +
      "\r\nContent-Type: text/html; charset=utf-8\r\nContent-Length: " +
      std::to_string(body.size()) +
      "\r\nCache-Control: no-store\r\nReferrer-Policy: no-referrer\r\nConnection: close\r\n\r\n" +
      body;
  size_t sent = 0;
  while (sent < response.size()) {
    const ssize_t n =
        send(fd, response.data() + sent, response.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return;
    sent += static_cast<size_t>(n);
  }
}

int MillisecondsUntil(LoopbackListener::Deadline deadline) {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
      deadline - std::chrono::steady_clock::now());
  return static_cast<int>(std::max<int64_t>(0, std::min<int64_t>(left.count(), 60000)));
}

}  // namespace

bool LoopbackListener::Listen(uint16_t port, std::string *why) {
  socket_ = UniqueFd(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!socket_.Valid()) {
    *why = std::string("socket: ") + std::strerror(errno);
    return false;
  }
  struct sockaddr_in address {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  socklen_t length = sizeof(address);
  if (::bind(socket_.Get(), reinterpret_cast<struct sockaddr *>(&address), length) != 0 ||
      ::listen(socket_.Get(), 16) != 0 ||
      ::getsockname(socket_.Get(), reinterpret_cast<struct sockaddr *>(&address), &length) != 0) {
    *why = "cannot listen on 127.0.0.1:" + std::to_string(port) + ": " + std::strerror(errno);
    socket_.Reset();
    return false;
  }
  port_ = ntohs(address.sin_port);
  return true;
}

bool LoopbackListener::Receive(Connection *connection) {
  char buffer[4096];
  for (;;) {
    const ssize_t n = recv(connection->fd.Get(), buffer, sizeof(buffer), MSG_DONTWAIT);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) break;
    if (n <= 0) {  // closed by the browser, or broken
      connection->fd.Reset();
      return false;
    }
    connection->received.append(buffer, static_cast<size_t>(n));
    if (connection->received.size() > kMaxRequestHead) {
      SendPage(connection->fd.Get(), 431, "Request too large", "This is not a sign-in redirect.");
      connection->fd.Reset();
      return false;
    }
  }
  return connection->received.find("\r\n\r\n") != std::string::npos;
}

LoopbackListener::Wait LoopbackListener::WaitForRequest(const std::string &path, Deadline deadline,
                                                        std::string *target, std::string *why) {
  for (;;) {
    connections_.erase(std::remove_if(connections_.begin(), connections_.end(),
                                      [](const Connection &c) { return !c.fd.Valid(); }),
                       connections_.end());
    std::vector<struct pollfd> watched = {{socket_.Get(), POLLIN, 0}};
    for (const Connection &connection : connections_) {
      watched.push_back({connection.fd.Get(), POLLIN, 0});
    }
    const int timeout = MillisecondsUntil(deadline);
    if (timeout == 0) return Wait::kTimedOut;
    const int ready = poll(watched.data(), watched.size(), timeout);
    if (ready < 0 && errno == EINTR) continue;
    if (ready < 0) {
      *why = std::string("poll: ") + std::strerror(errno);
      return Wait::kFailed;
    }

    for (size_t i = 1; i < watched.size(); ++i) {
      if (watched[i].revents == 0) continue;
      Connection &connection = connections_[i - 1];
      if (!Receive(&connection)) continue;
      // "GET /callback?code=.. HTTP/1.1": the head's first line; headers do not matter.
      const std::string line = connection.received.substr(0, connection.received.find("\r\n"));
      const size_t space = line.find(' ');
      const size_t second = space == std::string::npos ? space : line.find(' ', space + 1);
      const std::string method = line.substr(0, space);
      const std::string request_target =
          space == std::string::npos ? "" : line.substr(space + 1, second - space - 1);
      if (method != "GET") {
        SendPage(connection.fd.Get(), 405, "Not allowed", "The sign-in answer comes as a GET.");
      } else if (request_target.substr(0, request_target.find('?')) != path) {
        SendPage(connection.fd.Get(), 404, "Not found", "Nothing here but the sign-in answer.");
      } else {
        *target = request_target;
        answering_ = std::move(connection.fd);
        return Wait::kRequest;
      }
      connection.fd.Reset();
    }

    if (watched[0].revents != 0) {
      UniqueFd accepted(::accept4(socket_.Get(), nullptr, nullptr, SOCK_CLOEXEC));
      if (accepted.Valid()) {
        if (connections_.size() >= kMaxConnections) connections_.erase(connections_.begin());
        connections_.push_back({std::move(accepted), ""});
      }
    }
  }
}

void LoopbackListener::Answer(int status, const std::string &title, const std::string &message) {
  if (!answering_.Valid()) return;
  SendPage(answering_.Get(), status, title, message);
  answering_.Reset();
}

}  // namespace cli
}  // namespace vexozeph
