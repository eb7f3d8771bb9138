// The bad answers a server could give one call, each with the code the call must fail
// with: bodies that are not JSON or not an object, an empty body, one too large to hold,
// nesting far beyond any real answer, a status of 0, a dropped connection, a cut answer
// trickled byte by byte and, for a call that reads members, each member of a good answer
// missing or of the wrong type.
#ifndef VEXOZEPH_TESTS_INTEGRATION_HOSTILE_ANSWERS_H_
#define VEXOZEPH_TESTS_INTEGRATION_HOSTILE_ANSWERS_H_

#include <json/json.h>

#include <algorithm>
#include <string>
#include <vector>

#include "internal/json_utils.h"
#include "support/cloud_emulator.h"

namespace vexozeph {
namespace testing {

// What one call answers with each kind of bad answer; -1 where the kind does not apply.
struct HostileCodes {
  int not_json;      // also nesting beyond the parser's limit and a trickled, cut body
  int wrong_root;    // JSON, but not an object
  int wrong_member;  // an object with a member read missing or of the wrong type
  int empty;         // status 200 and no body
  int transport;     // a body too large, a status of 0, a dropped connection
};

struct HostileAnswer {
  std::string what;
  Fault fault;
  int code;
};

// The bad answers for requests to `path` on `origin` of a call that accepts `good`, each
// of whose members it requires. Every fault meets several requests, so that a call that
// tries again cannot reach the real server and succeed.
inline std::vector<HostileAnswer> HostileAnswers(const std::string &origin, const std::string &path,
                                                 const Json::Value &good,
                                                 const HostileCodes &codes) {
  auto body = [&](const std::string &text) {
    Fault fault;
    fault.path = path;
    fault.origin = origin;
    fault.count = 5;
    fault.status = 200;
    fault.body = text;
    fault.content_type = "application/json";
    return fault;
  };
  const std::string good_text = json::ToCompactString(good);
  std::vector<HostileAnswer> answers = {
      {"not JSON", body("<html><body>Bad gateway</body></html>"), codes.not_json},
      {"an array at the root", body("[" + good_text + "]"), codes.wrong_root},
      {"a string at the root", body("\"good\""), codes.wrong_root},
      {"an empty body", body(""), codes.empty},
      {"a 10 MiB body", body(std::string(10 * 1024 * 1024, ' ') + good_text), codes.transport},
      {"100,000 nested brackets", body(std::string(100000, '[') + std::string(100000, ']')),
       codes.not_json},
  };
  // A status of 0 on a good body: no HTTP library sends it, so it goes on the wire raw
  // (libcurl refuses it as an unsupported protocol).
  Fault zero = body("");
  zero.body.reset();
  zero.status = 0;
  zero.raw = "HTTP/1.1 000 None\r\nContent-Type: application/json\r\nContent-Length: " +
             std::to_string(good_text.size()) + "\r\nConnection: close\r\n\r\n" + good_text;
  answers.push_back({"a status of 0", zero, codes.transport});
  Fault drop = body("");
  drop.body.reset();
  drop.status = 0;
  drop.drop = true;
  answers.push_back({"a dropped connection", drop, codes.transport});
  // Slow but complete: the client waits it out and judges the text, cut before its end.
  Fault trickle = body(good_text.substr(0, std::min<size_t>(24, good_text.size() / 2)));
  trickle.trickle_ms = 10;
  answers.push_back({"a slow trickle of a cut answer", trickle, codes.not_json});

  if (codes.wrong_member >= 0) {
    for (const std::string &member : good.getMemberNames()) {
      Json::Value wrong = good;
      wrong[member] = Json::Value(Json::arrayValue);
      wrong[member].append(1);
      answers.push_back(
          {member + " of the wrong type", body(json::ToCompactString(wrong)), codes.wrong_member});
      Json::Value missing = good;
      missing.removeMember(member);
      answers.push_back(
          {member + " missing", body(json::ToCompactString(missing)), codes.wrong_member});
    }
  }
  return answers;
}

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_INTEGRATION_HOSTILE_ANSWERS_H_
