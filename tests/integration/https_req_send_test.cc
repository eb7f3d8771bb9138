#include <curl/curl.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "internal/https_retry_pause.h"
#include "internal/https_timeouts.h"
#include "internal/request_token.h"
#include "support/cloud_steps.h"
#include "support/device_on_cloud.h"
#include "support/log_capture.h"
#include "vexo_platform/vlib_string.h"
#include "vexozeph/vexozeph.h"

namespace {

using vexozeph::testing::Fault;
using vexozeph::testing::LogCapture;
using vexozeph::testing::NamedPairs;

const char kCaFile[] = "/etc/ssl/certs/ca-certificates.crt";
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

// The caller's side of one request: the record, its form hash and the reply.
struct Call {
  Call(const std::string &host, const std::string &path) : host(host), path(path) {
    request.reset(new VEXOZEPH_HTTPS_REQUEST());
    request->host = this->host.c_str();
    request->path = this->path.c_str();
    params = VLIBCSzHashAlloc(16);
    request->params = params;
  }
  ~Call() {
    VEXOZEPHHttpsResponseFree(&response);
    VLIBCSzHashFree(params);
  }
  Call &Param(const char *key, const char *value) {
    EXPECT_EQ(VLIBCSzHashSetValue(&params, key, value), 0);
    request->params = params;
    return *this;
  }
  int Send() { return VEXOZEPHHttpsRequestSend(request.get(), &response); }

  std::string host;
  std::string path;
  std::unique_ptr<VEXOZEPH_HTTPS_REQUEST> request;
  PVLIBSZHASH params = nullptr;
  VEXOZEPH_HTTPS_RESPONSE response = {};
};

// A request to the echo path with one field of the caller's own.
struct EchoCall : Call {
  explicit EchoCall(const std::string &host) : Call(host, kEchoPath) { Param("k", "v"); }
};

class HttpsRequestSend : public vexozeph::testing::DeviceOnCloud {
 protected:
  void SetUp() override {
    DeviceOnCloud::SetUp();
    previous_pause_ = vexozeph::https::SetRetryPause(CountPause);
    g_pauses = 0;
  }
  void TearDown() override { vexozeph::https::SetRetryPause(previous_pause_); }

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
  Call call(cloud_->AccountOrigin(), "device/api/user/query");
  std::snprintf(call.request->account, sizeof(call.request->account), "me@example.com");
  std::snprintf(call.request->password, sizeof(call.request->password), "p&ss w=rd+");
  call.Param("type", "a b&c=d").Param("bx_sn", "SN0099").Param("zz", "\xC3\xA9").Param("mm", "");
  ASSERT_EQ(call.Send(), 0);
  EXPECT_EQ(call.response.status, 200);
  EXPECT_NE(std::string(call.response.data).find("\"good\""), std::string::npos);

  auto seen = cloud_->Requests("account", "device/api/user/query");
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0].method, "POST");
  const std::string token = Token("SN0099me@example.comp&ss w=rd+");
  EXPECT_EQ(seen[0].form, (NamedPairs{{"bx_sn", "SN0099"},
                                      {"bx_token", token},
                                      {"zephID", "me@example.com"},
                                      {"zephPW", "p&ss w=rd+"},
                                      {"type", "a b&c=d"},
                                      {"bx_sn", "SN0099"},
                                      {"zz", "\xC3\xA9"},
                                      {"mm", ""}}));
  // Values escaped, keys as they stand.
  EXPECT_EQ(seen[0].body, "bx_sn=SN0099&bx_token=" + token +
                              "&zephID=me%40example.com&zephPW=p%26ss%20w%3Drd%2B"
                              "&type=a%20b%26c%3Dd&bx_sn=SN0099&zz=%C3%A9&mm=");
  char agent[256] = {0};
  VEXOZEPHUserAgentNameGet(agent, sizeof(agent));
  EXPECT_EQ(seen[0].Header("User-Agent"), agent);
  EXPECT_EQ(seen[0].Header("Host"), cloud_->AccountOrigin().substr(strlen("https://")));

  // Without a serial of its own the device's serial signs; empty account fields are left out.
  cloud_->ClearRequests();
  Call plain(cloud_->AccountOrigin(), "device/api/user/query");
  plain.Param("id", "42");
  ASSERT_EQ(plain.Send(), 0);
  EXPECT_EQ(plain.response.status, 200);
  seen = cloud_->Requests("account", "device/api/user/query");
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0].form,
            (NamedPairs{{"bx_sn", kSerial}, {"bx_token", Token(kSerial)}, {"id", "42"}}));

  // GET sends the same form in the query and no body.
  cloud_->ClearRequests();
  Call get(cloud_->AccountOrigin(), kEchoPath);
  get.request->method = VEXOZEPH_HTTPS_METHOD_GET;
  get.Param("k", "v w");
  Answer(kEchoPath, 200, "ok");
  ASSERT_EQ(get.Send(), 0);
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
    VEXOZEPHErrSet(0);
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

TEST_F(HttpsRequestSend, ReplyBodyIsCappedAtEightMebibytes) {
  EchoCall fits(cloud_->AccountOrigin());
  Answer(kEchoPath, 200, std::string(kReplyCap, 'x'));
  ASSERT_EQ(fits.Send(), 0);
  EXPECT_EQ(std::strlen(fits.response.data), kReplyCap);

  EchoCall over(cloud_->AccountOrigin());
  Answer(kEchoPath, 200, std::string(kReplyCap + 1, 'x'));
  VEXOZEPHErrSet(0);
  EXPECT_EQ(over.Send(), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_SEND);
  EXPECT_EQ(over.response.data, nullptr);
}

TEST_F(HttpsRequestSend, OnlyTheRootsCaFileIsTrusted) {
  // The host's own bundle does not know the emulator's authority; a missing file trusts
  // nothing. Either way the request never reaches the server.
  const std::string system_bundle = kCaFile;
  std::error_code ignored;
  if (std::filesystem::exists(system_bundle)) {
    std::filesystem::copy_file(system_bundle, root_.Path(kCaFile),
                               std::filesystem::copy_options::overwrite_existing, ignored);
  } else {
    root_.WriteFile(kCaFile, "");
  }
  cloud_->ClearRequests();
  for (bool remove : {false, true}) {
    if (remove) std::filesystem::remove(root_.Path(kCaFile), ignored);
    EchoCall call(cloud_->AccountOrigin());
    VEXOZEPHErrSet(0);
    EXPECT_EQ(call.Send(), -1);
    EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_SEND);
    EXPECT_NE(call.response.result, 0);
  }
  EXPECT_TRUE(cloud_->Requests().empty());
}

TEST_F(HttpsRequestSend, UnresolvableHostIsTriedThreeTimesOrTwiceInShortMode) {
  for (int short_timeout : {0, 1}) {
    LogCapture log;
    g_pauses = 0;
    Call call("https://nonexistent.invalid", "device/api/report");
    call.request->short_timeout = short_timeout;
    call.Param("k", "v");
    VEXOZEPHErrSet(0);
    EXPECT_EQ(call.Send(), -1);
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
class StalledReply : public HttpsRequestSend {
 protected:
  void TearDown() override {
    vexozeph::https::SetTimeoutsForTesting(vexozeph::https::kFixedTimeouts);
    HttpsRequestSend::TearDown();
  }

  void TrickleNext(int requests) {
    Fault fault;
    fault.path = kEchoPath;
    fault.count = requests;
    fault.status = 200;
    fault.body = std::string("{\"code\":\"good\",") + "\"id\":\"" + std::string(60, '7') + "\"}";
    fault.content_type = "application/json";
    fault.trickle_ms = 1000;
    cloud_->QueueFault(fault);
  }

  void ExpectFailedAfter(Call &call, int attempts, const LogCapture &log) {
    EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_SEND);
    EXPECT_EQ(call.response.data, nullptr) << call.response.data;
    EXPECT_EQ(call.response.status, 200) << "the headers did arrive";
    EXPECT_EQ(call.response.result, CURLE_OPERATION_TIMEDOUT);
    EXPECT_EQ(g_pauses, attempts);
    EXPECT_EQ(cloud_->Requests("account", kEchoPath).size(), static_cast<size_t>(attempts));
    EXPECT_EQ(log.Count("Failed to curl perform, code=28"), 1u);
  }
};

TEST_F(StalledReply, ShortTimeOutEndsEachAttemptAndTheCallFails) {
  // The real short-mode time-outs: two attempts of 15 seconds.
  LogCapture log;
  TrickleNext(2);
  Call call(cloud_->AccountOrigin(), kEchoPath);
  call.request->short_timeout = 1;
  call.Param("k", "v");
  VEXOZEPHErrSet(0);
  EXPECT_EQ(call.Send(), -1);
  ExpectFailedAfter(call, 2, log);
}

TEST_F(StalledReply, LowSpeedRuleEndsEachAttemptAndTheCallFails) {
  // Long mode would take three minutes with the real rule (below 128 bytes a second for
  // 60 seconds); the same rule over 2 seconds, still well inside the total time-out.
  vexozeph::https::SetTimeoutsForTesting({2, 30, 15});
  LogCapture log;
  TrickleNext(3);
  EchoCall call(cloud_->AccountOrigin());
  VEXOZEPHErrSet(0);
  EXPECT_EQ(call.Send(), -1);
  ExpectFailedAfter(call, 3, log);
}

TEST_F(HttpsRequestSend, FormWithoutCallerFieldsIsNeverSent) {
  // Every caller must bring at least one field of its own.
  Call call(cloud_->AccountOrigin(), kEchoPath);
  for (bool null_hash : {false, true}) {
    LogCapture log;
    call.request->params = null_hash ? nullptr : call.params;
    VEXOZEPHErrSet(0);
    EXPECT_EQ(call.Send(), -1);
    EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_SEND);
    EXPECT_EQ(log.Count("no key in the hash, ERR=["), 1u);
  }
  EXPECT_TRUE(cloud_->Requests().empty());
}

}  // namespace
