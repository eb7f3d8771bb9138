// The payment host: a health answer only (its store queries are not emulated).
#ifndef ZEPH_CLOUD_PAYMENT_API_H_
#define ZEPH_CLOUD_PAYMENT_API_H_

#include "router.h"

namespace zeph_cloud {

void AddPaymentApi(Router &router);

}  // namespace zeph_cloud

#endif  // ZEPH_CLOUD_PAYMENT_API_H_
