// Dispatch of one host's requests to its handlers, with the request log and the fault
// injection wrapped around every request of the public hosts.
#ifndef ZEPH_CLOUD_ROUTER_H_
#define ZEPH_CLOUD_ROUTER_H_

#include <httplib.h>
#include <json/json.h>

#include <functional>
#include <string>
#include <vector>

#include "emulator.h"
#include "form_codec.h"

namespace zeph_cloud {

// One request and its answer, as the handlers see them.
struct Exchange {
  const httplib::Request &req;
  httplib::Response &res;
  Pairs query;
  Pairs form;          // set when the body is application/x-www-form-urlencoded
  std::string suffix;  // the rest of the path after a prefix route

  // The request's fields: the form for POST, the query string otherwise.
  const Pairs &Fields() const;
  const std::string *Field(const std::string &key) const;
  std::string Header(const std::string &name) const;
  // The token of an "Authorization: Bearer <token>" header, "" when there is none.
  std::string BearerToken() const;

  void SendJson(int status, const Json::Value &body);
  void SendText(int status, const std::string &text,
                const std::string &content_type = "text/plain; charset=utf-8");
  void SendHtml(int status, const std::string &html);
  void Redirect(const std::string &location);
};

using Handler = std::function<void(Exchange &)>;

class Router {
 public:
  // `origin` names the host in the request log; `record` enables the log and faults.
  Router(Emulator &emulator, std::string origin, bool record)
      : emulator_(emulator), origin_(std::move(origin)), record_(record) {}

  void Add(const std::string &method, const std::string &path, Handler handler);
  // Matches every path that starts with `prefix`; the rest is in Exchange::suffix.
  void AddPrefix(const std::string &method, const std::string &prefix, Handler handler);

  // Routes every method and path of `server` through this router.
  void Install(httplib::Server &server);

 private:
  struct Route {
    std::string method;
    std::string path;
    bool prefix;
    Handler handler;
  };

  void Dispatch(const httplib::Request &req, httplib::Response &res);
  void RouteRequest(Exchange &exchange);

  Emulator &emulator_;
  std::string origin_;
  bool record_;
  std::vector<Route> routes_;
};

}  // namespace zeph_cloud

#endif  // ZEPH_CLOUD_ROUTER_H_
