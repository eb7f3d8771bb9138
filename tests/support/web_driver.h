// A headless Chromium driven through chromedriver's WebDriver protocol (W3C WebDriver:
// plain HTTP with JSON bodies on a loopback port), just the calls a sign-in page needs.
#ifndef VEXOZEPH_TESTS_SUPPORT_WEB_DRIVER_H_
#define VEXOZEPH_TESTS_SUPPORT_WEB_DRIVER_H_

#include <json/value.h>
#include <sys/types.h>

#include <string>
#include <vector>

namespace vexozeph {
namespace testing {

// chromedriver's path: $CHROMEDRIVER, else the first "chromedriver" on $PATH or in
// Debian's chromium directory; "" when there is none.
std::string FindChromedriver();

// Makes `home` a $HOME whose NSS database trusts `ca_file` to identify servers, so that
// Chromium checks certificates against that one CA rather than ignoring errors. Needs
// certutil (Debian package libnss3-tools); its output goes to `log`. Fails the test when
// certutil does.
void MakeHomeTrusting(const std::string &home, const std::string &ca_file, const std::string &log);

class WebDriver {
 public:
  struct Options {
    std::string chromedriver;
    std::string chromium = "/usr/bin/chromium";
    // Chromium's $HOME: its NSS database ($HOME/.pki/nssdb) says which CAs it trusts.
    std::string home;
    std::string user_data_dir;  // a new, empty directory
    std::string log_file;       // chromedriver's own output
  };

  // Starts chromedriver and opens a browser session. Throws std::runtime_error when
  // either does not come up within 30 seconds.
  explicit WebDriver(const Options &options);
  // Ends the session (the browser quits) and stops chromedriver.
  ~WebDriver();
  WebDriver(const WebDriver &) = delete;
  WebDriver &operator=(const WebDriver &) = delete;

  void Navigate(const std::string &url);
  std::string CurrentUrl();
  std::string Title();
  // The page's title once it is `title`, or the last one seen after `seconds`.
  std::string WaitForTitle(const std::string &title, int seconds);
  // The first element matching the CSS selector; throws when there is none.
  std::string FindElement(const std::string &css);
  void SendKeys(const std::string &element, const std::string &text);
  void Click(const std::string &element);

 private:
  // One command; its "value". Throws on a transport failure or a WebDriver error.
  Json::Value Command(const std::string &method, const std::string &path,
                      const Json::Value &body = Json::Value());

  pid_t pid_ = -1;
  std::string origin_;
  std::string session_;
};

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_WEB_DRIVER_H_
