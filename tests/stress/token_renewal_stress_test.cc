// Many processes reading the device client's token through three expiries: each expiry
// is renewed exactly once, no refresh token is ever spent twice, and every token handed
// out is one the identity host accepts. The library's clock is fixed past the token's
// last second before each round, so the expiries need no waiting.
#include <gtest/gtest.h>
#include <json/json.h>
#include <unistd.h>

#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "pkce/pkce_client_impl.h"
#include "support/account_appliance.h"
#include "support/child_process.h"
#include "support/cloud_steps.h"
#include "transport/http/session.h"
#include "vexozeph/pkce_client.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {
namespace testing {
namespace {

using TokenRenewalStress = AccountAppliance;

TEST_F(TokenRenewalStress, ThirtyTwoProcessesRenewEachOfThreeExpiriesOnceWithAcceptedTokens) {
  const int kProcesses = 32;
  const int kReadsPerProcess = 200;
  const int kExpiries = 3;
  const TempRoot &root = root_;
  CloudEmulator &cloud = *cloud_;
  PkceClientImpl client("tarn");
  const Json::Value config = client.FormatPkceConfig(JsonFileIn(root, kLoginTemplate));
  client.SetPkceConfig(config);

  int64_t now = 1700000000;
  clock::SetForTesting(now);
  const auto code = DeviceCode(cloud, MakeAccount("stress@example.com"), kSerial, kMac);
  client.ExchangeToken(code.first, code.second, cloud.LoginRedirectUri());
  cloud.ClearRequests();

  std::set<std::string> handed_out;
  int failed_reads = 0;
  for (int round = 0; round < kExpiries; ++round) {
    // Just past the current token's last second: every process finds it lapsed.
    now = client.GetExpiredAt() + 1;
    clock::SetForTesting(now);
    const int reads = kReadsPerProcess / kExpiries + (round < kReadsPerProcess % kExpiries);
    std::vector<pid_t> children;
    for (int p = 0; p < kProcesses; ++p) {
      const std::string out_path = root.Path("/tmp/reads-" + std::to_string(p));
      children.push_back(StartChild([&config, out_path, reads] {
        std::ofstream out(out_path, std::ios::trunc);
        PkceClient reader("tarn");
        reader.SetPkceConfig(config);
        for (int i = 0; i < reads; ++i) {
          try {
            out << reader.GetAccessToken() << "\n";
          } catch (const ZephException &e) {
            out << "failed " << e.GetCode() << "\n";
          }
        }
        return 0;
      }));
    }
    for (pid_t child : children) EXPECT_EQ(WaitChild(child), 0);
    std::set<std::string> this_round;
    for (int p = 0; p < kProcesses; ++p) {
      std::ifstream in(root.Path("/tmp/reads-" + std::to_string(p)));
      std::string line;
      int lines = 0;
      while (std::getline(in, line)) {
        ++lines;
        if (line.compare(0, 7, "failed ") == 0) {
          ++failed_reads;
        } else {
          this_round.insert(line);
        }
      }
      EXPECT_EQ(lines, reads);
    }
    // One renewal, adopted by everyone: the round hands out the saved token only.
    EXPECT_EQ(this_round.size(), 1u) << "round " << round;
    EXPECT_EQ(this_round.count(client.GetPkceTokenVal("access_token")), 1u);
    handed_out.insert(this_round.begin(), this_round.end());
  }
  EXPECT_EQ(failed_reads, 0);

  int renewals = 0;
  for (const LoggedRequest &logged : cloud.Requests("identity", "/oauth2/token")) {
    EXPECT_EQ(logged.FormValue("grant_type"), "refresh_token");
    EXPECT_EQ(logged.status, 200) << "a refresh token was refused";
    ++renewals;
  }
  EXPECT_EQ(renewals, kExpiries);
  EXPECT_TRUE(
      cloud.Requests("account", "/migration/api/v1/device/core/authorization_code/grant").empty());

  // Every token handed out opens the account host's bearer-token call.
  for (const std::string &token : handed_out) {
    http::Session session;
    session.SetUrl(
        http::Url(cloud.AccountOrigin() + "/oauth2/api/v1/device/core/authkey/exchange"));
    session.SetHeader(http::Header{{"Authorization", "Bearer " + token}});
    EXPECT_EQ(session.Post().status_code, 200) << token.substr(0, 10);
  }
}

}  // namespace
}  // namespace testing
}  // namespace vexozeph
