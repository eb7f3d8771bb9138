#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/account_appliance.h"
#include "vexozeph/user.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_account.h"

namespace {

using vexozeph::User;
using vexozeph::testing::AccountAppliance;
using vexozeph::testing::kAnyValue;
using vexozeph::testing::LoggedRequest;
using vexozeph::testing::SentAs;

const char kRegisterPath[] = "device/api/user/register";
const char kUpdatePath[] = "device/api/user/update";

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
  // No language setting on a fresh appliance: English.
  ASSERT_EQ(Requests(kRegisterPath).size(), 1u);
  EXPECT_TRUE(SentAs(Requests(kRegisterPath)[0], kRegisterPath,
                     "bx_sn=SN2207ACCT&bx_token=*&email=new@example.com&passwd=s3cret&"
                     "full_name=New Owner&serial_no=SN2207ACCT&notify_lang=enu&token=*&"
                     "timezone=Europe/Amsterdam&critical_release=true&enews_local_promotion=true&"
                     "enews=false"));
  EXPECT_EQ(AccountFile(), before) << "registration stores nothing locally";

  // Country only when given, last; the language setting wins over the default.
  root_.WriteFile("/etc/vexoinfo.conf", "language=\"ger\"\n");
  ASSERT_EQ(
      VEXOZEPHAccountRegister("second@example.com", "s3cret", "Second", false, true, false, "DE"),
      0);
  ASSERT_EQ(Requests(kRegisterPath).size(), 2u);
  const LoggedRequest second = Requests(kRegisterPath)[1];
  EXPECT_EQ(second.form.back(), (std::pair<std::string, std::string>("country", "DE")));
  EXPECT_EQ(second.FormValue("notify_lang"), "ger");

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
  // Without the current password neither the e-mail nor the new password goes out.
  const std::vector<std::string> identity = {
      "bx_sn",    kSerial,    "bx_token",          kAnyValue,   "id",
      account.id, "auth_key", User().GetAuthKey(), "serial_no", kSerial};
  std::vector<std::string> form = identity;
  form.insert(form.end(), {"full_name", "Renamed"});
  ASSERT_EQ(Requests(kUpdatePath).size(), 1u);
  EXPECT_TRUE(SentAs(Requests(kUpdatePath)[0], kUpdatePath, form));

  ASSERT_EQ(VEXOZEPHAccountSetInfo(nullptr, nullptr, nullptr, nullptr, "NL", "dut",
                                   "Europe/Amsterdam", 0, 1, 0, "7.2,7.3"),
            0)
      << "error " << VEXOZEPHErrGet();
  form = identity;
  form.insert(form.end(), {"country", "NL", "notify_lang", "dut", "timezone", "Europe/Amsterdam",
                           "enews", "false", "critical_release", "true", "enews_local_promotion",
                           "false", "critical_version_list", "7.2,7.3"});
  ASSERT_EQ(Requests(kUpdatePath).size(), 2u);
  EXPECT_TRUE(SentAs(Requests(kUpdatePath)[1], kUpdatePath, form));
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
