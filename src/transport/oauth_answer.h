// The steps every answer of the OAuth servers takes before a client looks at its members,
// always in this order: a request that got no answer, then a refusing status, then a body
// that is not JSON. Each step fails with its own code, so a caller learns from the code
// alone whether the server was reached, refused, or sent something unreadable.
#ifndef VEXOZEPH_TRANSPORT_OAUTH_ANSWER_H_
#define VEXOZEPH_TRANSPORT_OAUTH_ANSWER_H_

#include <json/value.h>

#include <string>

#include "transport/http/response.h"

namespace vexozeph {

// The answer parsed, after the first step only: a request without an answer throws
// ZephException code 5 "<failure>, reqcode=<n>, reqmsg=<text>"; a body that is not JSON
// throws code 2. For a caller that must read a refusal's JSON before judging the status.
Json::Value ParsedAnswer(const http::Response &response, const std::string &failure);

// The answer parsed, after all three steps: as ParsedAnswer, and between the two a status
// other than 200 throws code 5 "<refusal>, code=<n>, resp=<answer shortened for logs>".
// The refusal text is the failure text unless a caller words it apart.
Json::Value AcceptedAnswer(const http::Response &response, const std::string &failure);
Json::Value AcceptedAnswer(const http::Response &response, const std::string &failure,
                           const std::string &refusal);

}  // namespace vexozeph

#endif  // VEXOZEPH_TRANSPORT_OAUTH_ANSWER_H_
