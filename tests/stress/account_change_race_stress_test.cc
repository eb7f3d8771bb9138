// A renewal of the session's token whose answer the emulator holds back while the device
// signs out or changes account, round after round: the held answer never becomes a token
// file once its account is gone, and whatever the renewing process is handed in the end
// is the account's signed in then. The emulator says whose each token is.
#include <gtest/gtest.h>
#include <json/json.h>

#include <fstream>
#include <string>

#include "base/clock.h"
#include "internal/json_utils.h"
#include "support/account_appliance.h"
#include "support/browser_sign_in.h"
#include "support/child_process.h"
#include "support/cloud_steps.h"
#include "vexozeph/account_pkce_service.h"
#include "vexozeph/user.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_account.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {
namespace testing {
namespace {

const char kHandedOut[] = "/tmp/race-handed-out";
const int kRounds = 200;

enum class Change { kSignOut, kPasswordSignIn, kBrowserSignIn };
const Change kChanges[] = {Change::kSignOut, Change::kPasswordSignIn, Change::kBrowserSignIn};
const char *const kChangeNames[] = {"sign-out", "password sign-in", "browser sign-in"};

using AccountChangeRace = AccountAppliance;

TEST_F(AccountChangeRace, AHeldRenewalNeverOutlivesItsAccountInTwoHundredRounds) {
  const Account accounts[] = {MakeAccount("a@example.com"), MakeAccount("b@example.com")};
  int signed_in = 0;
  SignIn(accounts[signed_in]);
  int dropped = 0;
  for (int round = 0; round < kRounds; ++round) {
    const Change change = kChanges[round % 3];
    SCOPED_TRACE("round " + std::to_string(round) + ", " + kChangeNames[round % 3]);
    if (!HasAccountFile()) SignIn(accounts[signed_in]);
    AccountPkceService session;
    ASSERT_NO_THROW(session.GetAccessToken());
    const Json::Value file = JsonFileIn(root_, kSessionTokenFile);
    // Past the token's last second: the child's read renews it.
    clock::SetForTesting(file["created_at"].asInt64() + file["expires_in"].asInt64() + 1);

    HoldNextAnswer(*cloud_, "/oauth2/token");
    const std::string handed_out = root_.Path(kHandedOut);
    const pid_t renewal = StartChild([&handed_out] {
      std::ofstream out(handed_out, std::ios::trunc);
      try {
        out << AccountPkceService().GetIdToken();
      } catch (const ZephException &e) {
        out << "failed " << e.GetCode();
      }
      return 0;
    });
    ASSERT_TRUE(cloud_->WaitUntilHeld(1));

    const int other = 1 - signed_in;
    switch (change) {
      case Change::kSignOut:
        AccountPkceService().LogoutLocal();
        break;
      case Change::kPasswordSignIn:
        SignIn(accounts[other]);
        signed_in = other;
        break;
      case Change::kBrowserSignIn:
        AccountPkceService().Login(
            SignInWithBrowser(*cloud_, session.GetLoginPkceConfig(), accounts[other]));
        signed_in = other;
        break;
    }
    cloud_->ReleaseHeld();
    ASSERT_EQ(WaitChild(renewal), 0);

    const std::string now = change == Change::kSignOut ? "" : accounts[signed_in].id;
    const std::string got = root_.ReadFile(kHandedOut);
    if (got.compare(0, 7, "failed ") == 0) {
      EXPECT_EQ(got, "failed 22");
      ++dropped;
    } else {
      EXPECT_EQ(AccountOf(got), now) << "the renewing process was handed another's token";
    }
    for (const std::string &name : TokenFiles()) {
      const Json::Value left = JsonFileIn(root_, std::string(kAccountPrivateDir) + "/" + name);
      EXPECT_EQ(AccountOf(json::StringOr(left, "access_token")), now)
          << name << " outlived its account";
    }
    if (::testing::Test::HasFailure()) break;
  }
  // Every way of ending the account overtook a renewal; most of them dropped its answer.
  EXPECT_GT(dropped, kRounds / 2);
}

}  // namespace
}  // namespace testing
}  // namespace vexozeph
