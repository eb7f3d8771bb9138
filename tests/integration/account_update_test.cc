#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/account_appliance.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_account.h"

namespace {

using vexozeph::testing::AccountAppliance;
using vexozeph::testing::LoggedRequest;

const char kRegisterPath[] = "device/api/user/register";
const char kUpdatePath[] = "device/api/user/update";

using Keys = std::vector<std::string>;

class AccountUpdate : public AccountAppliance {
 protected:
  void SetUp() override {
    AccountAppliance::SetUp();
    root_.WriteFile("/etc/timezone", "Europe/Amsterdam\n");
  }
};

TEST_F(AccountUpdate, RegisterSendsItsFormInOrderAndStoresNothing) {
  const std::string before = AccountFile();
  ASSERT_EQ(
      VEXOZEPHAccountRegister("new@example.com", "s3cret", "New Owner", true, false, true, nullptr),
      0)
      << "error " << VEXOZEPHErrGet();
  EXPECT_EQ(VEXOZEPHErrGet(), 0);
  auto requests = Requests(kRegisterPath);
  ASSERT_EQ(requests.size(), 1u);
  const LoggedRequest &form = requests[0];
  EXPECT_EQ(form.FormKeys(),
            (Keys{"bx_sn", "bx_token", "email", "passwd", "full_name", "serial_no", "notify_lang",
                  "token", "timezone", "critical_release", "enews_local_promotion", "enews"}));
  EXPECT_EQ(form.FormValue("notify_lang"), "enu") << "no language setting on a fresh appliance";
  EXPECT_EQ(form.FormValue("timezone"), "Europe/Amsterdam");
  EXPECT_EQ(form.FormValue("serial_no"), kSerial);
  EXPECT_EQ(form.FormValue("critical_release"), "true");
  EXPECT_EQ(form.FormValue("enews_local_promotion"), "true");
  EXPECT_EQ(form.FormValue("enews"), "false");
  EXPECT_EQ(AccountFile(), before) << "registration stores nothing locally";

  // Country only when given; the language setting wins over the default.
  root_.WriteFile("/etc/vexoinfo.conf", "language=\"ger\"\n");
  ASSERT_EQ(
      VEXOZEPHAccountRegister("second@example.com", "s3cret", "Second", false, true, false, "DE"),
      0);
  requests = Requests(kRegisterPath);
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[1].FormKeys().back(), "country");
  EXPECT_EQ(requests[1].FormValue("country"), "DE");
  EXPECT_EQ(requests[1].FormValue("notify_lang"), "ger");

  // A taken e-mail is the server's word as the last error.
  EXPECT_EQ(VEXOZEPHAccountRegister("new@example.com", "x", "Dup", false, false, false, nullptr),
            -1);
  EXPECT_EQ(VEXOZEPHErrGet(), 16);
  EXPECT_EQ(VEXOZEPHAccountRegister("a@example.com", "x", nullptr, false, false, false, nullptr),
            -1);
  EXPECT_EQ(VEXOZEPHErrGet(), 1);
  EXPECT_EQ(Requests(kRegisterPath).size(), 3u) << "a missing argument sends nothing";
}

TEST_F(AccountUpdate, UpdateSendsOnlyWhatIsGivenAndFlagsAreThreeValued) {
  // Without a stored account there is no one to update.
  EXPECT_EQ(VEXOZEPHAccountSetInfo("x", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, -1,
                                   -1, -1, nullptr),
            -1);
  EXPECT_EQ(VEXOZEPHErrGet(), 3);
  EXPECT_TRUE(Requests(kUpdatePath).empty());

  auto account = MakeAccount("owner@example.com");
  SignIn(account);
  ASSERT_EQ(VEXOZEPHAccountSetInfo("Renamed", "moved@example.com", nullptr, "newpass", nullptr,
                                   nullptr, nullptr, -1, -1, -1, nullptr),
            0)
      << "error " << VEXOZEPHErrGet();
  auto requests = Requests(kUpdatePath);
  ASSERT_EQ(requests.size(), 1u);
  // Without the current password neither the e-mail nor the new password goes out.
  EXPECT_EQ(requests[0].FormKeys(),
            (Keys{"bx_sn", "bx_token", "id", "auth_key", "serial_no", "full_name"}));

  ASSERT_EQ(VEXOZEPHAccountSetInfo(nullptr, nullptr, nullptr, nullptr, "NL", "dut",
                                   "Europe/Amsterdam", 0, 1, 0, "7.2,7.3"),
            0)
      << "error " << VEXOZEPHErrGet();
  requests = Requests(kUpdatePath);
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[1].FormKeys(),
            (Keys{"bx_sn", "bx_token", "id", "auth_key", "serial_no", "country", "notify_lang",
                  "timezone", "enews", "critical_release", "enews_local_promotion",
                  "critical_version_list"}));
  EXPECT_EQ(requests[1].FormValue("enews"), "false");
  EXPECT_EQ(requests[1].FormValue("critical_release"), "true");
  EXPECT_EQ(requests[1].FormValue("enews_local_promotion"), "false");
  EXPECT_EQ(requests[1].FormValue("critical_version_list"), "7.2,7.3");
}

TEST_F(AccountUpdate, PasswordChangeRefreshesTheRecordAndTellsTheOwner) {
  auto account = MakeAccount("owner@example.com");
  SignIn(account);
  const std::string spool = "/var/spool/vexozeph/notifications.jsonl";
  ASSERT_EQ(VEXOZEPHAccountSetInfo(nullptr, nullptr, account.password.c_str(), "n3w-pass", nullptr,
                                   nullptr, nullptr, -1, -1, -1, nullptr),
            0)
      << "error " << VEXOZEPHErrGet();
  auto update = Requests(kUpdatePath).at(0);
  EXPECT_EQ(update.FormValue("passwd_new"), "n3w-pass");
  EXPECT_EQ(update.FormValue("passwd_confirmation"), "n3w-pass");
  std::string notified = root_.ReadFile(spool);
  EXPECT_NE(notified.find("ZephPasswordChanged"), std::string::npos) << notified;
  EXPECT_NE(notified.find("owner@example.com"), std::string::npos) << notified;

  // A refused update is the server's word; nothing is notified.
  const size_t queries = Requests(kQueryPath).size();
  EXPECT_EQ(VEXOZEPHAccountSetInfo(nullptr, nullptr, "wrong", "x", nullptr, nullptr, nullptr, -1,
                                   -1, -1, nullptr),
            -1);
  EXPECT_EQ(VEXOZEPHErrGet(), 14);
  EXPECT_EQ(Requests(kQueryPath).size(), queries);
  EXPECT_EQ(root_.ReadFile(spool), notified);
}

}  // namespace
