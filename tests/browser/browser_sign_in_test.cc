// The whole sign-in with a real browser: `vexozeph login --browser --listen` prints the
// address, a headless Chromium opens it, fills and submits the emulator's sign-in page,
// the identity host sends it back to the tool's loopback port, and the device ends
// signed in.
//
// Chromium trusts the emulator's CA through an NSS database in its own throwaway $HOME
// rather than through --ignore-certificate-errors: certificate checking stays on, for
// that one CA only, so a wrong certificate would still fail the test.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "browser/web_driver.h"
#include "cli/cli_run.h"
#include "support/child_process.h"
#include "support/device_on_cloud.h"
#include "support/http_client.h"

namespace vexozeph {
namespace testing {
namespace {

// Runs a program to its end, its output into `log`; its exit status (127 when it could
// not run).
int RunProgram(const std::vector<std::string> &args, const std::string &log) {
  return RunInChild([&] {
    std::vector<char *> argv;
    for (const std::string &arg : args) argv.push_back(const_cast<char *>(arg.c_str()));
    argv.push_back(nullptr);
    if (freopen(log.c_str(), "a", stdout) == nullptr || dup2(fileno(stdout), 2) < 0) return 126;
    execvp(argv[0], argv.data());
    return 127;
  });
}

// A $HOME whose NSS database trusts `ca_file` to identify servers.
void MakeHomeTrusting(const std::string &home, const std::string &ca_file, const std::string &log) {
  const std::string db = home + "/.pki/nssdb";
  for (const std::string &dir : {home, home + "/.pki", db}) mkdir(dir.c_str(), 0700);
  ASSERT_EQ(RunProgram({"certutil", "-N", "-d", "sql:" + db, "--empty-password"}, log), 0)
      << "certutil (Debian package libnss3-tools) makes Chromium trust the emulator; see " << log;
  ASSERT_EQ(RunProgram({"certutil", "-A", "-d", "sql:" + db, "-n", "zeph-cloud test CA", "-t",
                        "C,,", "-i", ca_file},
                       log),
            0)
      << log;
}

using BrowserSignIn = DeviceOnCloud;

TEST_F(BrowserSignIn, ChromiumSignsTheDeviceInThroughTheEmulatorsPageAndTheLoopbackListener) {
  const std::string chromedriver = FindChromedriver();
  if (chromedriver.empty()) {
    GTEST_SKIP() << "chromedriver is not installed: the Debian packages chromium and "
                    "chromium-driver are needed (`./dev test` installs them)";
  }

  const TempRoot &root = root_;
  CloudEmulator &cloud = *cloud_;
  NewAccount wanted;
  wanted.email = "jo@example.com";
  wanted.password = "Pw-jo-4kd8";
  wanted.full_name = "Jo Browser";
  const Account account = cloud.CreateAccount(wanted);

  const std::string home = root.Dir() + "/browser-home";
  MakeHomeTrusting(home, cloud.CaFile(), root.Dir() + "/certutil.log");
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
    options.user_data_dir = root.Dir() + "/browser-profile";
    options.log_file = root.Dir() + "/chromedriver.log";
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

    std::string title;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while ((title = browser.Title()) != "Signed in" &&
           std::chrono::steady_clock::now() < deadline) {
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    EXPECT_EQ(title, "Signed in");
    EXPECT_EQ(browser.CurrentUrl().rfind(redirect_uri + "?code=", 0), 0u)
        << "the identity host sent the browser to the tool's loopback port";
  }

  CliResult status = RunCli(VEXOZEPH_CLI_BINARY, {"status", "--json"});
  ASSERT_EQ(status.status, 0) << status.err;
  const Json::Value shown = status.Json();
  EXPECT_TRUE(shown["signed_in"].asBool());
  EXPECT_EQ(shown["email"].asString(), account.email);
  EXPECT_EQ(shown["user_id"].asString(), account.id);
  EXPECT_EQ(shown["full_name"].asString(), "Jo Browser");
  EXPECT_TRUE(shown["session_token"].asBool());
}

}  // namespace
}  // namespace testing
}  // namespace vexozeph
