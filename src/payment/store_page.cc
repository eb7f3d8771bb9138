// The parameters of the store page for this device and account. A page address ends up
// in browser histories, referrers and server logs, so it carries no long-lived secret:
// the device asks the payment host, with its auth key, for a ticket that proves the
// device and the account once and lapses within minutes, and only the ticket goes into
// the address.
#include <cstdint>
#include <string>

#include "base/clock.h"
#include "base/json_utils.h"
#include "base/log.h"
#include "core/c_edge.h"
#include "core/failure.h"
#include "payment/store_operations.h"
#include "payment/store_request.h"
#include "transport/shown_answer.h"
#include "vexozeph/zeph_account.h"

namespace vexozeph {
namespace payment {
namespace {

// A ticket is an opaque word: longer than this, or with a character an address would
// have to escape, it is not one the payment host issues.
const size_t kMaxTicketLength = 512;
// Lifetimes above a day are not a ticket's either.
const int64_t kMaxTicketSeconds = 86400;

bool IsTicket(const Json::Value &value) {
  if (!value.isString()) return false;
  const std::string ticket = value.asString();
  static const char kUnreserved[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
  return !ticket.empty() && ticket.size() <= kMaxTicketLength &&
         ticket.find_first_not_of(kUnreserved) == std::string::npos;
}

bool IsLifetime(const Json::Value &value) {
  return value.isInt64() && value.asInt64() > 0 && value.asInt64() <= kMaxTicketSeconds;
}

}  // namespace

Json::Value StorePage() {
  const StoreIdentity identity = SignedInIdentity();
  const Json::Value answer = AskForAccount(kStoreTicketPath, identity);
  const Json::Value &ticket = json::Member(answer, "ticket");
  const Json::Value &expires_in = json::Member(answer, "expires_in");
  if (!IsTicket(ticket) || !IsLifetime(expires_in)) {
    ZLOG("no usable ticket: %s", TruncatedAnswer(json::ToCompactString(answer)).c_str());
    Fail(VEXOZEPH_ERR_NO_REPLY);
  }
  // A ticket of an account that has left is never handed out.
  RequireStillSignedIn(identity);
  const std::string address = PaymentHost() + "/" + kStorePagePath;
  Json::Value page(Json::objectValue);
  page["address"] = address;
  page["params"]["ticket"] = ticket;
  page["url"] = address + "?ticket=" + ticket.asString();
  page["expires_in"] = Json::Value(expires_in.asInt64());
  page["expires_at"] = Json::Value(static_cast<Json::Int64>(clock::Now() + expires_in.asInt64()));
  return page;
}

}  // namespace payment
}  // namespace vexozeph

VEXOZEPH_API int VEXOZEPHGetIframeInfo(Json::Value &info) {
  return vexozeph::GuardCInterface("VEXOZEPHGetIframeInfo", [&] {
    vexozeph::payment::StorePage().swap(info);
    return 0;
  });
}
