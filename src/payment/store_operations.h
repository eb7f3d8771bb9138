// The store and purchase operations, one internal function each: the C interface's
// functions are thin faces over them, and any other face calls them directly. Each
// returns its result or logs why it cannot and throws Failure (core/failure.h), a
// ZephException with its code.
#ifndef VEXOZEPH_PAYMENT_STORE_OPERATIONS_H_
#define VEXOZEPH_PAYMENT_STORE_OPERATIONS_H_

#include <json/value.h>

namespace vexozeph {
namespace payment {

// The signed-in account's purchases, newest first as the payment host lists them:
// {"purchases": [{"order_id", "item_id", "name", "amount", "currency", "status" (texts),
// "purchased_at" (seconds since the epoch)}]}. Throws 3 (nobody signed in, or the account
// left while the host answered), the payment host's codes (store_request.h), and 5 when
// a purchase lacks a member or has one of the wrong type.
Json::Value PurchaseList();

// What a management page needs to embed the store page for this device and account:
// {"address", "params": {"ticket"}, "url" (the address with the parameters), "expires_in",
// "expires_at"}. The ticket is the payment host's single-use, short-lived proof of the
// device and the account; the auth key never leaves the device. Throws as PurchaseList,
// and 5 when the ticket or its lifetime is missing or unusable.
Json::Value StorePage();

}  // namespace payment
}  // namespace vexozeph

#endif  // VEXOZEPH_PAYMENT_STORE_OPERATIONS_H_
