#include "transport/oauth_answer.h"

#include "internal/json_utils.h"
#include "internal/string_utils.h"
#include "transport/shown_answer.h"
#include "vexozeph/error_codes.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {

namespace {

void ThrowIfUnanswered(const http::Response &response, const std::string &failure) {
  if (!response.error) return;
  throw ZephException(VEXOZEPH_ERR_NO_REPLY,
                      format("%s, reqcode=%d, reqmsg=%s", failure.c_str(), response.error.code,
                             response.error.message.c_str()));
}

Json::Value Parsed(const http::Response &response) {
  Json::Value answer;
  if (!json::FromString(response.text, answer)) throw ZephException(VEXOZEPH_ERR_BAD_JSON);
  return answer;
}

}  // namespace

Json::Value ParsedAnswer(const http::Response &response, const std::string &failure) {
  ThrowIfUnanswered(response, failure);
  return Parsed(response);
}

Json::Value AcceptedAnswer(const http::Response &response, const std::string &failure) {
  return AcceptedAnswer(response, failure, failure);
}

Json::Value AcceptedAnswer(const http::Response &response, const std::string &failure,
                           const std::string &refusal) {
  ThrowIfUnanswered(response, failure);
  if (response.status_code != 200) {
    throw ZephException(VEXOZEPH_ERR_NO_REPLY,
                        format("%s, code=%ld, resp=%s", refusal.c_str(), response.status_code,
                               TruncatedAnswer(response.text).c_str()));
  }
  return Parsed(response);
}

}  // namespace vexozeph
