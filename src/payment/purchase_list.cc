// The signed-in account's purchase history, as the payment host keeps it. The answer is
// judged whole before any of it is handed on: one purchase that lacks a member refuses
// the list, so that a caller never shows half a history as if it were all of it.
#include <string>

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

// The members of a purchase, each a text but the time of purchase.
struct PurchaseMember {
  const char *name;
  bool is_time;
};
const PurchaseMember kPurchaseMembers[] = {
    {"order_id", false}, {"item_id", false},     {"name", false},   {"amount", false},
    {"currency", false}, {"purchased_at", true}, {"status", false},
};

// The purchase as handed on: its known members only, each of its type. False when one is
// missing or of another type (a time must fit 64 bits, so that reading it cannot throw).
bool TakePurchase(const Json::Value &sent, Json::Value &purchase) {
  if (!sent.isObject()) return false;
  purchase = Json::Value(Json::objectValue);
  for (const PurchaseMember &member : kPurchaseMembers) {
    const Json::Value &value = json::Member(sent, member.name);
    if (member.is_time ? !value.isInt64() : !value.isString()) return false;
    purchase[member.name] = member.is_time ? Json::Value(value.asInt64()) : value;
  }
  return true;
}

}  // namespace

Json::Value PurchaseList() {
  const StoreIdentity identity = SignedInIdentity();
  const Json::Value answer = AskForAccount(kPurchaseListPath, identity);
  const Json::Value &sent = json::Member(answer, "purchases");
  if (!sent.isArray()) {
    ZLOG("no purchase list: %s", TruncatedAnswer(json::ToCompactString(answer)).c_str());
    Fail(VEXOZEPH_ERR_NO_REPLY);
  }
  Json::Value purchases(Json::arrayValue);
  for (Json::ArrayIndex i = 0; i < sent.size(); ++i) {
    Json::Value purchase;
    if (!TakePurchase(sent[i], purchase)) {
      ZLOG("purchase %u is incomplete: %s", i,
           TruncatedAnswer(json::ToCompactString(sent[i])).c_str());
      Fail(VEXOZEPH_ERR_NO_REPLY);
    }
    purchases.append(purchase);
  }
  RequireStillSignedIn(identity);
  Json::Value result(Json::objectValue);
  result["purchases"] = purchases;
  return result;
}

}  // namespace payment
}  // namespace vexozeph

VEXOZEPH_API int VEXOZEPHAccountPurchaseList(Json::Value &result) {
  return vexozeph::GuardCInterface("VEXOZEPHAccountPurchaseList", [&] {
    vexozeph::payment::PurchaseList().swap(result);
    return 0;
  });
}
