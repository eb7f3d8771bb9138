// The payment host: the device's JSON API (store items, the account's purchases, store
// tickets) and the store page a management page embeds with a ticket.
#ifndef ZEPH_CLOUD_PAYMENT_API_H_
#define ZEPH_CLOUD_PAYMENT_API_H_

#include "emulator.h"
#include "router.h"

namespace zeph_cloud {

void AddPaymentApi(Router &router, Emulator &emulator);

}  // namespace zeph_cloud

#endif  // ZEPH_CLOUD_PAYMENT_API_H_
