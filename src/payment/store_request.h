// Requests to the payment host: a JSON object posted to a path below its base, signed
// with the device's serial ("bx_sn") and request token ("bx_token") as every device call
// is, over the same HTTPS exchange as the account host's forms. The answers are JSON
// objects whose "code" is a result word of the account host's table. Each function below
// logs why it fails and throws Failure (core/failure.h) with the code it names.
#ifndef VEXOZEPH_PAYMENT_STORE_REQUEST_H_
#define VEXOZEPH_PAYMENT_STORE_REQUEST_H_

#include <json/value.h>

#include <string>

#include "vexozeph/vexozeph.h"

namespace vexozeph {
namespace payment {

// The payment host's paths, below its base.
inline constexpr char kPurchaseListPath[] = "api/v1/device/purchase/list";
inline constexpr char kStoreTicketPath[] = "api/v1/device/store/ticket";
// The store page a management page embeds; it is given a ticket, never a key.
inline constexpr char kStorePagePath[] = "store/embed";

// The payment host's base. Throws 7 when it cannot be found.
std::string PaymentHost();

// Posts `body` (an object) to `path` on the payment host with "bx_sn" and "bx_token" added:
// the serial is `body`'s own "bx_sn" when it has one, else the appliance's. `response` is
// filled as VEXOZEPHHttpsRequestSend fills it (result and status as far as the request
// got; `data`, the trimmed body, only on success). Throws: 1 when `body` is not an object,
// holds "bx_token" or a "bx_sn" that is not a text; 7 without a payment host; 4 when the
// request cannot be signed, built or sent, or the status is not 200 or 400 with a body.
void SendJson(const std::string &path, Json::Value body, bool short_timeout,
              VEXOZEPH_HTTPS_RESPONSE &response);

// The stored identity a store request is sent with.
struct StoreIdentity {
  std::string user_id;
  std::string auth_key;
};

// The signed-in account's user id and auth key. Throws 3 when either is missing (nobody
// is signed in), 6 when the account file cannot be read.
StoreIdentity SignedInIdentity();

// Throws 3 unless the account file still holds `identity`: an answer about an account
// that was signed out or replaced while the server answered is never handed on.
void RequireStillSignedIn(const StoreIdentity &identity);

// Sends `identity` ("id", "auth_key") with `fields` to `path` (short time-outs: the store
// is asked while a person waits) and returns the answer, a JSON object whose "code" maps
// to 0. Throws: SendJson's codes; 2 when the body is not JSON; 5 when it is not an object
// with a result word; the mapped code when the word refuses.
Json::Value AskForAccount(const std::string &path, const StoreIdentity &identity,
                          Json::Value fields = Json::Value(Json::objectValue));

}  // namespace payment
}  // namespace vexozeph

#endif  // VEXOZEPH_PAYMENT_STORE_REQUEST_H_
