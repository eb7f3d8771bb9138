// Sign-in paths that end before or without a server: which failure is reported when the
// appliance cannot describe itself, and that a process that is not root still removes a
// key the server never confirmed.
#include <gtest/gtest.h>
#include <json/json.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "support/child_process.h"
#include "support/fake_appliance.h"
#include "support/process_ids.h"
#include "support/zeph_code.h"
#include "vexo_platform/vexo_cloud_service.h"
#include "vexozeph/account_service.h"
#include "vexozeph/user.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_account.h"

namespace {

namespace fake = vexozeph::fake;
using vexozeph::testing::CodeOf;
using vexozeph::testing::kAccountFile;
using vexozeph::testing::kNobody;

class LoginWithoutServer : public vexozeph::testing::FakeAppliance {
 protected:
  void SetUp() override {
    FakeAppliance::SetUp();
    UseDeadAccountHost();
  }

  int PasswordLogin() {
    Json::Value response;
    return VEXOZEPHAccountLogin("ann@example.com", "secret", response, false);
  }
  int TokenLogin() {
    Json::Value response;
    return VEXOZEPHAccountOauthLogin(response, "access-token");
  }
};

TEST_F(LoginWithoutServer, EachPreparationStepReportsItsOwnFailureInOrder) {
  const std::string before = root_.ReadFile(kAccountFile);
  struct Case {
    const char *what;
    std::vector<const char *> failing;
    bool token_login;
    int expected_error;
  };
  const std::vector<Case> cases = {
      // No listeners to tell is not the caller's fault: the error stays 0.
      {"plugin context", {"VLIBPluginSDKInit", "VLIBGetSerialNumber"}, false, 0},
      // When several facts are missing, the first in line is the one reported.
      {"serial before mac",
       {"VLIBGetSerialNumber", "VEXOBxinfoCloudServiceGetMacAddress"},
       false,
       VEXOZEPH_ERR_SERIAL},
      {"mac before api key",
       {"VEXOBxinfoCloudServiceGetMacAddress", "VEXOCloudServiceGetApiKey"},
       false,
       VEXOZEPH_ERR_MAC},
      {"api key", {"VEXOCloudServiceGetApiKey"}, false, VEXOZEPH_ERR_UNKNOWN},
      {"zone name", {"VEXOZoneGet", "VLIBCSzHashAlloc"}, true, 0},
      {"zone information", {"VEXOZoneGetInfo"}, true, VEXOZEPH_ERR_SYSTEM},
      {"form", {"VLIBCSzHashSetValue"}, false, VEXOZEPH_ERR_SYSTEM},
      // Everything in place: the request itself is what fails.
      {"nothing", {}, false, VEXOZEPH_ERR_SEND},
      {"nothing (token)", {}, true, VEXOZEPH_ERR_SEND},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    const auto arm = [&c] {
      fake::Reset();
      fake::SetCloudServiceErrorCode(VEXO_CLOUD_SERVICE_ERR_OTHER);
      for (const char *function : c.failing) fake::FailNext(function);
    };
    arm();
    EXPECT_EQ(c.token_login ? TokenLogin() : PasswordLogin(), -1);
    EXPECT_EQ(VEXOZEPHErrGet(), c.expected_error);
    EXPECT_EQ(fake::OpenPluginContexts(), 0);
    EXPECT_TRUE(fake::PluginActions().empty());
    EXPECT_EQ(root_.ReadFile(kAccountFile), before);
    if (c.token_login) continue;
    // The class throws the failure's own code, a system failure where the C function
    // keeps its last error, and leaves that last error as the C function does.
    arm();
    EXPECT_EQ(CodeOf([] { vexozeph::AccountService().Login("ann@example.com", "secret"); }),
              c.expected_error == 0 ? VEXOZEPH_ERR_SYSTEM : c.expected_error);
    EXPECT_EQ(VEXOZEPHErrGet(), c.expected_error);
  }

  // The cloud-service library's own reason is passed on.
  fake::Reset();
  fake::SetCloudServiceErrorCode(VEXO_CLOUD_SERVICE_ERR_NETWORK);
  fake::FailNext("VEXOCloudServiceGetApiKey");
  EXPECT_EQ(PasswordLogin(), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_NETWORK);

  fake::Reset();
  Json::Value response;
  EXPECT_EQ(VEXOZEPHAccountOauthLogin(response, nullptr), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_BAD_PARAMETER);
  EXPECT_TRUE(fake::CallsTo("VLIBPluginSDKInit").empty());
}

TEST_F(LoginWithoutServer, ARefusedKeyIsRemovedByAProcessThatIsNotRootAndItsIdsComeBack) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to set up a saved-set-user-ID process";
  const int status = vexozeph::testing::RunInChild([] {
    // A set-user-ID root helper as the appliance runs it: effective ids of a plain user,
    // saved user id root.
    if (!vexozeph::testing::SetIds(kNobody, kNobody, 0)) return 10;
    Json::Value result;
    if (VEXOZEPHAccountLoginByKey("2000001", "some-key", result) != -1) return 11;
    if (VEXOZEPHErrGet() != VEXOZEPH_ERR_AUTH) return 12;
    if (::geteuid() != kNobody || ::getegid() != kNobody) return 13;
    return 0;
  });
  EXPECT_EQ(status, 0);
  EXPECT_FALSE(root_.Exists(kAccountFile));
}

}  // namespace
