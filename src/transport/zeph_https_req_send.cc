// The C interface's one way to talk to the account server: a form of key=value pairs,
// signed with the device serial and request token, sent over verified HTTPS with fixed
// time-outs and a small retry rule for time-outs and failed name resolution (the
// transfer itself is https::Exchange, shared with the payment host's JSON sender).
#include <curl/curl.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "base/log.h"
#include "core/c_edge.h"
#include "core/failure.h"
#include "transport/device.h"
#include "transport/form_sender.h"
#include "transport/https_exchange.h"
#include "transport/https_transfer.h"
#include "vexo_platform/vlib_error.h"
#include "vexo_platform/vlib_string.h"
#include "vexozeph/vexozeph.h"

namespace {

const size_t kFormInitialSize = 1024;
const size_t kSerialSize = 256;
const size_t kTokenSize = 33;
const int kMaxFormKeys = 512;
const size_t kUrlSize = 4096;
const size_t kHeaderSize = 128;
using vexozeph::https::CurlText;
using vexozeph::https::HeaderList;

struct SzListFree {
  void operator()(_tag_VLIBSZLIST_ *list) const { VLIBCSzListFree(list); }
};
using KeyList = std::unique_ptr<_tag_VLIBSZLIST_, SzListFree>;

// A NUL-terminated heap text grown by VLIBCStrCat.
struct FormText {
  char *data = nullptr;
  size_t capacity = 0;
  ~FormText() { std::free(data); }
};

class FormRequest {
 public:
  FormRequest(const VEXOZEPH_HTTPS_REQUEST &request, VEXOZEPH_HTTPS_RESPONSE &response)
      : request_(request),
        // Logged in place of the URL: a GET request's query holds the password and token.
        log_url_(std::string(request.host) + "/" + request.path),
        // The fixed-size fields are read only up to their size, terminated or not.
        account_(request.account, strnlen(request.account, sizeof(request.account))),
        password_(request.password, strnlen(request.password, sizeof(request.password))),
        exchange_(ZLOG_HERE.module, log_url_, request.short_timeout != 0, response) {}

  void Send(VEXOZEPH_HTTPS_RESPONSE &response) {
    response.result = CURLE_OK;
    form_.data = static_cast<char *>(std::calloc(1, kFormInitialSize));
    if (form_.data == nullptr) vexozeph::Fail(VEXOZEPH_ERR_SYSTEM);
    form_.capacity = kFormInitialSize;
    exchange_.Init();
    if (!BuildForm() || !BuildUrl()) vexozeph::Fail(VEXOZEPH_ERR_SEND);
    const bool post = form_.data[0] != '\0' && !IsGet();
    exchange_.SetOptions(url_, post ? form_.data : nullptr,
                         [this](CURL *curl) { return SetHeaders(curl); });
    exchange_.Perform();
    exchange_.TakeReply();
  }

 private:
  bool BuildForm() {
    char serial[kSerialSize] = {0};
    char token[kTokenSize] = {0};
    const char *given_serial =
        request_.params != nullptr ? VLIBCSzHashGetValue(request_.params, "bx_sn") : nullptr;
    if (given_serial != nullptr) std::snprintf(serial, sizeof(serial), "%s", given_serial);
    if (!vexozeph::device::GenerateRequestToken(account_.c_str(), password_.c_str(), serial,
                                                sizeof(serial), token, sizeof(token))) {
      return false;
    }
    KeyList keys(VLIBCSzListAlloc(kMaxFormKeys));
    if (!keys) {
      ZLOG("out of memory, ERR=[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
      return false;
    }
    if (request_.params == nullptr || VLIBCSzHashEnumKey(request_.params, keys.get()) <= 0) {
      ZLOG("no key in the hash, ERR=[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
      return false;
    }
    if (!AppendPair("bx_sn", serial) || !AppendPair("bx_token", token)) return false;
    if (!account_.empty() && !AppendPair("zephID", account_.c_str())) return false;
    if (!password_.empty() && !AppendPair("zephPW", password_.c_str())) return false;
    // Every caller key in the hash's order, even one that repeats a field sent above: the
    // server has always seen such a form, so it is kept as it is.
    int count = VLIBCSzListSize(keys.get());
    for (int i = 0; i < count; ++i) {
      const char *key = VLIBCSzListGet(keys.get(), i);
      if (key == nullptr) continue;
      const char *value = VLIBCSzHashGetValue(request_.params, key);
      if (!AppendPair(key, value != nullptr ? value : "")) return false;
    }
    return true;
  }

  bool AppendPair(const char *key, const char *value) {
    // Values are never written to the log: one of them is the password.
    CurlText escaped(curl_easy_escape(exchange_.curl(), value, 0));
    if (!escaped) {
      ZLOG("URL encoding failed: %s", key);
      return false;
    }
    bool first = form_.data[0] == '\0';
    for (const char *part :
         {first ? "" : "&", key, "=", static_cast<const char *>(escaped.get())}) {
      if (VLIBCStrCat(&form_.data, &form_.capacity, part) < 0) {
        ZLOG("URL encoding failed: %s", key);
        return false;
      }
    }
    return true;
  }

  bool IsGet() const { return request_.method == VEXOZEPH_HTTPS_METHOD_GET; }

  bool BuildUrl() {
    int length = IsGet() ? std::snprintf(url_, sizeof(url_), "%s/%s?%s", request_.host,
                                         request_.path, form_.data)
                         : std::snprintf(url_, sizeof(url_), "%s/%s", request_.host, request_.path);
    // A cut URL would send a different request than the caller built.
    if (length < 0 || static_cast<size_t>(length) >= sizeof(url_)) {
      ZLOG("%s, URL too long (%d bytes)", log_url_.c_str(), length);
      return false;
    }
    return true;
  }

  bool SetHeaders(CURL *curl) {
    // The entry is copied from the buffer while it is still empty, and the "Host:" text
    // is written only afterwards, so the entry sent is empty and libcurl derives the Host
    // header from the URL. Servers in the field have only ever seen this; keep the order.
    char header[kHeaderSize] = {0};
    headers_.reset(curl_slist_append(nullptr, header));
    std::snprintf(header, sizeof(header), "Host: %s", request_.host);
    CURLcode rc =
        headers_ ? curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers_.get()) : CURLE_OUT_OF_MEMORY;
    if (rc != CURLE_OK) {
      ZLOG("failed to set req=%s, header=%s, return value=%d, err=%s", log_url_.c_str(), header, rc,
           curl_easy_strerror(rc));
      return false;
    }
    return true;
  }

  const VEXOZEPH_HTTPS_REQUEST &request_;
  std::string log_url_;
  std::string account_;
  std::string password_;
  // Declared before the exchange so that they outlive its handle: libcurl points into them.
  FormText form_;
  HeaderList headers_;
  char url_[kUrlSize] = {0};
  vexozeph::https::Exchange exchange_;
};

}  // namespace

namespace vexozeph {

void SendHttpsForm(const VEXOZEPH_HTTPS_REQUEST &request, VEXOZEPH_HTTPS_RESPONSE &response) {
  if (request.host == nullptr || request.path == nullptr) Fail(VEXOZEPH_ERR_BAD_PARAMETER);
  FormRequest(request, response).Send(response);
}

}  // namespace vexozeph

extern "C" {

VEXOZEPH_API int VEXOZEPHHttpsRequestSend(const VEXOZEPH_HTTPS_REQUEST *request,
                                          VEXOZEPH_HTTPS_RESPONSE *response) {
  return vexozeph::GuardCInterface("VEXOZEPHHttpsRequestSend", [&] {
    if (request == nullptr || response == nullptr) vexozeph::Fail(VEXOZEPH_ERR_BAD_PARAMETER);
    vexozeph::SendHttpsForm(*request, *response);
    return 0;
  });
}

VEXOZEPH_API void VEXOZEPHHttpsResponseFree(VEXOZEPH_HTTPS_RESPONSE *response) {
  if (response == nullptr) return;
  std::free(response->data);
  response->data = nullptr;
  response->status = 0;
}

}  // extern "C"
