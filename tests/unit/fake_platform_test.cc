// The fake platform itself: every library unit test trusts its failure counting and its
// records, so an off-by-one here would silently mislead all of them.
#include <gtest/gtest.h>

#include <string>

#include "fakes/fake_platform.h"
#include "support/temp_root.h"
#include "vexo_platform/platform.h"

namespace {

namespace fake = vexozeph::fake;
using vexozeph::testing::TempRoot;

TEST(FakePlatform, InjectedFailuresCountExactlyThenRealFileCodeTakesOver) {
  fake::Reset();
  TempRoot root;
  const std::string path = root.Path("/etc/vexoinfo.conf");
  fake::FailNext("VLIBCFileSetKeyValue", 2, ENOSPC);
  EXPECT_LT(VLIBCFileSetKeyValue(path.c_str(), "language", "enu", "%s=\"%s\"\n"), 0);
  EXPECT_EQ(VLIBCErrGet(), ENOSPC);
  EXPECT_LT(VLIBCFileSetKeyValue(path.c_str(), "language", "enu", "%s=\"%s\"\n"), 0);
  EXPECT_FALSE(root.Exists("/etc/vexoinfo.conf")) << "a failed call must not write";
  EXPECT_EQ(VLIBCFileSetKeyValue(path.c_str(), "language", "ger", "%s=\"%s\"\n"), 0);
  EXPECT_EQ(root.ReadFile("/etc/vexoinfo.conf"), "language=\"ger\"\n");

  auto calls = fake::CallsTo("VLIBCFileSetKeyValue");
  ASSERT_EQ(calls.size(), 3u);
  EXPECT_EQ(calls[2].args, (std::vector<std::string>{path, "language", "ger", "%s=\"%s\"\n"}));

  fake::FailAlways("VLIBPluginAction");
  PVLIBPLUGIN handle = nullptr;
  ASSERT_EQ(VLIBPluginSDKInit("zeph", "zeph/login", &handle), 0);
  EXPECT_LT(VLIBPluginAction(handle, VLIB_PLUGIN_ACTION_PRE), 0);
  EXPECT_LT(VLIBPluginAction(handle, VLIB_PLUGIN_ACTION_PRE), 0);
  fake::StopFailing("VLIBPluginAction");
  EXPECT_EQ(VLIBPluginAction(handle, VLIB_PLUGIN_ACTION_POST), 0);
  EXPECT_EQ(fake::OpenPluginContexts(), 1);
  VLIBPluginExit(handle);
  VLIBPluginExit(nullptr);
  EXPECT_EQ(fake::OpenPluginContexts(), 0);
  ASSERT_EQ(fake::PluginActions().size(), 1u) << "only what the host really got";
  EXPECT_EQ(fake::PluginActions()[0].action, 5u);
  EXPECT_EQ(fake::CallsTo("VLIBPluginExit").back().args[0], "(null)");
}

}  // namespace
