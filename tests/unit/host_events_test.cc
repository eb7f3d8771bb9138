// The host's side of account removal, plugin events and API key recovery.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "host/zeph_plugin_manager.h"
#include "store/account_file.h"
#include "support/child_process.h"
#include "support/fake_appliance.h"
#include "support/log_capture.h"
#include "support/process_ids.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_api_key.h"

namespace {

namespace fake = vexozeph::fake;
using vexozeph::RemovalResult;
using vexozeph::RemovalRule;
using vexozeph::RemoveAccountFile;
using vexozeph::testing::kAccountFile;
using vexozeph::testing::kNobody;
using vexozeph::testing::LogCapture;

using HostEvents = vexozeph::testing::FakeAppliance;

TEST_F(HostEvents, RemovalTellsListenersFirstAndKeepsTheAccountWhenItCannot) {
  root_.WriteFile(kAccountFile, "zephID=\"owner@example.com\"\n");
  VEXOZEPHErrSet(17);

  fake::FailNext("VLIBPluginAction");
  EXPECT_EQ(VEXOZEPHAccountRemove(), -1);
  EXPECT_TRUE(root_.Exists(kAccountFile)) << "listeners must hear of it while the account is there";
  EXPECT_EQ(fake::OpenPluginContexts(), 0) << "the context is closed on the failing path too";

  fake::FailNext("VLIBPluginSDKInit");
  EXPECT_EQ(VEXOZEPHAccountRemove(), -1);
  EXPECT_TRUE(root_.Exists(kAccountFile));

  EXPECT_EQ(VEXOZEPHAccountRemove(), 0);
  EXPECT_FALSE(root_.Exists(kAccountFile));
  auto actions = fake::PluginActions();
  ASSERT_EQ(actions.size(), 1u);
  EXPECT_EQ(actions[0].plugin, "zeph");
  EXPECT_EQ(actions[0].action_name, "zeph/logout");
  EXPECT_EQ(actions[0].action, 4u) << "a pre-event only; nothing after the removal";

  // Without a file the removal still raises the event and succeeds.
  EXPECT_EQ(VEXOZEPHAccountRemove(), 0);
  EXPECT_EQ(fake::PluginActions().size(), 2u);
  EXPECT_EQ(VEXOZEPHErrGet(), 17) << "removal leaves the last error alone";
}

// The three callers of the removal differ only in what a process that cannot be lifted to
// root does, and each line names the operation that asked.
TEST_F(HostEvents, AProcessThatCannotBeLiftedKeepsTheFileOnlyWhereTheRuleSaysSo) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to drop to a user that cannot come back";
  root_.WriteFile(kAccountFile, "zephID=\"owner@example.com\"\n");
  const vexozeph::log::Place here{"caller_module", 42};

  const int status = vexozeph::testing::RunInChild([&] {
    // No saved root id: every attempt to lift the process is refused.
    if (!vexozeph::testing::SetIds(kNobody, kNobody, kNobody)) return 10;
    LogCapture log;
    if (RemoveAccountFile(here, RemovalRule::kOnlyWhenLifted) != RemovalResult::kNotLifted) {
      return 11;
    }
    if (log.Count("caller_module:42 Change permission failed") != 1) return 12;
    if (RemoveAccountFile(here, RemovalRule::kAnyway) != RemovalResult::kDeletionFailed) return 13;
    if (log.Count("Failed to unlink") != 0) return 14;
    if (RemoveAccountFile(here, RemovalRule::kAnywayLoggingFailure) !=
        RemovalResult::kDeletionFailed) {
      return 15;
    }
    if (log.Count("caller_module:42 Failed to unlink ") != 1) return 16;
    // The C removal tells the listeners first and then keeps the file.
    if (VEXOZEPHAccountRemove() != -1) return 17;
    if (log.Count("zeph_config_remove:") < 1) return 18;
    if (::geteuid() != kNobody || ::getegid() != kNobody) return 19;
    return 0;
  });
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(root_.Exists(kAccountFile));

  // Root removes it; a second removal finds nothing to delete.
  EXPECT_EQ(RemoveAccountFile(here, RemovalRule::kOnlyWhenLifted), RemovalResult::kRemoved);
  EXPECT_FALSE(root_.Exists(kAccountFile));
  EXPECT_EQ(RemoveAccountFile(here, RemovalRule::kOnlyWhenLifted), RemovalResult::kDeletionFailed);
}

TEST_F(HostEvents, PluginEventsNeverFailTheirCallerAndAlwaysCloseTheContext) {
  vexozeph::ZephPluginManager plugins;
  LogCapture log;
  plugins.Pre("zeph/login");
  plugins.Post("zeph/login");
  auto actions = fake::PluginActions();
  ASSERT_EQ(actions.size(), 2u);
  EXPECT_EQ(actions[0].action, 4u);
  EXPECT_EQ(actions[1].action, 5u);

  fake::FailNext("VLIBPluginSDKInit");
  plugins.Post("zeph/logout");
  EXPECT_EQ(log.Count("Failed to init plugin: zeph/logout"), 1u);
  auto exits = fake::CallsTo("VLIBPluginExit");
  ASSERT_EQ(exits.size(), 3u);
  EXPECT_EQ(exits.back().args.at(0), "(null)") << "closed once, with a null handle";

  fake::FailNext("VLIBPluginAction");
  plugins.TriggerEvent("zeph/logout", 5);
  EXPECT_EQ(log.Count("Failed to do plugin zeph/logout, action=5"), 1u);
  EXPECT_EQ(fake::OpenPluginContexts(), 0);
}

TEST_F(HostEvents, ApiKeyErrorsAreRecoveredOnlyWhenTheKeyIsUnknown) {
  LogCapture log;
  fake::SetNewApiKey("fresh-key");
  Json::Value params(Json::objectValue);
  params["serial_no"] = "SN1";
  EXPECT_EQ(VEXOZEPHHandleApiKeyError(params, "apikey_not_found"), 0);
  EXPECT_EQ(params["api_key"].asString(), "fresh-key");
  EXPECT_EQ(VEXOZEPHErrGet(), 26);

  Json::Value untouched = params;
  EXPECT_EQ(VEXOZEPHHandleApiKeyError(params, "apikey_expired"), -1);
  EXPECT_EQ(fake::CloudServiceActions(), std::vector<int>{2});
  EXPECT_EQ(VEXOZEPHErrGet(), 27);

  EXPECT_EQ(VEXOZEPHHandleApiKeyError(params, "badauth"), -1);
  EXPECT_EQ(log.Count("zeph_get_iframe_info:"), log.Lines().size()) << "module name of these lines";
  EXPECT_EQ(log.Count("VEXOZEPHHandleApiKeyError failed, error=14"), 1u);
  EXPECT_EQ(VEXOZEPHHandleApiKeyError(params, "good"), -1) << "only for error answers";
  EXPECT_EQ(params, untouched);

  EXPECT_EQ(VEXOZEPHHandleApiKeyError(params, nullptr), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), 1);

  fake::FailNext("VEXOCloudServiceRegisterApiKey");
  EXPECT_EQ(VEXOZEPHHandleApiKeyError(params, "apikey_not_found"), -1);
  EXPECT_EQ(params, untouched);

  // Parameters that are not an object: a failure with a code, never a crash.
  Json::Value not_an_object(Json::arrayValue);
  EXPECT_EQ(VEXOZEPHHandleApiKeyError(not_an_object, "apikey_not_found"), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), 2);
}

}  // namespace
