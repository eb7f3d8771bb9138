// A sign-out that overtakes a query or a report while the server is still answering: the
// late answer is dropped, so the appliance stays signed out, without an account file, a
// report job or a notification of a forced sign-out the user did not suffer.
#include <gtest/gtest.h>
#include <json/json.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include "support/child_process.h"
#include "support/signed_in_appliance.h"
#include "vexozeph/account_pkce_service.h"
#include "vexozeph/error_codes.h"
#include "vexozeph/user.h"
#include "vexozeph/vexozeph.h"

namespace vexozeph {
namespace testing {
namespace {

class SignOutOvertakes : public SignedInAppliance {
 protected:
  // Runs `call` in a child whose request the emulator holds back, signs out meanwhile,
  // and returns the code the call ended with.
  int CallOvertakenBySignOut(const std::string &path, const std::function<int()> &call) {
    Fault slow;
    slow.path = path;
    slow.delay_ms = 1500;
    cloud_->QueueFault(slow);
    const pid_t child = StartChild([&call] { return call() == 0 ? 0 : VEXOZEPHErrGet(); });
    const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (Requests(path).empty() && std::chrono::steady_clock::now() < give_up) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_EQ(Requests(path).size(), 1u);
    AccountPkceService().LogoutLocal();
    return WaitChild(child);
  }
};

TEST_F(SignOutOvertakes, ALateAnswerNeitherBringsTheAccountBackNorSignsOutAgain) {
  struct Case {
    const char *what;
    const char *path;
    const char *word;  // forced result word; null: the real answer
    std::function<int()> call;
    int code;
  };
  const Case cases[] = {
      {"query answered", kQueryPath, nullptr,
       [] {
         Json::Value result;
         return VEXOZEPHAccountQueryInfo(result, true, true);
       },
       VEXOZEPH_ERR_NO_ACCOUNT},
      {"report answered with a schedule", kReportPath, nullptr, [] { return VEXOZEPHReportInfo(); },
       0},
      {"report refused", kReportPath, "badauth", [] { return VEXOZEPHReportInfo(); },
       VEXOZEPH_ERR_AUTH},
  };
  bool first = true;
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    if (!first) {
      cloud_->InstallHosts();
      AccountPkceService().Login(
          SignInWithBrowser(*cloud_, AccountPkceService().GetLoginPkceConfig(), owner_));
    }
    first = false;
    ASSERT_TRUE(HasAccountFile());
    ASSERT_TRUE(root_.Exists(kCronFile));
    User().SetLastQueryTime(0);
    if (c.path == std::string(kReportPath)) {
      Json::Value schedule;
      schedule["report_cron_timestring"] = "5 4 * * *";
      cloud_->SetAnswer(kReportPath, c.word != nullptr ? c.word : "good", 1, schedule);
    }
    cloud_->ClearRequests();

    EXPECT_EQ(CallOvertakenBySignOut(c.path, c.call), c.code);
    EXPECT_FALSE(HasAccountFile()) << AccountFile();
    EXPECT_FALSE(root_.Exists(kCronFile));
    EXPECT_FALSE(root_.Exists(kNotifications)) << root_.ReadFile(kNotifications);
    cloud_->ClearAnswers();
  }
}

}  // namespace
}  // namespace testing
}  // namespace vexozeph
