#include "payment/store_request.h"

#include <cstdio>
#include <string_view>

#include "base/json_utils.h"
#include "base/log.h"
#include "core/failure.h"
#include "store/account_file.h"
#include "transport/device.h"
#include "transport/https_exchange.h"
#include "transport/https_transfer.h"
#include "transport/shown_answer.h"
#include "vexozeph/server_info.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {
namespace payment {
namespace {

// The buffers the form sender signs with: a serial of up to 255 characters, 32 digits.
const size_t kSerialSize = 256;
const size_t kTokenSize = 33;

// A reply that frees its body however the call ends.
struct OwnedResponse {
  VEXOZEPH_HTTPS_RESPONSE raw{};
  OwnedResponse() = default;
  OwnedResponse(const OwnedResponse &) = delete;
  OwnedResponse &operator=(const OwnedResponse &) = delete;
  ~OwnedResponse() { VEXOZEPHHttpsResponseFree(&raw); }
  std::string body() const { return raw.data != nullptr ? raw.data : ""; }
};

// Adds "bx_sn" and "bx_token" to `body`: the serial it names, else the appliance's.
void Sign(Json::Value &body) {
  char serial[kSerialSize] = {0};
  char token[kTokenSize] = {0};
  const Json::Value &given = json::Member(body, "bx_sn");
  if (!given.isNull()) {
    const std::string text = given.isString() ? given.asString() : std::string();
    if (text.empty() || text.size() >= sizeof(serial)) {
      ZLOG("\"bx_sn\" must be a serial number");
      Fail(VEXOZEPH_ERR_BAD_PARAMETER);
    }
    std::snprintf(serial, sizeof(serial), "%s", text.c_str());
  }
  if (!device::GenerateRequestToken(nullptr, nullptr, serial, sizeof(serial), token,
                                    sizeof(token))) {
    Fail(VEXOZEPH_ERR_SEND);  // logged by the token's maker
  }
  body["bx_sn"] = serial;
  body["bx_token"] = token;
}

bool SetJsonHeaders(const std::string &log_url, https::HeaderList &headers, CURL *curl) {
  curl_slist *list = nullptr;
  for (const char *header : {"Content-Type: application/json", "Accept: application/json"}) {
    curl_slist *grown = curl_slist_append(list, header);
    if (grown == nullptr) break;
    list = grown;
  }
  headers.reset(list);
  CURLcode rc = list != nullptr && list->next != nullptr
                    ? curl_easy_setopt(curl, CURLOPT_HTTPHEADER, list)
                    : CURLE_OUT_OF_MEMORY;
  if (rc != CURLE_OK) {
    ZLOG("failed to set req=%s, JSON headers, return value=%d, err=%s", log_url.c_str(), rc,
         curl_easy_strerror(rc));
    return false;
  }
  return true;
}

}  // namespace

std::string PaymentHost() {
  std::string host;
  try {
    host = ServerInfo().GetPaymentHost();
  } catch (const ZephException &e) {
    ZLOG("no payment host: %s", e.what());
    Fail(VEXOZEPH_ERR_PAYMENT_CONFIG);
  }
  if (host.empty()) {
    ZLOG("no payment host");
    Fail(VEXOZEPH_ERR_PAYMENT_CONFIG);
  }
  return host;
}

void SendJson(const std::string &path, Json::Value body, bool short_timeout,
              VEXOZEPH_HTTPS_RESPONSE &response) {
  if (path.empty() || path[0] == '/') {
    ZLOG("the path must be below the base, without a leading slash");
    Fail(VEXOZEPH_ERR_BAD_PARAMETER);
  }
  if (!body.isObject() || body.isMember("bx_token")) {
    ZLOG("the body must be a JSON object without \"bx_token\"");
    Fail(VEXOZEPH_ERR_BAD_PARAMETER);
  }
  response.result = CURLE_OK;
  const std::string host = PaymentHost();
  Sign(body);
  const std::string url = host + "/" + path;
  const std::string text = json::ToCompactString(body);
  // Declared before the exchange so that it outlives the handle that points to it.
  https::HeaderList headers;
  https::Exchange exchange(ZLOG_HERE.module, url, short_timeout, response);
  exchange.Init();
  exchange.SetOptions(url.c_str(), text.c_str(),
                      [&](CURL *curl) { return SetJsonHeaders(url, headers, curl); });
  exchange.Perform();
  exchange.TakeReply();
}

StoreIdentity SignedInIdentity() {
  const AccountSnapshot account = AccountSnapshot::Read();
  StoreIdentity identity{std::string(account.GetUserId()), std::string(account.GetAuthKey())};
  if (identity.user_id.empty() || identity.auth_key.empty()) {
    ZLOG("no account is signed in");
    Fail(VEXOZEPH_ERR_NO_ACCOUNT);
  }
  return identity;
}

void RequireStillSignedIn(const StoreIdentity &identity) {
  const AccountSnapshot account = AccountSnapshot::Read();
  if (account.GetUserId() != identity.user_id || account.GetAuthKey() != identity.auth_key) {
    ZLOG("account %s left while the payment host answered", identity.user_id.c_str());
    Fail(VEXOZEPH_ERR_NO_ACCOUNT);
  }
}

Json::Value AskForAccount(const std::string &path, const StoreIdentity &identity,
                          Json::Value fields) {
  fields["id"] = identity.user_id;
  fields["auth_key"] = identity.auth_key;
  OwnedResponse response;
  SendJson(path, fields, true, response.raw);
  Json::Value answer;
  const std::string body = response.body();
  if (!json::Parse(body, answer)) {
    ZLOG("%s: the answer is not JSON: %s", path.c_str(), TruncatedAnswer(body).c_str());
    Fail(VEXOZEPH_ERR_BAD_JSON);
  }
  std::string word;
  if (!answer.isObject() || !json::ResultWord(answer, word)) {
    ZLOG("%s: the answer has no result: %s", path.c_str(), TruncatedAnswer(body).c_str());
    Fail(VEXOZEPH_ERR_NO_REPLY);
  }
  const unsigned int code = GetErrorCodeFromAccountError(word.c_str());
  if (code != VEXOZEPH_ERR_SUCCESS) {
    ZLOG("%s: refused: %s", path.c_str(), TruncatedAnswer(body).c_str());
    Fail(code);
  }
  return answer;
}

}  // namespace payment
}  // namespace vexozeph
