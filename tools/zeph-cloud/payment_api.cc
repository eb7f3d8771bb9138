#include "payment_api.h"

#include <mutex>
#include <string>

#include "base/json_utils.h"
#include "base/request_token.h"
#include "crypto_utils.h"
#include "html.h"

namespace zeph_cloud {
namespace {

// How long a store ticket stands.
const int64_t kTicketSeconds = 120;

struct StoreItem {
  const char *item_id;
  const char *name;
  const char *amount;
  const char *currency;
};
const StoreItem kStoreItems[] = {
    {"vigilon-1y", "Vigilon Antivirus, 1 year", "29.99", "USD"},
    {"relay-plus-1y", "Relay Plus, 1 year", "19.99", "USD"},
    {"backup-500g-1m", "Cloud Backup 500 GB, 1 month", "4.99", "USD"},
};

Json::Value StoreItems() {
  Json::Value items(Json::arrayValue);
  for (const StoreItem &item : kStoreItems) {
    Json::Value entry;
    entry["item_id"] = item.item_id;
    entry["name"] = item.name;
    entry["amount"] = item.amount;
    entry["currency"] = item.currency;
    items.append(entry);
  }
  return items;
}

// One JSON request of a device. Every path takes exactly "application/json", a JSON
// object, "bx_sn" and a "bx_token" made from it; answers are JSON objects with a result
// word: 200 for "good", 400 for every refusal.
class JsonCall {
 public:
  JsonCall(Exchange &exchange, Emulator &emulator) : exchange_(exchange), emulator_(emulator) {}

  // The request's shape and signature, then any forced answer. False when answered here.
  bool Admit() {
    if (exchange_.Header("Content-Type") != "application/json" ||
        !vexozeph::json::Parse(exchange_.req.body, body_) || !body_.isObject() ||
        Text("bx_sn").empty()) {
      Answer("badparam");
      return false;
    }
    std::string expected;
    if (!vexozeph::RequestTokenFromInput(Text("bx_sn").c_str(), expected) ||
        Text("bx_token") != expected) {
      Answer("badauth");
      return false;
    }
    if (auto forced = emulator_.answers.Take(exchange_.req.path)) {
      Answer(forced->word, forced->extra.isObject() ? forced->extra : Json::Value());
      return false;
    }
    return true;
  }

  // The member `key` when it is a text, else "".
  std::string Text(const char *key) const { return vexozeph::json::StringOr(body_, key); }

  // The signed-in account the request's "id" and "auth_key" stand for on the signing
  // device, or null after answering the refusal. Call with the emulator's mutex held.
  Account *AuthorizedAccount() {
    if (!vexozeph::json::Member(body_, "id").isString() ||
        !vexozeph::json::Member(body_, "auth_key").isString()) {
      Answer("badparam");
      return nullptr;
    }
    std::string word;
    Account *account =
        emulator_.state.AccountOfKey(Text("id"), Text("auth_key"), Text("bx_sn"), word);
    if (account == nullptr) Answer(word);
    return account;
  }

  void Answer(const std::string &word, Json::Value body = Json::Value()) {
    if (!body.isObject()) body = Json::Value(Json::objectValue);
    body["code"] = word;
    exchange_.SendJson(word == "good" ? 200 : 400, body);
  }

 private:
  Exchange &exchange_;
  Emulator &emulator_;
  Json::Value body_;
};

void Items(Exchange &exchange, Emulator &emulator) {
  JsonCall call(exchange, emulator);
  if (!call.Admit()) return;
  Json::Value body;
  body["items"] = StoreItems();
  call.Answer("good", body);
}

void Purchases(Exchange &exchange, Emulator &emulator) {
  JsonCall call(exchange, emulator);
  if (!call.Admit()) return;
  std::lock_guard<std::mutex> guard(emulator.mutex);
  const Account *account = call.AuthorizedAccount();
  if (account == nullptr) return;
  Json::Value body;
  body["purchases"] = account->purchases;
  call.Answer("good", body);
}

void Ticket(Exchange &exchange, Emulator &emulator) {
  JsonCall call(exchange, emulator);
  if (!call.Admit()) return;
  std::lock_guard<std::mutex> guard(emulator.mutex);
  const Account *account = call.AuthorizedAccount();
  if (account == nullptr) return;
  const std::string ticket = RandomHex(20);
  emulator.state.tickets[ticket] =
      StoreTicket{account->id, call.Text("bx_sn"), emulator.Now() + kTicketSeconds, false};
  Json::Value body;
  body["ticket"] = ticket;
  body["expires_in"] = Json::Int64(kTicketSeconds);
  call.Answer("good", body);
}

std::string ItemRows() {
  std::string rows;
  for (const StoreItem &item : kStoreItems) {
    rows += std::string("<tr><td>") + HtmlEscape(item.name) + "</td><td>" + item.amount + " " +
            item.currency + "</td></tr>";
  }
  return rows;
}

// The page a management page embeds: its ticket is spent by the first load, whatever
// comes of it, and a spent, lapsed or unknown one gets the same refusal.
void StorePage(Exchange &exchange, Emulator &emulator) {
  const std::string *ticket = FirstValue(exchange.query, "ticket");
  std::lock_guard<std::mutex> guard(emulator.mutex);
  State &state = emulator.state;
  auto found = state.tickets.find(ticket != nullptr ? *ticket : "");
  const Account *account =
      found == state.tickets.end() ? nullptr : state.FindAccount(found->second.account_id);
  const bool usable = account != nullptr && !account->deleted && !found->second.used &&
                      emulator.Now() < found->second.expires_at;
  if (found != state.tickets.end()) found->second.used = true;
  if (!usable) {
    return exchange.SendHtml(
        401, HtmlPage("Store", "<p>This store link has lapsed or was already used.</p>"));
  }
  exchange.SendHtml(
      200, HtmlPage("Store", "<p id=\"account\">" + HtmlEscape(account->email) +
                                 "</p><p id=\"device\">" + HtmlEscape(found->second.serial) +
                                 "</p><table>" + ItemRows() + "</table>"));
}

}  // namespace

void AddPaymentApi(Router &router, Emulator &emulator) {
  router.Add("GET", "/health", [](Exchange &exchange) {
    Json::Value body;
    body["status"] = "ok";
    body["service"] = "payment";
    exchange.SendJson(200, body);
  });
  struct Endpoint {
    const char *path;
    void (*handler)(Exchange &, Emulator &);
  };
  const Endpoint endpoints[] = {
      {"/api/v1/device/store/items", Items},
      {"/api/v1/device/purchase/list", Purchases},
      {"/api/v1/device/store/ticket", Ticket},
  };
  for (const auto &endpoint : endpoints) {
    auto handler = endpoint.handler;
    router.Add("POST", endpoint.path,
               [handler, &emulator](Exchange &exchange) { handler(exchange, emulator); });
  }
  router.Add("GET", "/store/embed",
             [&emulator](Exchange &exchange) { StorePage(exchange, emulator); });
}

}  // namespace zeph_cloud
