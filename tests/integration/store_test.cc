// The store and purchase calls against the emulator's payment host: what they send, what
// they hand back, how refusals and a missing account end them, and that the store page's
// address carries a single-use ticket and never the auth key.
#include <gtest/gtest.h>
#include <json/json.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "base/clock.h"
#include "base/json_utils.h"
#include "base/request_token.h"
#include "support/account_appliance.h"
#include "support/http_client.h"
#include "support/json_object.h"
#include "support/log_capture.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_account.h"

namespace vexozeph {
namespace testing {
namespace {

const char kPurchasePath[] = "/api/v1/device/purchase/list";
const char kTicketPath[] = "/api/v1/device/store/ticket";
const char kItemsPath[] = "/api/v1/device/store/items";
const int64_t kNow = 1700000000;

// The buyer's history, newest first, as the payment host keeps it.
const char kHistory[] = R"([
  {"order_id": "ord-1002", "item_id": "relay-plus-1y", "name": "Relay Plus, 1 year",
   "amount": "19.99", "currency": "USD", "purchased_at": 1699913600, "status": "paid"},
  {"order_id": "ord-1001", "item_id": "vigilon-1y", "name": "Vigilon Antivirus, 1 year",
   "amount": "29.99", "currency": "USD", "purchased_at": 1699600000, "status": "refunded"}])";

// One of the two account calls, run through its C face: 0 or the code it failed with.
struct StoreCall {
  const char *name;
  const char *path;
  int (*run)(Json::Value &result);
};
const StoreCall kStoreCalls[] = {
    {"purchase list", kPurchasePath, VEXOZEPHAccountPurchaseList},
    {"store page", kTicketPath, VEXOZEPHGetIframeInfo},
};

int CodeOf(const StoreCall &call, Json::Value &result) {
  return call.run(result) == 0 ? 0 : VEXOZEPHErrGet();
}

class Store : public AccountAppliance {
 protected:
  Store() { cloud_options_.payment_at_built_in_port = true; }

  void SetUp() override {
    AccountAppliance::SetUp();
    if (!cloud_->PaymentAtBuiltInPort()) GTEST_SKIP() << cloud_->WhyNoPaymentHost();
    clock::SetForTesting(kNow);
    NewAccount wanted;
    ASSERT_TRUE(json::Parse(kHistory, wanted.purchases));
    buyer_ = MakeAccount("buyer@example.com", wanted);
    history_ = wanted.purchases;
  }

  // The body the payment host received on `path`, and that exactly one request came.
  Json::Value SentBody(const std::string &path) {
    const std::vector<LoggedRequest> sent = cloud_->Requests("payment", path);
    EXPECT_EQ(sent.size(), 1u) << path;
    Json::Value body;
    if (sent.empty()) return body;
    EXPECT_EQ(sent[0].Header("Content-Type"), "application/json");
    EXPECT_TRUE(json::Parse(sent[0].body, body)) << sent[0].body;
    return body;
  }

  // What every account call sends: the device's serial and token, the stored identity.
  Json::Value SignedIdentity() {
    std::string token;
    EXPECT_TRUE(RequestTokenFromInput(kSerial, token));
    const Json::Value stored = cloud_->GetAccount(buyer_.id);
    return JsonObject({{"bx_sn", kSerial},
                       {"bx_token", token},
                       {"id", buyer_.id},
                       {"auth_key", stored["auth_keys"][0]["key"]}});
  }

  Account buyer_;
  Json::Value history_;
};

TEST_F(Store, PurchaseListIsTheSignedInAccountsHistorySentWithItsStoredIdentity) {
  // Someone else's purchases stay theirs.
  NewAccount other;
  other.purchases = Json::Value(Json::arrayValue);
  other.purchases.append(history_[0]);
  history_.removeIndex(0, nullptr);
  cloud_->UpdateAccount(buyer_.id, JsonObject({{"purchases", history_}}));
  MakeAccount("other@example.com", other);
  SignIn(buyer_);
  Json::Value result;
  ASSERT_EQ(VEXOZEPHAccountPurchaseList(result), 0) << VEXOZEPHErrGet();
  EXPECT_EQ(result, JsonObject({{"purchases", history_}}));
  EXPECT_EQ(SentBody(kPurchasePath), SignedIdentity());

  // An account that never bought anything has an empty history, not a failure.
  cloud_->UpdateAccount(buyer_.id, JsonObject({{"purchases", Json::Value(Json::arrayValue)}}));
  ASSERT_EQ(VEXOZEPHAccountPurchaseList(result), 0) << VEXOZEPHErrGet();
  EXPECT_EQ(result, JsonObject({{"purchases", Json::Value(Json::arrayValue)}}));
}

TEST_F(Store, NoAccountIsThreeWithNothingSentAndRefusalsMapThroughTheWordsSigningNothingOut) {
  for (const StoreCall &call : kStoreCalls) {
    Json::Value result = JsonObject({{"kept", true}});
    EXPECT_EQ(CodeOf(call, result), VEXOZEPH_ERR_NO_ACCOUNT) << call.name;
    EXPECT_EQ(result, JsonObject({{"kept", true}})) << call.name;
  }
  EXPECT_TRUE(cloud_->Requests("payment").empty());
  SignIn(buyer_);
  const std::string account_file = AccountFile();
  const std::pair<const char *, int> kRefusals[] = {{"badauth", VEXOZEPH_ERR_AUTH},
                                                    {"account_not_found", 25},
                                                    {"badsys", VEXOZEPH_ERR_SYSTEM},
                                                    {"apikey_expired", 27},
                                                    {"not_a_word", VEXOZEPH_ERR_UNKNOWN}};
  for (const StoreCall &call : kStoreCalls) {
    for (const auto &refusal : kRefusals) {
      cloud_->SetAnswer(call.path, refusal.first, 1);
      Json::Value result;
      EXPECT_EQ(CodeOf(call, result), refusal.second) << call.name << ", " << refusal.first;
      EXPECT_TRUE(result.isNull()) << call.name;
    }
  }
  // The service's own refusal of a revoked key, not a forced word.
  cloud_->RevokeAuthKey(SignedIdentity()["auth_key"].asString());
  for (const StoreCall &call : kStoreCalls) {
    Json::Value result;
    EXPECT_EQ(CodeOf(call, result), VEXOZEPH_ERR_AUTH) << call.name;
  }
  EXPECT_EQ(AccountFile(), account_file);
}

TEST_F(Store, StorePageCarriesASingleUseTicketAndNeverTheAuthKey) {
  SignIn(buyer_);
  Json::Value page;
  LogCapture log;
  ASSERT_EQ(VEXOZEPHGetIframeInfo(page), 0) << VEXOZEPHErrGet();
  EXPECT_EQ(SentBody(kTicketPath), SignedIdentity());

  const std::string ticket = json::StringOr(json::Member(page, "params"), "ticket");
  const std::string address = cloud_->PaymentOrigin() + "/store/embed";
  EXPECT_EQ(page, JsonObject({{"address", address},
                              {"params", JsonObject({{"ticket", ticket}})},
                              {"url", address + "?ticket=" + ticket},
                              {"expires_in", 120},
                              {"expires_at", Json::Int64(kNow + 120)}}));
  const std::string auth_key = SignedIdentity()["auth_key"].asString();
  EXPECT_EQ(json::ToCompactString(page).find(auth_key), std::string::npos);
  for (const std::string &line : log.Lines()) {
    EXPECT_EQ(line.find(ticket), std::string::npos) << line;
  }

  // The page a management page loads: for this account and device, once.
  const HttpResult first = Http("GET", page["url"].asString(), "", "", cloud_->CaFile());
  EXPECT_EQ(first.status, 200);
  EXPECT_NE(first.body.find(buyer_.email), std::string::npos);
  EXPECT_NE(first.body.find(kSerial), std::string::npos);
  EXPECT_EQ(Http("GET", page["url"].asString(), "", "", cloud_->CaFile()).status, 401);
}

TEST_F(Store, AnAnswerAboutAnAccountThatLeftMeanwhileIsNeverHandedOn) {
  for (const StoreCall &call : kStoreCalls) {
    SignIn(buyer_);
    cloud_->ClearRequests();
    Fault slow;
    slow.path = call.path;
    slow.origin = "payment";
    slow.delay_ms = 1500;
    cloud_->QueueFault(slow);
    Json::Value result;
    int code = -1;
    std::thread running([&] { code = CodeOf(call, result); });
    while (cloud_->Requests("payment", call.path).empty()) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    ::unlink(root_.Path(kAccountFile).c_str());
    running.join();
    EXPECT_EQ(code, VEXOZEPH_ERR_NO_ACCOUNT) << call.name;
    EXPECT_TRUE(result.isNull()) << call.name;
    cloud_->InstallHosts();
  }
}

TEST_F(Store, JsonSenderSignsTheCallersObjectAndHandsBackTheReplyLikeTheFormSender) {
  VEXOZEPH_HTTPS_RESPONSE reply = {};
  auto send = [&reply](const char *json) {
    VEXOZEPHHttpsResponseFree(&reply);
    return VEXOPaymentHTTPSSendWithJSON("api/v1/device/store/items", json, 1, &reply);
  };
  ASSERT_EQ(send("{\"locale\":\"enu\"}"), 0) << VEXOZEPHErrGet();
  Json::Value answer;
  ASSERT_TRUE(json::Parse(reply.data, answer)) << reply.data;
  EXPECT_EQ(reply.status, 200);
  EXPECT_EQ(json::StringOr(answer, "code"), "good");
  EXPECT_EQ(json::ArrayMember(answer, "items").size(), 3u);
  std::string token;
  ASSERT_TRUE(RequestTokenFromInput(kSerial, token));
  EXPECT_EQ(SentBody(kItemsPath),
            JsonObject({{"bx_sn", kSerial}, {"bx_token", token}, {"locale", "enu"}}));
  // A serial the caller names signs the request in place of the appliance's (the host
  // would refuse a token of another serial with 400).
  ASSERT_EQ(send("{\"bx_sn\":\"SN9\"}"), 0);
  EXPECT_EQ(reply.status, 200);
  // A refusal with a body is an answer for the caller to judge; another status is not.
  cloud_->SetAnswer(kItemsPath, "badsys", 1);
  ASSERT_EQ(send("{}"), 0);
  EXPECT_EQ(reply.status, 400);
  EXPECT_NE(std::string(reply.data).find("badsys"), std::string::npos);
  Fault failing;
  failing.path = kItemsPath;
  failing.status = 500;
  failing.body = "{\"code\":\"good\"}";
  cloud_->QueueFault(failing);
  EXPECT_EQ(send("{}"), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_SEND);
  EXPECT_EQ(reply.status, 500);
  EXPECT_EQ(reply.data, nullptr);

  // Arguments are checked before anything is sent; a serial that cannot sign is a
  // request that cannot be made.
  cloud_->ClearRequests();
  const struct {
    const char *path;
    const char *json;
    VEXOZEPH_HTTPS_RESPONSE *reply;
    int code;
  } kRefused[] = {{nullptr, "{}", &reply, 1},
                  {"api/x", nullptr, &reply, 1},
                  {"api/x", "{}", nullptr, 1},
                  {"/api/x", "{}", &reply, 1},
                  {"", "{}", &reply, 1},
                  {"api/x", "[1]", &reply, 1},
                  {"api/x", "{\"a\":", &reply, 1},
                  {"api/x", "{\"bx_token\":\"t\"}", &reply, 1},
                  {"api/x", "{\"bx_sn\":5}", &reply, 1},
                  {"api/x", "{\"bx_sn\":\"#1\"}", &reply, 4}};
  for (const auto &bad : kRefused) {
    EXPECT_EQ(VEXOPaymentHTTPSSendWithJSON(bad.path, bad.json, 1, bad.reply), -1);
    EXPECT_EQ(VEXOZEPHErrGet(), bad.code)
        << (bad.path ? bad.path : "null") << " " << (bad.json ? bad.json : "null");
  }
  EXPECT_TRUE(cloud_->Requests("payment").empty());
}

}  // namespace
}  // namespace testing
}  // namespace vexozeph
