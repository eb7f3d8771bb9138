// Running programs on the generic-Linux platform: plugin hooks with their environment,
// VLIBCExecl and VLIBCPopen without a shell.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <string>

#include "support/log_capture.h"
#include "support/temp_root.h"
#include "vexo_platform/vlib_plugin.h"
#include "vexo_platform/vlib_process.h"

namespace {

using vexozeph::testing::LogCapture;
using vexozeph::testing::TempRoot;

const char kHooks[] = "/usr/vexo/etc/vexozeph/hooks/zeph/";

void WriteScript(TempRoot &root, const std::string &absolute, const std::string &body,
                 mode_t mode = 0755) {
  root.WriteFile(absolute, "#!/bin/sh\n" + body);
  ASSERT_EQ(0, chmod(root.Path(absolute).c_str(), mode));
}

int RaiseEvent(const char *action_name, unsigned int action) {
  PVLIBPLUGIN handle = nullptr;
  if (VLIBPluginSDKInit("zeph", action_name, &handle) < 0) return -100;
  int result = VLIBPluginAction(handle, action);
  VLIBPluginExit(handle);
  return result;
}

TEST(PlatformPluginHooks, RunInNameOrderWithTheirEnvironmentAndReportAFailingOne) {
  TempRoot root;
  const std::string out = root.Path("/tmp/hooks.out");
  const std::string record =
      "echo \"$(basename \"$0\") $VEXOZEPH_PLUGIN $VEXOZEPH_ACTION $VEXOZEPH_PHASE\" >> " + out +
      "\n";
  WriteScript(root, std::string(kHooks) + "20-second", record);
  WriteScript(root, std::string(kHooks) + "10-first", record);
  WriteScript(root, std::string(kHooks) + "30-not-executable", record, 0644);
  WriteScript(root, std::string(kHooks) + ".40-hidden", record);

  EXPECT_EQ(RaiseEvent("zeph/login", VLIB_PLUGIN_ACTION_PRE), 0);
  EXPECT_EQ(RaiseEvent("zeph/logout", VLIB_PLUGIN_ACTION_POST), 0);
  EXPECT_EQ(root.ReadFile("/tmp/hooks.out"),
            "10-first zeph zeph/login pre\n"
            "20-second zeph zeph/login pre\n"
            "10-first zeph zeph/logout post\n"
            "20-second zeph zeph/logout post\n");

  // A failing listener fails the event, but the others still hear it.
  WriteScript(root, std::string(kHooks) + "15-failing", "exit 3\n");
  root.WriteFile("/tmp/hooks.out", "");
  LogCapture log;
  EXPECT_LT(RaiseEvent("zeph/login", VLIB_PLUGIN_ACTION_POST), 0);
  EXPECT_EQ(root.ReadFile("/tmp/hooks.out"),
            "10-first zeph zeph/login post\n20-second zeph zeph/login post\n");
  EXPECT_EQ(log.Count("15-failing"), 1u);

  // A plugin without hooks has nothing to fail; names that would leave the hook tree or
  // forge environment lines are refused and leave no handle.
  PVLIBPLUGIN handle = nullptr;
  ASSERT_EQ(VLIBPluginSDKInit("other", "other/thing", &handle), 0);
  EXPECT_EQ(VLIBPluginAction(handle, VLIB_PLUGIN_ACTION_PRE), 0);
  VLIBPluginExit(handle);
  for (auto names : {std::make_pair("../zeph", "zeph/login"), std::make_pair("", "zeph/login"),
                     std::make_pair("zeph", "zeph/login\nEVIL=1")}) {
    handle = reinterpret_cast<PVLIBPLUGIN>(0x1);
    EXPECT_LT(VLIBPluginSDKInit(names.first, names.second, &handle), 0);
    EXPECT_EQ(handle, nullptr);
  }
  VLIBPluginExit(nullptr);
}

TEST(PlatformProcess, RunsWithoutAShellAndFindsApplianceProgramsUnderTheRoot) {
  TempRoot root;
  WriteScript(root, "/usr/vexo/sbin/echo-args",
              "for a in \"$@\"; do echo \"[$a]\"; done\nexit 4\n");

  EXPECT_EQ(VLIBCExecl("/usr/vexo/sbin/echo-args", 0xBB, "echo-args", "x",
                       static_cast<const char *>(nullptr)),
            4);
  EXPECT_EQ(VLIBCExecl("/bin/sh", 0xBB, "sh", "-c", "exit 0", static_cast<const char *>(nullptr)),
            0);
  EXPECT_LT(
      VLIBCExecl("/usr/vexo/sbin/missing", 0xBB, "missing", static_cast<const char *>(nullptr)), 0);

  FILE *pipe = VLIBCPopen("/usr/vexo/sbin/echo-args", "r", "--get-vexo-account",
                          "$(touch /tmp/pwned); a b", static_cast<const char *>(nullptr));
  ASSERT_NE(pipe, nullptr);
  char line[256];
  std::string output;
  while (std::fgets(line, sizeof(line), pipe) != nullptr) output += line;
  EXPECT_EQ(VLIBCPclose(pipe), 4);
  EXPECT_EQ(output, "[--get-vexo-account]\n[$(touch /tmp/pwned); a b]\n");

  EXPECT_EQ(VLIBCPopen("/usr/vexo/sbin/missing", "r", static_cast<const char *>(nullptr)), nullptr);
  EXPECT_EQ(VLIBCPopen("/bin/true", "rw", static_cast<const char *>(nullptr)), nullptr);
  EXPECT_LT(VLIBCPclose(stdin), 0) << "only streams of VLIBCPopen";
}

}  // namespace
