// The C form sender against the cloud emulator: the signed form in the caller's order,
// which replies count as answers, the reply cap, and the attempts a failure gets.
#include <curl/curl.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "base/request_token.h"
#include "support/cloud_steps.h"
#include "support/device_on_cloud.h"
#include "support/form_request.h"
#include "support/log_capture.h"
#include "transport/https_retry_pause.h"
#include "transport/https_timeouts.h"
#include "vexozeph/vexozeph.h"

namespace {

using vexozeph::testing::Fault;
using vexozeph::testing::FormRequest;
using vexozeph::testing::LogCapture;
using vexozeph::testing::NamedPairs;

const char kEchoPath[] = "device/api/echo";
const size_t kReplyCap = 8u * 1024u * 1024u;

int g_pauses = 0;
void CountPause(unsigned int) {
  ++g_pauses;
}

std::string Token(const std::string &input) {
  std::string token;
  EXPECT_TRUE(vexozeph::RequestTokenFromInput(input.c_str(), token));
  return token;
}

// A request to the echo path with one field of the caller's own.
struct EchoCall : FormRequest {
  explicit EchoCall(const std::string &host) : FormRequest(host, kEchoPath) { Param("k", "v"); }
};

class HttpsRequestSend : public vexozeph::testing::DeviceOnCloud {
 protected:
  void SetUp() override {
    DeviceOnCloud::SetUp();
    previous_pause_ = vexozeph::https::SetRetryPause(CountPause);
    g_pauses = 0;
  }
  void TearDown() override {
    vexozeph::https::SetRetryPause(previous_pause_);
    vexozeph::https::SetTimeoutsForTesting(vexozeph::https::kFixedTimeouts);
  }

  // The next request to `path` is answered with `status` and `body`, whatever it holds.
  void Answer(const std::string &path, int status, const std::string &body) {
    vexozeph::testing::ForceAnswer(*cloud_, "", path, status, body, "text/plain");
  }

  vexozeph::https::RetryPause previous_pause_ = nullptr;
};

TEST_F(HttpsRequestSend, FormIsSignedAndKeepsTheCallersOrderAndDuplicates) {
  // The form endpoint checks the token over serial, account and password and answers
  // "good" only when it matches.
  cloud_->SetAnswer("device/api/user/query", "good", 2);
  FormRequest call(cloud_->AccountOrigin(), "device/api/user/query");
  std::snprintf(call.request.account, sizeof(call.request.account), "me@example.com");
  std::snprintf(call.request.password, sizeof(call.request.password), "p&ss w=rd+");
  call.Param("type", "a b&c=d").Param("bx_sn", "SN0099").Param("zz", "\xC3\xA9").Param("mm", "");
  ASSERT_EQ(call.Send(), 0);
  EXPECT_EQ(call.response.status, 200);
  EXPECT_NE(std::string(call.response.data).find("\"good\""), std::string::npos);

  auto seen = cloud_->Requests("account", "device/api/user/query");
  ASSERT_EQ(seen.size(), 1u);
  // Values escaped, keys as they stand.
  const std::string token = Token("SN0099me@example.comp&ss w=rd+");
  EXPECT_EQ(seen[0].body, "bx_sn=SN0099&bx_token=" + token +
                              "&zephID=me%40example.com&zephPW=p%26ss%20w%3Drd%2B"
                              "&type=a%20b%26c%3Dd&bx_sn=SN0099&zz=%C3%A9&mm=");
  char agent[256] = {0};
  VEXOZEPHUserAgentNameGet(agent, sizeof(agent));
  EXPECT_EQ(seen[0].Header("User-Agent"), agent);
  EXPECT_EQ(seen[0].Header("Host"), cloud_->AccountOrigin().substr(strlen("https://")));

  // Without a serial of its own the device's serial signs; empty account fields are left out.
  cloud_->ClearRequests();
  FormRequest plain(cloud_->AccountOrigin(), "device/api/user/query");
  ASSERT_EQ(plain.Param("id", "42").Send(), 0);
  seen = cloud_->Requests("account", "device/api/user/query");
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0].form,
            (NamedPairs{{"bx_sn", kSerial}, {"bx_token", Token(kSerial)}, {"id", "42"}}));

  // GET sends the same form in the query and no body.
  cloud_->ClearRequests();
  FormRequest get(cloud_->AccountOrigin(), kEchoPath);
  get.request.method = VEXOZEPH_HTTPS_METHOD_GET;
  Answer(kEchoPath, 200, "ok");
  ASSERT_EQ(get.Param("k", "v w").Send(), 0);
  seen = cloud_->Requests("account", kEchoPath);
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0].method, "GET");
  EXPECT_EQ(seen[0].query,
            (NamedPairs{{"bx_sn", kSerial}, {"bx_token", Token(kSerial)}, {"k", "v w"}}));
  EXPECT_TRUE(seen[0].body.empty());
}

TEST_F(HttpsRequestSend, OnlyTwoHundredAndFourHundredWithABodyAreAnswers) {
  {
    EchoCall call(cloud_->AccountOrigin());
    Answer(kEchoPath, 400, "  badauth \r\n");
    ASSERT_EQ(call.Send(), 0);
    EXPECT_STREQ(call.response.data, "badauth");
    EXPECT_EQ(call.response.status, 400);
    EXPECT_EQ(call.response.result, 0);
    VEXOZEPHHttpsResponseFree(&call.response);
    EXPECT_EQ(call.response.data, nullptr);
    EXPECT_EQ(call.response.status, 0);
  }
  {
    // Garbage is handed back as text; judging it is the caller's business.
    EchoCall call(cloud_->AccountOrigin());
    Answer(kEchoPath, 200, std::string("\x01{[\"") + std::string(1, '\0') + "tail");
    ASSERT_EQ(call.Send(), 0);
    EXPECT_STREQ(call.response.data, "\x01{[\"");
  }
  char untouched[] = "previous";
  for (int status : {200, 400, 500, 302}) {
    LogCapture log;
    EchoCall call(cloud_->AccountOrigin());
    call.response.data = untouched;
    const bool accepted = status == 200 || status == 400;
    Answer(kEchoPath, status, accepted ? "" : "oops");
    EXPECT_EQ(call.Send(), -1) << status;
    EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_SEND) << status;
    EXPECT_EQ(call.response.status, status);
    EXPECT_EQ(call.response.data, untouched);
    EXPECT_EQ(log.Count(accepted ? "Failed to get response"
                                 : "httpResponseCode=" + std::to_string(status) + ", data=oops"),
              1u)
        << status;
    call.response.data = nullptr;
  }
  // A cut connection is not retried: only time-outs and name resolution are.
  Fault drop;
  drop.path = kEchoPath;
  drop.drop = true;
  cloud_->QueueFault(drop);
  cloud_->ClearRequests();
  EchoCall call(cloud_->AccountOrigin());
  EXPECT_EQ(call.Send(), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_SEND);
  EXPECT_EQ(call.response.result, CURLE_GOT_NOTHING);
  EXPECT_EQ(cloud_->Requests("account", kEchoPath).size(), 1u);
  EXPECT_EQ(g_pauses, 0);
}

// Both transports share the cap; the OAuth client's refusal of a larger reply is the
// hostile server's "10 MiB body" row.
TEST_F(HttpsRequestSend, ReplyBodyIsCappedAtEightMebibytes) {
  EchoCall fits(cloud_->AccountOrigin());
  Answer(kEchoPath, 200, std::string(kReplyCap, 'x'));
  ASSERT_EQ(fits.Send(), 0);
  EXPECT_EQ(std::strlen(fits.response.data), kReplyCap);

  EchoCall over(cloud_->AccountOrigin());
  Answer(kEchoPath, 200, std::string(kReplyCap + 1, 'x'));
  EXPECT_EQ(over.Send(), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_SEND);
  EXPECT_EQ(over.response.data, nullptr);
}

TEST_F(HttpsRequestSend, UnresolvableHostIsTriedThreeTimesOrTwiceInShortMode) {
  for (int short_timeout : {0, 1}) {
    LogCapture log;
    g_pauses = 0;
    FormRequest call("https://nonexistent.invalid", "device/api/report");
    call.request.short_timeout = short_timeout;
    EXPECT_EQ(call.Param("k", "v").Send(), -1);
    EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_SEND);
    EXPECT_EQ(g_pauses, short_timeout ? 2 : 3) << "one pause after each failed attempt";
    EXPECT_EQ(call.response.status, 0);
    EXPECT_EQ(call.response.result, CURLE_COULDNT_RESOLVE_HOST);
    EXPECT_EQ(log.Count("httpResponseCode=0"), 1u);
    EXPECT_EQ(log.Count("Failed to curl perform"), 0u);
  }
}

// A server that sends its headers with status 200 and then its body one byte a second:
// every attempt ends in a time-out, and the last one must not pass off the bytes that
// arrived as the answer.
TEST_F(HttpsRequestSend, AStalledReplyTimesOutEveryAttemptAndTheCallFails) {
  struct Mode {
    const char *what;
    int short_timeout;
    int attempts;
  };
  // Short mode with its real time-outs: two attempts of 15 seconds. Long mode would take
  // three minutes with the real rule (below 128 bytes a second for 60 seconds); the same
  // rule over 2 seconds, still well inside the total time-out.
  for (const Mode &mode : {Mode{"short", 1, 2}, Mode{"low speed", 0, 3}}) {
    SCOPED_TRACE(mode.what);
    if (!mode.short_timeout) vexozeph::https::SetTimeoutsForTesting({2, 30, 15});
    g_pauses = 0;
    cloud_->ClearRequests();
    Fault fault;
    fault.path = kEchoPath;
    fault.count = mode.attempts;
    fault.status = 200;
    fault.body = std::string("{\"code\":\"good\",") + "\"id\":\"" + std::string(60, '7') + "\"}";
    fault.content_type = "application/json";
    fault.trickle_ms = 1000;
    cloud_->QueueFault(fault);
    LogCapture log;
    EchoCall call(cloud_->AccountOrigin());
    call.request.short_timeout = mode.short_timeout;
    EXPECT_EQ(call.Send(), -1);
    EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_SEND);
    EXPECT_EQ(call.response.data, nullptr) << call.response.data;
    EXPECT_EQ(call.response.status, 200) << "the headers did arrive";
    EXPECT_EQ(call.response.result, CURLE_OPERATION_TIMEDOUT);
    EXPECT_EQ(g_pauses, mode.attempts);
    EXPECT_EQ(cloud_->Requests("account", kEchoPath).size(), static_cast<size_t>(mode.attempts));
    EXPECT_EQ(log.Count("Failed to curl perform, code=28"), 1u);
  }
}

TEST_F(HttpsRequestSend, FormWithoutCallerFieldsIsNeverSent) {
  FormRequest call(cloud_->AccountOrigin(), kEchoPath);
  for (bool null_hash : {false, true}) {
    LogCapture log;
    call.request.params = null_hash ? nullptr : call.Params();
    EXPECT_EQ(call.Send(), -1);
    EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_SEND);
    EXPECT_EQ(log.Count("no key in the hash, ERR=["), 1u);
  }
  EXPECT_TRUE(cloud_->Requests().empty());
}

}  // namespace
