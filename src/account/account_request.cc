#include "account/account_request.h"

#include <memory>

#include "core/failure.h"
#include "internal/json_utils.h"
#include "transport/form_sender.h"
#include "transport/shown_answer.h"
#include "vexo_platform/vlib_error.h"
#include "vexozeph/server_info.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {

std::string ReadAccountHost(const log::Place &where) {
  try {
    return ServerInfo().GetAccountHost();
  } catch (const ZephException &e) {
    ZLOG_FROM(where, "VEXOZEPHServerConfigGet, code=%u", e.GetCode());
    Fail(VEXOZEPH_ERR_SERVER_CONFIG);
  }
}

HttpsReply::HttpsReply() : raw_() {}

HttpsReply::~HttpsReply() {
  VEXOZEPHHttpsResponseFree(&raw_);
}

bool SendAccountForm(const std::string &host, const char *path, const FormHash &form,
                     bool short_timeout, HttpsReply &reply) {
  // The record carries two 4 KiB text fields; keep it off the small stacks of callers.
  std::unique_ptr<VEXOZEPH_HTTPS_REQUEST> request(new VEXOZEPH_HTTPS_REQUEST());
  request->host = host.c_str();
  request->path = path;
  request->params = form.get();
  request->method = VEXOZEPH_HTTPS_METHOD_POST;
  request->short_timeout = short_timeout ? 1 : 0;
  try {
    SendHttpsForm(*request, *reply.raw());
  } catch (const Failure &) {
    return false;
  }
  return true;
}

bool ParseReply(const char *body, Json::Value &out) {
  return body != nullptr && json::Parse(body, out);
}

void PostAccountFormForJson(const log::Place &where, const std::string &host, const char *path,
                            const FormHash &form, bool short_timeout, HttpsReply &reply,
                            Json::Value &answer) {
  if (!SendAccountForm(host, path, form, short_timeout, reply)) {
    ZLOG_FROM(where, "Failed to send https request. err=[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS);
    Fail(VEXOZEPH_ERR_SEND);
  }
  if (!ParseReply(reply.body(), answer)) {
    ZLOG_FROM(where, "Failed to parse json: %s", TruncatedAnswer(reply.body()).c_str());
    Fail(VEXOZEPH_ERR_BAD_JSON);
  }
}

}  // namespace vexozeph
