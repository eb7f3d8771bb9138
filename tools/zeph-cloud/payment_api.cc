#include "payment_api.h"

namespace zeph_cloud {

void AddPaymentApi(Router &router) {
  router.Add("GET", "/health", [](Exchange &exchange) {
    Json::Value body;
    body["status"] = "ok";
    body["service"] = "payment";
    exchange.SendJson(200, body);
  });
}

}  // namespace zeph_cloud
