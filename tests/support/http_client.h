// One HTTP exchange with libcurl for tests: the emulator's admin API and sign-in page, a
// loopback listener, a WebDriver server.
#ifndef VEXOZEPH_TESTS_SUPPORT_HTTP_CLIENT_H_
#define VEXOZEPH_TESTS_SUPPORT_HTTP_CLIENT_H_

#include <string>
#include <vector>

#include "zeph-cloud/records.h"

namespace vexozeph {
namespace testing {

struct HttpResult {
  long status = 0;
  std::string body;
  std::string location;  // where a redirect points; redirects are not followed
};

// `method` ("GET", "POST", "DELETE", ...) on `url` with a 30-second time-out; a POST
// sends `body` as `content_type`. `ca_file` is the only trust for https (empty: the
// system's). `headers` ("Name: value") are sent as well. Throws std::runtime_error on a
// transport failure.
HttpResult Http(const std::string &method, const std::string &url, const std::string &body = "",
                const std::string &content_type = "", const std::string &ca_file = "",
                const std::vector<std::string> &headers = {});

// `text` percent-encoded for a URL or a form.
std::string Escape(const std::string &text);
// Pairs as an application/x-www-form-urlencoded body, in their order.
std::string FormBody(const zeph_cloud::Pairs &pairs);
// The value of `key` in the query of `url`, decoded; "" when absent.
std::string QueryParam(const std::string &url, const std::string &key);

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_HTTP_CLIENT_H_
