#include "account/account_request.h"

#include <memory>

#include "internal/json_utils.h"
#include "pkce/shown_answer.h"
#include "vexo_platform/vlib_error.h"

namespace vexozeph {

int ReadAccountHost(const log::Place &where, std::string &host) {
  char config[VEXOZEPH_SERVER_CONFIG_SIZE] = {0};
  if (VEXOZEPHServerConfigGet(config) < 0) {
    ZLOG_FROM(where, "VEXOZEPHServerConfigGet, code=%u",
              static_cast<unsigned int>(VEXOZEPHErrGet()));
    return VEXOZEPHErrSet(VEXOZEPH_ERR_SERVER_CONFIG), -1;
  }
  host = config + VEXOZEPH_SERVER_CONFIG_HALF;
  return 0;
}

HttpsReply::HttpsReply() : raw_() {}

HttpsReply::~HttpsReply() {
  VEXOZEPHHttpsResponseFree(&raw_);
}

int SendAccountForm(const std::string &host, const char *path, const FormHash &form,
                    bool short_timeout, HttpsReply &reply) {
  // The record carries two 4 KiB text fields; keep it off the small stacks of callers.
  std::unique_ptr<VEXOZEPH_HTTPS_REQUEST> request(new VEXOZEPH_HTTPS_REQUEST());
  request->host = host.c_str();
  request->path = path;
  request->params = form.get();
  request->method = VEXOZEPH_HTTPS_METHOD_POST;
  request->short_timeout = short_timeout ? 1 : 0;
  return VEXOZEPHHttpsRequestSend(request.get(), reply.raw());
}

bool ParseReply(const char *body, Json::Value &out) {
  return body != nullptr && json::Parse(body, out);
}

int PostAccountFormForJson(const log::Place &where, const std::string &host, const char *path,
                           const FormHash &form, bool short_timeout, HttpsReply &reply,
                           Json::Value &answer) {
  if (SendAccountForm(host, path, form, short_timeout, reply) < 0) {
    ZLOG_FROM(where, "Failed to send https request. err=[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
    return VEXOZEPHErrSet(VEXOZEPH_ERR_SEND), -1;
  }
  if (!ParseReply(reply.body(), answer)) {
    ZLOG_FROM(where, "Failed to parse json: %s", TruncatedAnswer(reply.body()).c_str());
    return VEXOZEPHErrSet(VEXOZEPH_ERR_BAD_JSON), -1;
  }
  return 0;
}

}  // namespace vexozeph
