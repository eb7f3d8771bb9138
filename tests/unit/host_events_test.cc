#include <gtest/gtest.h>

#include <string>

#include "fakes/fake_platform.h"
#include "internal/zeph_plugin_manager.h"
#include "support/log_capture.h"
#include "support/temp_root.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_api_key.h"

namespace {

namespace fake = vexozeph::fake;
using vexozeph::testing::LogCapture;
using vexozeph::testing::TempRoot;

const char kAccountFile[] = "/usr/vexo/etc/vexona-account/private/user.conf";

class HostEvents : public ::testing::Test {
 protected:
  void SetUp() override { fake::Reset(); }
  TempRoot root_;
};

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
