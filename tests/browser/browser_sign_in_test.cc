// The whole sign-in with a real browser: `vexozeph login --browser --listen` prints the
// address, a headless Chromium opens it, fills and submits the emulator's sign-in page,
// the identity host sends it back to the tool's loopback port, and the device ends
// signed in.
//
// Chromium trusts the emulator's CA through an NSS database in its own throwaway $HOME
// rather than through --ignore-certificate-errors: certificate checking stays on, for
// that one CA only, so a wrong certificate would still fail the test.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/cli_fixture.h"
#include "support/web_driver.h"
#include "support/http_client.h"

namespace vexozeph {
namespace testing {
namespace {

using BrowserSignIn = CliAgainstCloud;

TEST_F(BrowserSignIn, ChromiumSignsTheDeviceInThroughTheEmulatorsPageAndTheLoopbackListener) {
  const std::string chromedriver = FindChromedriver();
  if (chromedriver.empty()) {
    GTEST_SKIP() << "chromedriver is not installed: the Debian packages chromium and "
                    "chromium-driver are needed (`./dev test` installs them)";
  }

  const Account account = MakeAccount("jo@example.com");

  const std::string home = root_.Dir() + "/browser-home";
  MakeHomeTrusting(home, cloud_->CaFile(), root_.Dir() + "/certutil.log");
  if (HasFatalFailure()) return;

  CliProcess tool(VEXOZEPH_CLI_BINARY, {"login", "--browser", "--listen", "--timeout", "90"});
  const std::string line = tool.WaitForErrorLine("/oauth2/authorize?", 30);
  ASSERT_FALSE(line.empty());
  const std::string address = line.substr(line.find_first_not_of(' '));
  const std::string redirect_uri = QueryParam(address, "redirect_uri");
  ASSERT_EQ(redirect_uri.rfind("http://127.0.0.1:", 0), 0u) << address;

  {
    WebDriver::Options options;
    options.chromedriver = chromedriver;
    options.home = home;
    options.user_data_dir = root_.Dir() + "/browser-profile";
    options.log_file = root_.Dir() + "/chromedriver.log";
    WebDriver browser(options);

    browser.Navigate(address);
    ASSERT_EQ(browser.Title(), "Sign in to Zeph") << "the emulator's page, over trusted TLS";
    browser.SendKeys(browser.FindElement("input[name=email]"), account.email);
    browser.SendKeys(browser.FindElement("input[name=password]"), account.password);
    browser.Click(browser.FindElement("input[name=consent]"));
    browser.Click(browser.FindElement("button[value=allow]"));

    // The tool answers the browser only once the device is signed in.
    CliResult login = tool.Finish(90);
    ASSERT_EQ(login.status, 0) << login.err;
    EXPECT_EQ(login.out, "Signed in as " + account.email + " (user " + account.id + ").\n");

    EXPECT_EQ(browser.WaitForTitle("Signed in", 30), "Signed in");
    EXPECT_EQ(browser.CurrentUrl().rfind(redirect_uri + "?code=", 0), 0u)
        << "the identity host sent the browser to the tool's loopback port";
  }

  CliResult status = Run({"status", "--json"});
  ASSERT_EQ(status.status, 0) << status.err;
  const Json::Value shown = status.Json();
  EXPECT_TRUE(shown["signed_in"].asBool());
  EXPECT_EQ(shown["email"].asString(), account.email);
  EXPECT_EQ(shown["user_id"].asString(), account.id);
  EXPECT_EQ(shown["full_name"].asString(), "Ada Owner");
  EXPECT_TRUE(shown["session_token"].asBool());
}

}  // namespace
}  // namespace testing
}  // namespace vexozeph
