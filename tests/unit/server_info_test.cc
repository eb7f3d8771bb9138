#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/child_process.h"
#include "support/fake_appliance.h"
#include "support/log_capture.h"
#include "support/process_ids.h"
#include "transport/server_info_impl.h"
#include "vexozeph/server_info.h"
#include "vexozeph/vexozeph.h"

namespace {

using vexozeph::testing::kAccountFile;
using vexozeph::testing::LogCapture;

const char kDefaultsConfig[] = "/etc.defaults/vexoinfo.conf";
// Account, identity and payment bases.
using Bases = std::vector<std::string>;
const Bases kTestBases = {VEXOZEPH_TEST_ACCOUNT_HOST, VEXOZEPH_TEST_IDENTITY_HOST,
                          VEXOZEPH_TEST_PAYMENT_HOST};
const Bases kProductionBases = {VEXOZEPH_PROD_ACCOUNT_HOST, VEXOZEPH_PROD_IDENTITY_HOST,
                                VEXOZEPH_PROD_PAYMENT_HOST};

Bases Chosen() {
  vexozeph::ServerInfo servers;
  return {servers.GetAccountHost(), servers.GetIdentityHost(), servers.GetPaymentHost()};
}

class ServerInfoTest : public vexozeph::testing::FakeAppliance {
 protected:
  void UseTestServers() { root_.WriteFile(kDefaultsConfig, "vexopkg_server=\"test\"\n"); }
};

TEST_F(ServerInfoTest, OnlyTheExactWordTestSelectsTheTestServers) {
  EXPECT_EQ(Chosen(), kProductionBases) << "no settings file at all";
  const std::pair<const char *, bool> cases[] = {
      {"vexopkg_server=\"test\"\n", true},
      {"language=\"enu\"\nvexopkg_server=\"test\"\n", true},
      {"vexopkg_server=\"Test\"\n", false},
      {"vexopkg_server=\"test \"\n", false},
      {"vexopkg_server=\"testing\"\n", false},
      {"vexopkg_server=\"\"\n", false},
      {"vexopkg_server_old=\"test\"\n", false},
      {"", false}};
  for (const auto &c : cases) {
    root_.WriteFile(kDefaultsConfig, c.first);
    EXPECT_EQ(vexozeph::ServerInfoImpl().IsTest(), c.second) << c.first;
    EXPECT_EQ(Chosen(), c.second ? kTestBases : kProductionBases) << c.first;
  }
  // The word only counts in the read-only defaults, not in the writable settings.
  root_.WriteFile(kDefaultsConfig, "");
  root_.WriteFile("/etc/vexoinfo.conf", "vexopkg_server=\"test\"\n");
  EXPECT_EQ(Chosen(), kProductionBases);
}

TEST_F(ServerInfoTest, StoredHostsOverrideAccountAndIdentityButNeverPayment) {
  UseTestServers();
  // Stored hosts are used exactly as stored, trailing slash and all.
  root_.WriteFile(kAccountFile,
                  "account_host=\"https://eu.account.example/\"\n"
                  "identity_host=\"https://eu.identity.example\"\n");
  EXPECT_EQ(Chosen(),
            (Bases{"https://eu.account.example/", "https://eu.identity.example", kTestBases[2]}));
  // Each host falls back on its own; an empty stored value counts as none.
  root_.WriteFile(kDefaultsConfig, "");
  root_.WriteFile(kAccountFile,
                  "account_host=\"\"\nidentity_host=\"https://us.identity.example\"\n");
  EXPECT_EQ(Chosen(),
            (Bases{kProductionBases[0], "https://us.identity.example", kProductionBases[2]}));
}

TEST_F(ServerInfoTest, ConfigBufferHoldsPaymentThenAccountHalves) {
  VEXOZEPHErrSet(0);
  EXPECT_EQ(VEXOZEPHServerConfigGet(nullptr), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_BAD_PARAMETER);
  VEXOZEPHErrSet(0);
  EXPECT_EQ(VEXOPaymentConfigGet(nullptr), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_BAD_PARAMETER);

  UseTestServers();
  // The longest host that fits a half: 2047 characters and the terminator.
  const std::string long_host = "https://" + std::string(2047 - 8, 'a');
  root_.WriteFile(kAccountFile, "account_host=\"" + long_host + "\"\n");
  char config[VEXOZEPH_SERVER_CONFIG_SIZE];
  std::memset(config, 'X', sizeof(config));
  ASSERT_EQ(VEXOZEPHServerConfigGet(config), 0);
  EXPECT_EQ(std::string(config), kTestBases[2]);
  EXPECT_EQ(config[VEXOZEPH_SERVER_CONFIG_SIZE - 1], '\0');
  EXPECT_EQ(std::string(config + VEXOZEPH_SERVER_CONFIG_HALF), long_host);
  std::memset(config, 'X', sizeof(config));
  ASSERT_EQ(VEXOPaymentConfigGet(config), 0);
  EXPECT_EQ(std::string(config), kTestBases[2]);
}

// A process that cannot read the account record (not root and unable to become root)
// still gets a host: the built-in one, with one line saying why.
TEST_F(ServerInfoTest, UnreadableAccountRecordFallsBackToBuiltInBases) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to drop to an unprivileged user";
  UseTestServers();
  root_.WriteFile(kAccountFile, "account_host=\"https://stored.example\"\n");
  ::chmod(root_.Path(kAccountFile).c_str(), 0600);
  // The settings must stay readable once the child has given up root.
  for (const char *dir : {"", "/etc.defaults"}) ::chmod(root_.Path(dir).c_str(), 0755);
  ::chmod(root_.Path(kDefaultsConfig).c_str(), 0644);

  int result = vexozeph::testing::RunInChild([] {
    using vexozeph::testing::kNobody;
    if (!vexozeph::testing::SetIds(kNobody, kNobody, kNobody)) return 100;
    LogCapture log;
    vexozeph::ServerInfo servers;
    if (servers.GetAccountHost() != kTestBases[0]) return 1;
    if (log.Count("server_info:") != 1) return 2;
    if (log.Count("Failed to get user defined account host") != 1) return 3;
    if (servers.GetIdentityHost() != kTestBases[1]) return 4;
    if (log.Count("Failed to get user defined identity host") != 1) return 5;
    char config[VEXOZEPH_SERVER_CONFIG_SIZE] = {0};
    if (VEXOZEPHServerConfigGet(config) != 0) return 6;
    return std::string(config + VEXOZEPH_SERVER_CONFIG_HALF) != kTestBases[0] ? 7 : 0;
  });
  EXPECT_EQ(result, 0) << "child failed at check " << result;
}

}  // namespace
