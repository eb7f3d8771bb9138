#include "router.h"

#include <openssl/ssl.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>

#include <cstdio>
#include <exception>
#include <memory>

#include "base/json_utils.h"

namespace zeph_cloud {
namespace {

// Headers the HTTP library adds to every request for its own bookkeeping; they were not
// sent by the client and stay out of the log.
bool IsSyntheticHeader(const std::string &name) {
  return name == "REMOTE_ADDR" || name == "REMOTE_PORT" || name == "LOCAL_ADDR" ||
         name == "LOCAL_PORT";
}

bool IsFormBody(const httplib::Request &req) {
  std::string type = req.get_header_value("Content-Type");
  return strncasecmp(type.c_str(), "application/x-www-form-urlencoded", 33) == 0;
}

// Cuts the connection under the HTTP library's feet: the client sees the connection close
// with no answer, as when a server process dies mid-request.
void DropConnection(const httplib::Request &req) {
  if (req.ssl != nullptr) {
    int fd = SSL_get_fd(req.ssl);
    if (fd >= 0) ::shutdown(fd, SHUT_RDWR);
  }
}

// Writes `bytes` on the connection as they stand, bypassing the HTTP library, which would
// refuse to produce some answers (a status of 0, a broken status line).
void WriteRaw(const httplib::Request &req, const std::string &bytes) {
  if (req.ssl == nullptr) return;
  // The library hands the connection out read-only; this thread serves it, and nothing
  // the library writes afterwards reaches the client, so writing here is safe.
  SSL *ssl = const_cast<SSL *>(req.ssl);
  size_t sent = 0;
  while (sent < bytes.size()) {
    int n = SSL_write(ssl, bytes.data() + sent, static_cast<int>(bytes.size() - sent));
    if (n > 0) {
      sent += static_cast<size_t>(n);
      continue;
    }
    int error = SSL_get_error(ssl, n);
    if (error != SSL_ERROR_WANT_WRITE && error != SSL_ERROR_WANT_READ) return;
    pollfd waiting{SSL_get_fd(ssl), POLLOUT, 0};
    if (::poll(&waiting, 1, 1000) <= 0) return;
  }
}

// Whether the fault replaces the connection's answer altogether: nothing the HTTP library
// writes afterwards reaches the client.
bool CutsConnection(const Fault &fault) {
  return fault.drop || fault.raw;
}

void ApplyFault(const Fault &fault, const httplib::Request &req, httplib::Response &res) {
  if (fault.raw) WriteRaw(req, *fault.raw);
  if (CutsConnection(fault)) {
    DropConnection(req);
    return;
  }
  if (fault.status != 0) res.status = fault.status;
  if (fault.body) res.set_content(*fault.body, fault.content_type.c_str());
}

// Sends the body that `res` holds one byte per `interval_ms`, its whole length announced
// first: the client keeps waiting for an answer that comes too slowly. `sleep` is false
// when the emulator is stopping, which ends the transfer.
void TrickleBody(httplib::Response &res, int interval_ms, std::function<bool(int)> sleep) {
  auto body = std::make_shared<std::string>(std::move(res.body));
  res.body.clear();
  std::string content_type = res.get_header_value("Content-Type");
  res.headers.erase("Content-Type");
  res.set_content_provider(
      body->size(), content_type.empty() ? "text/plain" : content_type,
      [body, interval_ms, sleep](size_t offset, size_t, httplib::DataSink &sink) {
        if (!sink.write(body->data() + offset, 1)) return false;
        return offset + 1 == body->size() || sleep(interval_ms);
      });
}

}  // namespace

const Pairs &Exchange::Fields() const {
  return req.method == "POST" ? form : query;
}

const std::string *Exchange::Field(const std::string &key) const {
  return FirstValue(Fields(), key);
}

std::string Exchange::Header(const std::string &name) const {
  return req.get_header_value(name.c_str());
}

std::string Exchange::BearerToken() const {
  std::string value = Header("Authorization");
  if (value.size() > 7 && strncasecmp(value.c_str(), "Bearer ", 7) == 0) {
    return value.substr(7);
  }
  return std::string();
}

void Exchange::SendJson(int status, const Json::Value &body) {
  res.status = status;
  res.set_content(vexozeph::json::ToCompactString(body), "application/json");
}

void Exchange::SendText(int status, const std::string &text, const std::string &content_type) {
  res.status = status;
  res.set_content(text, content_type.c_str());
}

void Exchange::SendHtml(int status, const std::string &html) {
  SendText(status, html, "text/html; charset=utf-8");
}

void Exchange::Redirect(const std::string &location) {
  res.status = 302;
  res.set_header("Location", location);
  res.set_content("", "text/plain");
}

void Router::Add(const std::string &method, const std::string &path, Handler handler) {
  routes_.push_back({method, path, false, std::move(handler)});
}

void Router::AddPrefix(const std::string &method, const std::string &prefix, Handler handler) {
  routes_.push_back({method, prefix, true, std::move(handler)});
}

void Router::Install(httplib::Server &server) {
  auto dispatch = [this](const httplib::Request &req, httplib::Response &res) {
    Dispatch(req, res);
  };
  server.Get(".*", dispatch);
  server.Post(".*", dispatch);
  server.Put(".*", dispatch);
  server.Patch(".*", dispatch);
  server.Delete(".*", dispatch);
  server.Options(".*", dispatch);
}

void Router::RouteRequest(Exchange &exchange) {
  const std::string &method = exchange.req.method == "HEAD" ? "GET" : exchange.req.method;
  const std::string &path = exchange.req.path;
  bool path_known = false;
  for (const auto &route : routes_) {
    bool matches = route.prefix ? path.compare(0, route.path.size(), route.path) == 0 &&
                                      path.size() > route.path.size()
                                : path == route.path;
    if (!matches) continue;
    path_known = true;
    if (route.method != method) continue;
    exchange.suffix = route.prefix ? path.substr(route.path.size()) : std::string();
    try {
      route.handler(exchange);
    } catch (const std::exception &e) {
      Json::Value body;
      body["error"] = "server_error";
      body["error_description"] = e.what();
      exchange.SendJson(500, body);
    }
    return;
  }
  Json::Value body;
  body["error"] = path_known ? "method_not_allowed" : "not_found";
  exchange.SendJson(path_known ? 405 : 404, body);
}

void Router::Dispatch(const httplib::Request &req, httplib::Response &res) {
  Exchange exchange{req, res, ParseUrlEncoded(QueryOfTarget(req.target)), Pairs(), ""};
  if (IsFormBody(req)) exchange.form = ParseUrlEncoded(req.body);

  uint64_t seq = 0;
  std::optional<Fault> fault;
  if (record_) {
    LoggedRequest entry;
    entry.time = emulator_.PreciseNow();
    entry.origin = origin_;
    entry.method = req.method;
    entry.path = req.path;
    entry.target = req.target;
    for (const auto &header : req.headers) {
      if (!IsSyntheticHeader(header.first)) entry.headers.push_back(header);
    }
    entry.query = exchange.query;
    entry.form = exchange.form;
    entry.body = req.body;
    seq = emulator_.requests.Add(std::move(entry));
    fault = emulator_.faults.Take(origin_, req.path);
  }

  // A dropped request is logged before its connection goes: a client that sees the drop
  // and then reads the request log finds the drop recorded.
  bool recorded = false;
  auto record = [&](int status) {
    if (record_ && !recorded) {
      emulator_.requests.Finish(seq, status, fault ? Describe(*fault) : "");
    }
    recorded = true;
  };
  bool dropped = false;
  // A stop ends every wait: the connection goes, so the stop is not held back.
  auto wait_for_release = [&] {
    if (!fault || !fault->hold || emulator_.HoldUntilReleased()) return true;
    record(-1);
    DropConnection(req);
    dropped = true;
    return false;
  };
  if (fault && fault->delay_ms > 0 && !emulator_.SleepUnlessStopping(fault->delay_ms)) {
    record(-1);
    DropConnection(req);
    dropped = true;
  }
  if (!dropped && !(fault && fault->after_processing)) wait_for_release();
  bool answered_by_fault =
      fault && !fault->after_processing && (CutsConnection(*fault) || fault->status || fault->body);
  if (!dropped) {
    if (answered_by_fault) {
      if (CutsConnection(*fault)) record(-1);
      ApplyFault(*fault, req, res);
    } else {
      RouteRequest(exchange);
      if (fault && fault->after_processing && wait_for_release()) {
        if (CutsConnection(*fault)) record(-1);
        ApplyFault(*fault, req, res);
      }
    }
    dropped = dropped || (fault && CutsConnection(*fault));
    if (!dropped && fault && fault->trickle_ms > 0) {
      TrickleBody(res, fault->trickle_ms,
                  [this](int ms) { return emulator_.SleepUnlessStopping(ms); });
    }
  }
  if (res.status == -1) res.status = 200;
  record(dropped ? -1 : res.status);
  if (emulator_.verbose) {
    std::fprintf(stderr, "zeph-cloud: %s %s %s -> %d%s\n", origin_.c_str(), req.method.c_str(),
                 req.target.c_str(), dropped ? -1 : res.status,
                 fault ? (" [fault: " + Describe(*fault) + "]").c_str() : "");
  }
}

}  // namespace zeph_cloud
