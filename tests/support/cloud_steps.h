// Small steps many tests against the cloud emulator take: forcing an answer, picking the
// token endpoint's requests of one grant type, reading the JSON files the library keeps,
// and moving the library's clock past a saved token's lifetime.
#ifndef VEXOZEPH_TESTS_SUPPORT_CLOUD_STEPS_H_
#define VEXOZEPH_TESTS_SUPPORT_CLOUD_STEPS_H_

#include <gtest/gtest.h>
#include <json/json.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "base/clock.h"
#include "base/json_utils.h"
#include "support/cloud_emulator.h"
#include "support/temp_root.h"

namespace vexozeph {
namespace testing {

// The next request to `path` on `origin` ("" for any host) is answered with `status` and
// `body`, whatever it holds.
inline void ForceAnswer(CloudEmulator &cloud, const std::string &origin, const std::string &path,
                        int status, const std::string &body,
                        const std::string &content_type = "application/json") {
  Fault fault;
  fault.origin = origin;
  fault.path = path;
  fault.status = status;
  fault.body = body;
  fault.content_type = content_type;
  cloud.QueueFault(fault);
}

// Holds back the answer to the next request at `path` once the service has acted on it
// (a renewal's old refresh token is spent), until ReleaseHeld.
inline void HoldNextAnswer(CloudEmulator &cloud, const std::string &path) {
  Fault hold;
  hold.path = path;
  hold.hold = true;
  hold.after_processing = true;
  cloud.QueueFault(hold);
}

// A code of the device client for `account`, issued as the sign-in page issues it for the
// device `serial` and `mac`, and the verifier it was issued against.
inline std::pair<std::string, std::string> DeviceCode(CloudEmulator &cloud, const Account &account,
                                                      const std::string &serial,
                                                      const std::string &mac) {
  const PkcePair pair = PkcePair::Make();
  SignInRequest request;
  request.email = account.email;
  request.password = account.password;
  request.scope = cloud.DeviceScope(serial, mac);
  request.code_challenge = pair.challenge;
  return {cloud.AuthorizeCode(request), pair.verifier};
}

// The identity host's token requests of `grant_type`, of `client_id` when one is given.
inline std::vector<LoggedRequest> TokenRequests(CloudEmulator &cloud, const std::string &grant_type,
                                                const std::string &client_id = "") {
  std::vector<LoggedRequest> matching;
  for (const auto &request : cloud.Requests("identity", "/oauth2/token")) {
    if (request.FormValue("grant_type") == grant_type &&
        (client_id.empty() || request.FormValue("client_id") == client_id)) {
      matching.push_back(request);
    }
  }
  return matching;
}

// The JSON document the file at `absolute` holds; a test failure when it holds none.
inline Json::Value JsonFileIn(const TempRoot &root, const std::string &absolute) {
  Json::Value file;
  EXPECT_TRUE(json::FromFile(root.Path(absolute), file)) << absolute;
  return file;
}

// One JSON document a line, as the host's notification spool and event log hold them.
inline std::vector<Json::Value> JsonLines(const std::string &text) {
  std::vector<Json::Value> documents;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    Json::Value document;
    EXPECT_TRUE(json::Parse(line, document)) << line;
    documents.push_back(document);
  }
  return documents;
}

// Sets the library's clock one second past the access token saved in `token_file`.
inline void LapseToken(const TempRoot &root, const std::string &token_file) {
  const Json::Value tokens = JsonFileIn(root, token_file);
  clock::SetForTesting(tokens["created_at"].asInt64() + tokens["expires_in"].asInt64() + 1);
}

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_CLOUD_STEPS_H_
