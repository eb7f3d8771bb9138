// The OAuth classes' HTTP client against the cloud emulator: forms and queries as sent,
// headers, transport failures, and the redirect rule. Certificates are the server
// certificate test's; the reply cap is shared with the form sender and tested there.
#include <arpa/inet.h>
#include <curl/curl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

#include "support/device_on_cloud.h"
#include "transport/http/session.h"

namespace {

using vexozeph::testing::Fault;
namespace http = vexozeph::http;

const char kEchoPath[] = "/test/http/echo";

// A loopback port that nothing listens on.
int ClosedPort() {
  int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof(address);
  ::bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address));
  ::getsockname(fd, reinterpret_cast<sockaddr *>(&address), &length);
  ::close(fd);
  return ntohs(address.sin_port);
}

class HttpClient : public vexozeph::testing::DeviceOnCloud {
 protected:
  std::string Echo() const { return cloud_->AccountOrigin() + kEchoPath; }

  // The next request to the echo path is answered with `status` and `body`.
  void Answer(int status, const std::string &body, int delay_ms = 0) {
    Fault fault;
    fault.path = kEchoPath;
    fault.status = status;
    fault.body = body;
    fault.delay_ms = delay_ms;
    cloud_->QueueFault(fault);
  }
};

TEST_F(HttpClient, FormAndQueryReachTheServerInOrderWithDuplicatesAndRawBracketKeys) {
  Answer(200, "posted");
  http::Response posted =
      http::Post(http::Url{Echo()}, http::Timeout{30000}, http::UserAgent{"agent/1.0"},
                 http::Header{{"X-Client-ID", "zeph-device"}},
                 http::Payload{{"grant_type", "a b&c=d"},
                               {"scopes[]", "openid"},
                               {"scopes[]", ""},
                               {"scopes[]", "device_sn:SN1"},
                               {"v", "\xC3\xA9+/~"}});
  ASSERT_EQ(posted.error.code, 0) << posted.error.message;
  EXPECT_EQ(posted.status_code, 200);
  EXPECT_EQ(posted.text, "posted");

  auto seen = cloud_->Requests("account", kEchoPath);
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0].method, "POST");
  EXPECT_EQ(seen[0].body,
            "grant_type=a%20b%26c%3Dd&scopes[]=openid&scopes[]=&scopes[]=device_sn%3ASN1"
            "&v=%C3%A9%2B%2F~");
  EXPECT_EQ(seen[0].Header("Content-Type"), "application/x-www-form-urlencoded");
  EXPECT_EQ(seen[0].Header("User-Agent"), "agent/1.0");
  EXPECT_EQ(seen[0].Header("X-Client-ID"), "zeph-device");

  // Query keys and values are escaped; an empty value sends the bare key; a URL that
  // already has a query is extended, not given a second "?".
  cloud_->ClearRequests();
  Answer(200, "got");
  http::Response got = http::Get(http::Url{Echo() + "?fixed=1"},
                                 http::Parameters{{"package_name", "a b/c"}, {"flag", ""}});
  ASSERT_EQ(got.error.code, 0) << got.error.message;
  EXPECT_EQ(got.text, "got");
  seen = cloud_->Requests("account", kEchoPath);
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0].method, "GET");
  EXPECT_EQ(seen[0].target, std::string(kEchoPath) + "?fixed=1&package_name=a%20b%2Fc&flag");
  EXPECT_TRUE(seen[0].body.empty());
}

TEST_F(HttpClient, SecondHeaderSetReplacesTheFirstAndABodilessPostSendsNothing) {
  http::Session session;
  session.SetUrl(http::Url{Echo()});
  session.SetTimeout(http::Timeout{30000});
  session.SetHeader(http::Header{{"X-Client-ID", "zeph-device"}});
  session.SetHeader(http::Header{{"Authorization", "Bearer abc"}});
  // No fault: the emulator knows no such path, and a 404 is an answer, not an error.
  http::Response response = session.Post();
  ASSERT_EQ(response.error.code, 0) << response.error.message;
  EXPECT_EQ(response.status_code, 404);
  EXPECT_EQ(response.text, "{\"error\":\"not_found\"}");

  auto seen = cloud_->Requests("account", kEchoPath);
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0].method, "POST");
  EXPECT_EQ(seen[0].Header("Authorization"), "Bearer abc");
  EXPECT_FALSE(seen[0].HasHeader("X-Client-ID"));
  EXPECT_EQ(seen[0].Header("Content-Length"), "0");
  EXPECT_TRUE(seen[0].body.empty());

  // A header value that would forge another header is never sent.
  session.SetHeader(http::Header{{"Authorization", "Bearer abc\r\nX-Evil: 1"}});
  response = session.Post();
  EXPECT_EQ(response.error.code, CURLE_BAD_FUNCTION_ARGUMENT);
  EXPECT_EQ(cloud_->Requests("account", kEchoPath).size(), 1u);
}

TEST_F(HttpClient, TransportFailuresAreErrorsWithoutStatusOrText) {
  auto expect_error = [](const http::Response &response, int code) {
    EXPECT_EQ(response.error.code, code) << response.error.message;
    EXPECT_FALSE(response.error.message.empty());
    EXPECT_EQ(response.status_code, 0);
    EXPECT_TRUE(response.text.empty());
  };
  expect_error(http::Post(http::Url{"https://127.0.0.1:" + std::to_string(ClosedPort()) + "/x"},
                          http::Timeout{30000}),
               CURLE_COULDNT_CONNECT);
  // Plain HTTP is refused before anything is sent.
  expect_error(http::Get(http::Url{cloud_->AdminOrigin() + "/admin/health"}),
               CURLE_UNSUPPORTED_PROTOCOL);
  // The whole request is bounded: a server that answers late is cut off.
  Answer(200, "late", 5000);
  expect_error(http::Get(http::Url{Echo()}, http::Timeout{300}), CURLE_OPERATION_TIMEDOUT);
}

TEST_F(HttpClient, RedirectsAreFollowedOnlyToHttps) {
  // The sign-in page sends a bad authorization request back to its redirect address.
  auto bounce = [this](const std::string &target) {
    return http::Get(http::Url{cloud_->IdentityOrigin() + "/oauth2/authorize"},
                     http::Parameters{{"client_id", "zeph-device"},
                                      {"redirect_uri", target},
                                      {"response_type", "token"},
                                      {"state", "s1"}});
  };
  http::Response followed = bounce(cloud_->LoginRedirectUri());
  ASSERT_EQ(followed.error.code, 0) << followed.error.message;
  EXPECT_EQ(followed.status_code, 200);
  auto landed = cloud_->Requests("account", "/device/oauth/login/callback");
  ASSERT_EQ(landed.size(), 1u);
  EXPECT_EQ(landed[0].method, "GET");

  http::Response refused = bounce(cloud_->AdminOrigin() + "/admin/health");
  EXPECT_EQ(refused.error.code, CURLE_UNSUPPORTED_PROTOCOL) << refused.error.message;
  EXPECT_EQ(refused.status_code, 0);
  EXPECT_EQ(cloud_->Requests("identity", "/oauth2/authorize").size(), 2u);
}

}  // namespace
