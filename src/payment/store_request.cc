#include "store_request.h"

#include <cstdio>
#include <string_view>

#include "base/json_utils.h"
#include "base/log.h"
#include "base/string_utils.h"
#include "internal/account_file.h"
#include "internal/https_exchange.h"
#include "internal/https_transfer.h"
#include "internal/shown_answer.h"
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

void Refuse(unsigned int code, const std::string &why) {
  throw ZephException(code, why);
}

// Adds "bx_sn" and "bx_token" to `body`: the serial it names, else the appliance's.
void Sign(Json::Value &body) {
  char serial[kSerialSize] = {0};
  char token[kTokenSize] = {0};
  const Json::Value &given = json::Member(body, "bx_sn");
  if (!given.isNull()) {
    const std::string text = given.isString() ? given.asString() : std::string();
    if (text.empty() || text.size() >= sizeof(serial)) {
      Refuse(VEXOZEPH_ERR_BAD_PARAMETER, "\"bx_sn\" must be a serial number");
    }
    std::snprintf(serial, sizeof(serial), "%s", text.c_str());
  }
  if (VEXOZEPHGenerateToken(nullptr, nullptr, serial, sizeof(serial), token, sizeof(token)) < 0) {
    Refuse(VEXOZEPH_ERR_SEND, "the request cannot be signed");
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
    Refuse(VEXOZEPH_ERR_PAYMENT_CONFIG, std::string("no payment host: ") + e.what());
  }
  if (host.empty()) Refuse(VEXOZEPH_ERR_PAYMENT_CONFIG, "no payment host");
  return host;
}

void SendJson(const std::string &path, Json::Value body, bool short_timeout,
              VEXOZEPH_HTTPS_RESPONSE &response) {
  if (path.empty() || path[0] == '/') {
    Refuse(VEXOZEPH_ERR_BAD_PARAMETER, "the path must be below the base, without a leading slash");
  }
  if (!body.isObject() || body.isMember("bx_token")) {
    Refuse(VEXOZEPH_ERR_BAD_PARAMETER, "the body must be a JSON object without \"bx_token\"");
  }
  response.result = CURLE_OK;
  const std::string host = PaymentHost();
  Sign(body);
  const std::string url = host + "/" + path;
  const std::string text = json::ToCompactString(body);
  // Declared before the exchange so that it outlives the handle that points to it.
  https::HeaderList headers;
  https::Exchange exchange(ZLOG_HERE.module, url, short_timeout, response);
  unsigned int code = exchange.Init();
  if (code == VEXOZEPH_ERR_SUCCESS) {
    code = exchange.SetOptions(url.c_str(), text.c_str(),
                               [&](CURL *curl) { return SetJsonHeaders(url, headers, curl); });
  }
  if (code == VEXOZEPH_ERR_SUCCESS) code = exchange.Perform();
  if (code == VEXOZEPH_ERR_SUCCESS) code = exchange.TakeReply();
  if (code != VEXOZEPH_ERR_SUCCESS) Refuse(code, url + ": no answer");
}

StoreIdentity SignedInIdentity() {
  const AccountSnapshot account = AccountSnapshot::Read();
  StoreIdentity identity{std::string(account.GetUserId()), std::string(account.GetAuthKey())};
  if (identity.user_id.empty() || identity.auth_key.empty()) {
    Refuse(VEXOZEPH_ERR_NO_ACCOUNT, "no account is signed in");
  }
  return identity;
}

void RequireStillSignedIn(const StoreIdentity &identity) {
  const AccountSnapshot account = AccountSnapshot::Read();
  if (account.GetUserId() != identity.user_id || account.GetAuthKey() != identity.auth_key) {
    Refuse(VEXOZEPH_ERR_NO_ACCOUNT,
           "account " + identity.user_id + " left while the payment host answered");
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
    Refuse(VEXOZEPH_ERR_BAD_JSON, path + ": the answer is not JSON: " + TruncatedAnswer(body));
  }
  std::string word;
  if (!answer.isObject() || !json::ResultWord(answer, word)) {
    Refuse(VEXOZEPH_ERR_NO_REPLY, path + ": the answer has no result: " + TruncatedAnswer(body));
  }
  const unsigned int code = GetErrorCodeFromAccountError(word.c_str());
  if (code != VEXOZEPH_ERR_SUCCESS) {
    Refuse(code, path + ": refused: " + TruncatedAnswer(body));
  }
  return answer;
}

}  // namespace payment
}  // namespace vexozeph
