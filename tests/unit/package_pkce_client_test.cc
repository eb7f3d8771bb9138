// A package client's work before any request, on the fake: the name check that comes
// before every file, the order of the package's three locks, and a cache that spares the
// fetch.
#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "session/package_pkce_client_impl.h"
#include "support/fake_appliance.h"
#include "support/zeph_code.h"
#include "vexozeph/error_codes.h"
#include "vexozeph/package_pkce_client.h"

namespace {

namespace fake = vexozeph::fake;
namespace clock = vexozeph::clock;
using vexozeph::PackagePkceClient;
using vexozeph::PackagePkceClientImpl;
using vexozeph::testing::CodeOf;

const int64_t kNow = 1700000000;

class PackageClientOnFake : public vexozeph::testing::FakeAppliance {
 protected:
  void SetUp() override {
    FakeAppliance::SetUp();
    clock::SetForTesting(kNow);
  }

  std::set<std::string> TmpEntries() const {
    return vexozeph::testing::NamesIn(root_.Path("/tmp"));
  }

  // The lock files taken, in order, by their "/tmp/account_..." names.
  std::vector<std::string> LocksTaken() const {
    std::vector<std::string> names;
    for (const fake::Call &call : fake::CallsTo("VLIBCFileLockByFile")) {
      const std::string &path = call.args.at(0);
      names.push_back(path.substr(root_.Dir().size()));
    }
    return names;
  }
};

TEST_F(PackageClientOnFake, NamesThatCouldLeaveTmpAreRefusedBeforeAnyFileIsTouched) {
  const std::set<std::string> before = TmpEntries();
  for (const std::string &bad :
       {std::string("../vigilon"), std::string("a/b"), std::string(".."), std::string(".hidden"),
        std::string(""), std::string("vigi lon"), std::string("x\n"), std::string(65, 'p')}) {
    std::string message;
    EXPECT_EQ(CodeOf([&] { PackagePkceClient client(bad); }, &message), VEXOZEPH_ERR_BAD_PARAMETER)
        << bad;
    EXPECT_NE(message.find("Invalid client name: "), std::string::npos) << message;
  }
  EXPECT_TRUE(fake::Calls().empty());
  EXPECT_EQ(TmpEntries(), before);

  // The longest name passes the check and goes on to its configuration, which needs the
  // device session's sign-in template (missing here).
  EXPECT_EQ(CodeOf([&] { PackagePkceClient client(std::string(64, 'p')); }), VEXOZEPH_ERR_BAD_JSON);
}

TEST_F(PackageClientOnFake, LocksAreTakenFromTheTokenInwardAndAllReleased) {
  PackagePkceClientImpl package("vigilon");
  // No token file: the read grants, and the grant fetches the missing configuration.
  EXPECT_EQ(CodeOf([&] { package.GetAccessToken(); }), VEXOZEPH_ERR_BAD_JSON);
  EXPECT_EQ(LocksTaken(),
            (std::vector<std::string>{"/tmp/account_vigilon_package_get_token.lock",
                                      "/tmp/account_vigilon_package_grant_by_tarn.lock",
                                      "/tmp/account_vigilon_package_retrieve_config.lock"}));
  EXPECT_EQ(fake::CallsTo("VLIBCFileUnlockByFile").size(), 3u);

  // A fresh cache of our own is used without fetching; the grant then stops at the
  // platform's PKCE pair, before any request.
  fake::Reset();
  root_.WriteFile("/tmp/account_vigilon_pkce_client.conf",
                  "{\"client_id\": \"pkg.vigilon\", \"scope\": \"openid\", \"created_at\": " +
                      std::to_string(kNow - PackagePkceClientImpl::kConfigCacheSeconds) + "}");
  fake::FailNext("vexo_challenge_verifier_no_save");
  std::string message;
  EXPECT_EQ(CodeOf([&] { package.GetAccessToken(); }, &message), VEXOZEPH_ERR_SYSTEM);
  EXPECT_NE(message.find("Failed to get code challenge & verifier"), std::string::npos);
  EXPECT_EQ(LocksTaken(),
            (std::vector<std::string>{"/tmp/account_vigilon_package_get_token.lock",
                                      "/tmp/account_vigilon_package_grant_by_tarn.lock"}));
  EXPECT_EQ(fake::CallsTo("VLIBCFileUnlockByFile").size(), 2u);
}

}  // namespace
