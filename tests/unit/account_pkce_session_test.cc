// The device session's work with the platform, on the fake: the local sign-out's steps
// and their order, the shell command that clears the token files, and the checks made
// before any request is sent.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "session/account_pkce_service_impl.h"
#include "support/fake_appliance.h"
#include "support/log_capture.h"
#include "support/zeph_code.h"
#include "vexozeph/account_pkce_service.h"
#include "vexozeph/error_codes.h"
#include "vexozeph/vexozeph.h"

namespace {

namespace fake = vexozeph::fake;
using vexozeph::AccountPkceService;
using vexozeph::AccountPkceServiceImpl;
using vexozeph::testing::CodeOf;
using vexozeph::testing::kAccountFile;
using vexozeph::testing::kLoginTemplate;
using vexozeph::testing::LogCapture;

const char kTemplate[] =
    "{\"client_id\": \"zeph-device\", \"scope\": \"openid device_sn:$sn$\","
    " \"token_endpoint_path\": \"/oauth2/token\","
    " \"login_redirect_path\": \"/device/oauth/login/callback\"}";

// Index of the first call of `function` in the fake's log, or -1.
int IndexOf(const std::vector<fake::Call> &calls, const std::string &function) {
  for (size_t i = 0; i < calls.size(); ++i) {
    if (calls[i].function == function) return static_cast<int>(i);
  }
  return -1;
}

class AccountPkceSessionSteps : public vexozeph::testing::FakeAppliance {
 protected:
  void SetUp() override {
    FakeAppliance::SetUp();
    root_.WriteFile(kLoginTemplate, kTemplate);
  }
};

TEST_F(AccountPkceSessionSteps, LocalSignOutRemovesAccountThenScheduleThenLogsThenClearsTokens) {
  root_.WriteFile(kAccountFile, "zephID=\"owner@example.com\"\nzephIDSerial=\"2000001\"\n");
  LogCapture log;
  AccountPkceService().LogoutLocal();

  const std::vector<fake::Call> calls = fake::Calls();
  const int removal = IndexOf(calls, "VLIBPluginSDKInit");
  const int schedule = IndexOf(calls, "ConfigManager::Remove");
  const int event = IndexOf(calls, "VEXOLogSet1");
  const int shell = IndexOf(calls, "VLIBCExecl");
  ASSERT_GE(removal, 0);
  EXPECT_LT(removal, schedule);
  EXPECT_LT(schedule, event);
  EXPECT_LT(event, shell);
  EXPECT_FALSE(root_.Exists(kAccountFile));
  EXPECT_EQ(log.Count("account_pkce_service:"), 1u);
  EXPECT_EQ(log.Count("Logged out Vexona Account: owner@example.com"), 1u);

  const std::vector<fake::LogEvent> events = fake::LogEvents();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].type, 2);
  EXPECT_EQ(events[0].level, 1);
  EXPECT_EQ(events[0].event, 0x13A00002u);
  EXPECT_EQ(events[0].args, (std::vector<std::string>{"", "", "", ""}));

  // The shell expands the pattern; the root-prefixed directory is one quoted word.
  EXPECT_EQ(calls[shell].args[1], std::to_string(0xBB));
  const std::vector<fake::Command> commands = fake::Commands();
  ASSERT_EQ(commands.size(), 1u);
  EXPECT_EQ(commands[0].path, "/bin/sh");
  EXPECT_EQ(commands[0].argv,
            (std::vector<std::string>{"/bin/sh", "-c",
                                      "/bin/rm -f '" + root_.Dir() +
                                          "/usr/vexo/etc/vexona-account/private/'*_token.json"}));
}

TEST_F(AccountPkceSessionSteps, LocalSignOutGoesOnPastEveryFailedStepAndNeverThrows) {
  LogCapture log;
  fake::FailNext("VLIBPluginAction");
  fake::FailNext("ConfigManager::Remove");
  fake::FailNext("VEXOLogSet1");
  fake::FailNext("VLIBCExecl");
  AccountPkceService().LogoutLocal();
  EXPECT_EQ(fake::CallsTo("VLIBCExecl").size(), 1u);
  EXPECT_EQ(log.Count("Logged out Vexona Account"), 1u);
  EXPECT_EQ(log.Count("Logged out Vexona Account:"), 0u) << "no account, no name";
  EXPECT_EQ(log.Count("Failed to clear token files"), 1u);

  // rm that ran but failed left files behind too.
  log.Clear();
  fake::SetExeclStatus(1);
  EXPECT_EQ(VEXOZEPHAccountLogout(false), 0);
  EXPECT_EQ(log.Count("Failed to clear token files"), 1u);
}

TEST_F(AccountPkceSessionSteps, WithoutAPkcePairOrAnyTokenNothingIsSent) {
  std::string message;
  fake::FailNext("vexo_challenge_verifier_no_save");
  EXPECT_EQ(CodeOf([] { AccountPkceServiceImpl("", "").GrantByAuthKey(); }, &message),
            VEXOZEPH_ERR_SYSTEM);
  EXPECT_NE(message.find("Failed to get code challenge & verifier"), std::string::npos);

  // No token file and no auth key: nothing to renew or rescue with.
  EXPECT_EQ(CodeOf([] { AccountPkceService().GetAccessToken(); }, &message),
            VEXOZEPH_ERR_TOKEN_STATE);
  EXPECT_NE(message.find("Failed to find an existed token file"), std::string::npos);
  EXPECT_FALSE(AccountPkceService().HasToken());
}

TEST_F(AccountPkceSessionSteps, ClientIdIsADashWithoutOneAndABrokenTemplateFailsConstruction) {
  EXPECT_EQ(AccountPkceServiceImpl("", "").GetClientId(), "zeph-device");
  root_.WriteFile(kLoginTemplate, "{\"client_id\": \"\"}");
  EXPECT_EQ(AccountPkceServiceImpl("", "").GetClientId(), "-");
  root_.WriteFile(kLoginTemplate, "{\"client_id\": 7}");
  EXPECT_EQ(AccountPkceServiceImpl("", "").GetClientId(), "-");
  root_.WriteFile(kLoginTemplate, "{\"client_id\": ");
  EXPECT_EQ(CodeOf([] { AccountPkceService(); }), VEXOZEPH_ERR_BAD_JSON);
  // Through the C interface the failure is a code, never an exception.
  EXPECT_EQ(VEXOZEPHAccountLogout(false), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_BAD_JSON);
}

}  // namespace
