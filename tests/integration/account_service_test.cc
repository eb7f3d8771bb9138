#include <gtest/gtest.h>
#include <json/json.h>

#include <string>

#include "support/account_appliance.h"
#include "support/log_capture.h"
#include "support/zeph_code.h"
#include "vexozeph/account_service.h"
#include "vexozeph/user.h"

namespace {

using vexozeph::AccountService;
using vexozeph::testing::AccountAppliance;
using vexozeph::testing::CodeOf;
using vexozeph::testing::LogCapture;

class AccountServiceFacade : public AccountAppliance {};

TEST_F(AccountServiceFacade, LoginAnswersOrThrowsTheLastError) {
  auto account = MakeAccount("owner@example.com");
  AccountService service;
  EXPECT_EQ(service.GetAccountHost(), cloud_->AccountOrigin()) << "the stored host wins";
  Json::Value answer = service.Login(account.email, account.password);
  EXPECT_EQ(answer["code"], "good");
  EXPECT_TRUE(vexozeph::User().Exists());

  LogCapture log;
  EXPECT_EQ(CodeOf([&] { service.Login(account.email, "wrong"); }), 14);
  EXPECT_EQ(log.Count("VEXOZEPHAccountLogin failed, email=owner@example.com"), 1);
}

TEST_F(AccountServiceFacade, AFailedRemoteQuerySignsTheApplianceOutLocally) {
  auto account = MakeAccount("owner@example.com");
  SignIn(account);
  AccountService service;
  Json::Value local = service.GetLocalJsonAccount();
  EXPECT_EQ(local["email"], "owner@example.com");

  // A network failure, not a refusal: the record still goes.
  vexozeph::User().SetLastQueryTime(0);
  vexozeph::testing::Fault drop;
  drop.path = kQueryPath;
  drop.drop = true;
  drop.count = 5;
  cloud_->QueueFault(drop);
  EXPECT_EQ(CodeOf([&] { service.GetAndSyncRemoteJsonAccount(); }), 4);
  EXPECT_FALSE(HasAccountFile());

  LogCapture log;
  EXPECT_EQ(CodeOf([&] { service.GetAndSyncRemoteJsonAccount(); }), 3);
  EXPECT_EQ(log.Count("Failed to unlink"), 1);
  // The local read fails the same way but deletes nothing (there is nothing left here).
  EXPECT_EQ(CodeOf([&] { service.GetLocalJsonAccount(); }), 3);
}

}  // namespace
