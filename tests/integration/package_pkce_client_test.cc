// A package's tokens borrowed from the device session, against the cloud emulator: the
// configuration cache and its 30-hour edge, caches planted in /tmp, the grant with its
// request shapes, the one rescue after a refused renewal, and several processes asking
// for the same package's token at once.
#include <gtest/gtest.h>
#include <json/json.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "base/clock.h"
#include "internal/json_utils.h"
#include "support/byte_channel.h"
#include "support/child_process.h"
#include "support/cloud_steps.h"
#include "support/json_object.h"
#include "support/log_capture.h"
#include "support/signed_in_appliance.h"
#include "support/umask_scope.h"
#include "support/zeph_code.h"
#include "vexozeph/error_codes.h"
#include "vexozeph/package_pkce_client.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {
namespace testing {
namespace {

using Keys = std::vector<std::string>;

const int64_t kCacheSeconds = 108000;
const char kCache[] = "/tmp/account_vigilon_pkce_client.conf";
const char kConfigPath[] = "/oauth2/api/v1/device/package/config/pkce/client";
const char kGrantPath[] = "/oauth2/api/v1/device/package/authorization_code/grant";

using vexozeph::testing::CodeOf;

class PackageClientAgainstCloud : public SignedInAppliance {
 protected:
  std::vector<LoggedRequest> ConfigRequests() { return Requests(kConfigPath); }
  std::vector<LoggedRequest> Grants() { return Requests(kGrantPath); }
  std::vector<LoggedRequest> PackageTokenRequests(const std::string &grant_type) {
    return TokenRequests(*cloud_, grant_type, "pkg.vigilon");
  }

  // A cache as the account host would have left it, but naming another client: if the
  // library used it, the grant would go out for "pkg.planted".
  std::string PlantedCache() const {
    Json::Value cache;
    cache["client_id"] = "pkg.planted";
    cache["scope"] = "openid";
    cache["login_redirect_path"] = "/elsewhere";
    cache["created_at"] = Json::Int64(clock::Now());
    return json::ToCompactString(cache);
  }

  struct stat Lstat(const std::string &absolute) const {
    struct stat info = {};
    EXPECT_EQ(::lstat(root_.Path(absolute).c_str(), &info), 0) << absolute;
    return info;
  }
};

TEST_F(PackageClientAgainstCloud, APackageIsGrantedItsOwnTokensOnTheSessionsBearer) {
  const std::string session_token = SessionToken();
  PackagePkceClient package("vigilon");

  // The configuration, fetched with the session's token and cached with the time.
  std::vector<LoggedRequest> configs = ConfigRequests();
  ASSERT_EQ(configs.size(), 1u);
  EXPECT_EQ(configs[0].method, "GET");
  EXPECT_EQ(configs[0].query, (NamedPairs{{"package_name", "vigilon"}}));
  EXPECT_EQ(configs[0].Header("Authorization"), "Bearer " + session_token);
  const Json::Value cache = JsonFile(kCache);
  EXPECT_EQ(cache["created_at"].asInt64(), kSignedInAt);
  EXPECT_EQ(json::StringOr(cache, "client_id"), "pkg.vigilon");
  EXPECT_EQ(json::StringOr(cache, "login_redirect_path"), "/device/oauth/package/callback");
  EXPECT_EQ(Lstat(kCache).st_mode & 07777, 0644u);
  EXPECT_FALSE(root_.Exists(kPackageTokenFile));

  // The first read grants: the form in order, the scope cut into its pieces.
  const std::string token = package.GetAccessToken();
  std::vector<LoggedRequest> grants = Grants();
  ASSERT_EQ(grants.size(), 1u);
  const std::string redirect = cloud_->AccountOrigin() + "/device/oauth/package/callback";
  EXPECT_TRUE(SentAs(
      grants[0], kGrantPath,
      {"client_id", "pkg.vigilon", "redirect_url", redirect, "state", std::to_string(kSignedInAt),
       "code_challenge", kAnyValue, "scopes[]", "openid", "scopes[]", "offline_access", "scopes[]",
       "package:vigilon", "scopes[]", std::string("device_sn:") + kSerial}));
  EXPECT_EQ(grants[0].FormValue("code_challenge").size(), 43u);
  EXPECT_EQ(grants[0].Header("X-Client-ID"), "pkg.vigilon");
  EXPECT_EQ(grants[0].Header("Authorization"), "Bearer " + session_token);
  const std::vector<LoggedRequest> exchanges = PackageTokenRequests("authorization_code");
  ASSERT_EQ(exchanges.size(), 1u);
  EXPECT_EQ(exchanges[0].FormValue("redirect_uri"), redirect);

  const Json::Value tokens = JsonFile(kPackageTokenFile);
  EXPECT_EQ(token, json::StringOr(tokens, "access_token"));
  EXPECT_NE(token, session_token);
  EXPECT_EQ(package.GetIdToken(), json::StringOr(tokens, "id_token"));
  EXPECT_EQ(PackagePkceClient("vigilon").GetAccessToken(), token);
  EXPECT_EQ(Grants().size(), 1u);
  EXPECT_EQ(ConfigRequests().size(), 1u);

  // A forced renewal is one more grant and exchange, whatever the token's age.
  package.ForceRenewToken();
  EXPECT_EQ(Grants().size(), 2u);
  EXPECT_EQ(PackageTokenRequests("authorization_code").size(), 2u);
  EXPECT_NE(package.GetAccessToken(), token);
}

TEST_F(PackageClientAgainstCloud, TheCachedConfigurationServes108000SecondsAndIsFetchedOneLater) {
  PackagePkceClient first("vigilon");
  ASSERT_EQ(ConfigRequests().size(), 1u);

  clock::SetForTesting(kSignedInAt + kCacheSeconds);
  PackagePkceClient at_edge("vigilon");
  EXPECT_EQ(ConfigRequests().size(), 1u);
  EXPECT_EQ(JsonFile(kCache)["created_at"].asInt64(), kSignedInAt);

  clock::SetForTesting(kSignedInAt + kCacheSeconds + 1);
  PackagePkceClient past_edge("vigilon");
  EXPECT_EQ(ConfigRequests().size(), 2u);
  EXPECT_EQ(JsonFile(kCache)["created_at"].asInt64(), kSignedInAt + kCacheSeconds + 1);

  // A cache that is not a JSON object, or whose time is not a number, is merely stale.
  for (const std::string &broken :
       {std::string("not json"), std::string("[1, 2]"), std::string("{\"created_at\":\"now\"}")}) {
    root_.WriteFile(kCache, broken);
    ASSERT_EQ(::chmod(root_.Path(kCache).c_str(), 0644), 0);
    cloud_->ClearRequests();
    PackagePkceClient again("vigilon");
    EXPECT_EQ(ConfigRequests().size(), 1u) << broken;
    EXPECT_EQ(json::StringOr(JsonFile(kCache), "client_id"), "pkg.vigilon") << broken;
  }

  // A fresh, trusted cache is used as it stands, without asking.
  root_.WriteFile(kCache, PlantedCache());
  ASSERT_EQ(::chmod(root_.Path(kCache).c_str(), 0600), 0);
  cloud_->ClearRequests();
  PackagePkceClient trusted("vigilon");
  EXPECT_TRUE(ConfigRequests().empty());
}

TEST_F(PackageClientAgainstCloud, APlantedCacheIsNotTrustedAndNotWrittenThrough) {
  const std::string target = "/tmp/planted-target.conf";
  const std::string planted = PlantedCache();
  root_.WriteFile(target, planted);
  ASSERT_EQ(::chmod(root_.Path(target).c_str(), 0644), 0);
  const struct stat target_before = Lstat(target);
  // The planting user's own file, which a write through the link would hand to us.
  const std::string their_target = "/tmp/planted-by-other.conf";
  root_.WriteFile(their_target, planted);
  const bool other_user = ::chown(root_.Path(their_target).c_str(), 65534, 65534) == 0;
  ASSERT_EQ(::chmod(root_.Path(their_target).c_str(), 0600), 0);
  const struct stat their_target_before = Lstat(their_target);

  struct Plant {
    std::string what;
    std::function<bool()> make;  // false: cannot be made by this user (skipped)
  };
  const std::string cache = root_.Path(kCache);
  const std::vector<Plant> plants = {
      {"a link to a well-formed cache",
       [&] { return ::symlink(root_.Path(target).c_str(), cache.c_str()) == 0; }},
      {"another user's link to their own file",
       [&] {
         return other_user && ::symlink(root_.Path(their_target).c_str(), cache.c_str()) == 0 &&
                ::lchown(cache.c_str(), 65534, 65534) == 0;
       }},
      {"another user's file",
       [&] {
         root_.WriteFile(kCache, planted);
         return ::chmod(cache.c_str(), 0644) == 0 && ::chown(cache.c_str(), 65534, 65534) == 0;
       }},
      {"a group-writable file",
       [&] {
         root_.WriteFile(kCache, planted);
         return ::chmod(cache.c_str(), 0664) == 0;
       }},
      {"a file anyone may write",
       [&] {
         root_.WriteFile(kCache, planted);
         return ::chmod(cache.c_str(), 0646) == 0;
       }},
      // Opening a FIFO for reading would wait for a writer for ever.
      {"a FIFO", [&] { return ::mkfifo(cache.c_str(), 0644) == 0; }},
  };
  // The cache keeps its mode whatever the umask of the process that writes it.
  std::unique_ptr<UmaskScope> open_mask(new UmaskScope(0));
  for (const Plant &plant : plants) {
    ::unlink(cache.c_str());
    if (!plant.make()) {
      // Only root can give a file away; any other failure is the test's own.
      EXPECT_NE(::geteuid(), 0u) << "cannot plant " << plant.what;
      continue;
    }
    cloud_->ClearRequests();
    PackagePkceClient package("vigilon");
    package.ForceRenewToken();

    EXPECT_EQ(ConfigRequests().size(), 1u) << plant.what;
    const std::vector<LoggedRequest> grants = Grants();
    ASSERT_EQ(grants.size(), 1u) << plant.what;
    EXPECT_EQ(grants[0].FormValue("client_id"), "pkg.vigilon") << plant.what;
    // Replaced by a file of our own, not written through.
    const struct stat now = Lstat(kCache);
    EXPECT_TRUE(S_ISREG(now.st_mode)) << plant.what;
    EXPECT_EQ(now.st_uid, ::geteuid()) << plant.what;
    EXPECT_EQ(now.st_mode & 07777, 0644u) << plant.what;
    EXPECT_EQ(json::StringOr(JsonFile(kCache), "client_id"), "pkg.vigilon") << plant.what;
  }
  open_mask.reset();
  for (const auto &kept :
       {std::make_pair(target, target_before), std::make_pair(their_target, their_target_before)}) {
    const struct stat after = Lstat(kept.first);
    EXPECT_EQ(root_.ReadFile(kept.first), planted) << kept.first;
    EXPECT_EQ(after.st_mode, kept.second.st_mode) << kept.first;
    EXPECT_EQ(after.st_uid, kept.second.st_uid) << kept.first;
    EXPECT_EQ(after.st_ino, kept.second.st_ino) << kept.first;
  }
}

TEST_F(PackageClientAgainstCloud, ARefreshRefusedWithCode14LeadsToOneNewGrantAndOneRetry) {
  PackagePkceClient package("vigilon");
  const std::string first = package.GetAccessToken();
  const Json::Value tokens = JsonFile(kPackageTokenFile);

  // A renewal that fails otherwise (an error page, code 2) is thrown without a grant.
  LapseToken(root_, kPackageTokenFile);
  ForceAnswer(*cloud_, "identity", "/oauth2/token", 502, "<html>bad gateway</html>", "text/plain");
  cloud_->ClearRequests();
  EXPECT_EQ(CodeOf([&] { package.GetAccessToken(); }), VEXOZEPH_ERR_BAD_JSON);
  EXPECT_TRUE(Grants().empty());

  // The refresh token revoked at the server: one refused renewal, one grant, one exchange.
  ASSERT_EQ(cloud_->RevokeRefreshToken(json::StringOr(tokens, "refresh_token")), 1);
  cloud_->ClearRequests();
  LogCapture log;
  const std::string rescued = package.GetAccessToken();
  EXPECT_NE(rescued, first);
  EXPECT_EQ(rescued, json::StringOr(JsonFile(kPackageTokenFile), "access_token"));
  EXPECT_EQ(log.Count("package_pkce_client:"), 1u);
  EXPECT_EQ(log.Count("Rescue package[vigilon] renew pkce token by tarn token"), 1u);
  EXPECT_EQ(PackageTokenRequests("refresh_token").size(), 1u);
  EXPECT_EQ(Grants().size(), 1u);
  EXPECT_EQ(PackageTokenRequests("authorization_code").size(), 1u);

  // When the new grant fails too, that failure is thrown: no second rescue, no loop.
  const Json::Value renewed = JsonFile(kPackageTokenFile);
  ASSERT_EQ(cloud_->RevokeRefreshToken(json::StringOr(renewed, "refresh_token")), 1);
  LapseToken(root_, kPackageTokenFile);
  ForceAnswer(*cloud_, "account", kGrantPath, 500, "{\"error\":\"server_error\"}");
  cloud_->ClearRequests();
  std::string message;
  EXPECT_EQ(CodeOf([&] { package.GetAccessToken(); }, &message), VEXOZEPH_ERR_NO_REPLY);
  EXPECT_NE(message.find("Failed to grant pacakge[vigilon], code=500"), std::string::npos)
      << message;
  EXPECT_EQ(Grants().size(), 1u);
  EXPECT_EQ(PackageTokenRequests("refresh_token").size(), 1u);
}

TEST_F(PackageClientAgainstCloud, ProcessesAskingForTheSameTokenAtOnceGrantAndExchangeOnce) {
  // Slow answers keep every process inside the window in which the others look.
  for (const char *path : {kConfigPath, kGrantPath}) {
    Fault slow;
    slow.path = path;
    slow.origin = "account";
    slow.count = 8;
    slow.delay_ms = 300;
    cloud_->QueueFault(slow);
  }

  // Each process builds its client (fetching the configuration) when the first byte
  // arrives and asks for the token when the second does, all of them at once.
  const int kProcesses = 4;
  ByteChannel go;
  ByteChannel ready;
  std::vector<pid_t> children;
  for (int i = 0; i < kProcesses; ++i) {
    const std::string result = root_.Path("/tmp/package-token-" + std::to_string(i));
    children.push_back(StartChild([&go, &ready, result] {
      std::ofstream out(result);
      try {
        if (go.Receive(1).empty()) return 2;
        PackagePkceClient package("vigilon");
        if (!ready.Send("r") || go.Receive(1).empty()) return 2;
        out << package.GetAccessToken();
        return 0;
      } catch (const ZephException &e) {
        out << e.what();
        ready.Send("f");
        return 1;
      }
    }));
    ASSERT_GT(children.back(), 0);
  }
  ready.CloseWriting();
  const std::string start(kProcesses, 'g');
  ASSERT_TRUE(go.Send(start));
  EXPECT_EQ(ready.Receive(kProcesses), std::string(kProcesses, 'r'));
  // Those that waited for the configuration took the one just fetched.
  EXPECT_EQ(ConfigRequests().size(), 1u);
  ASSERT_TRUE(go.Send(start));

  std::set<std::string> tokens;
  for (int i = 0; i < kProcesses; ++i) {
    const int exit_code = WaitChild(children[i]);
    const std::string got = root_.ReadFile("/tmp/package-token-" + std::to_string(i));
    EXPECT_EQ(exit_code, 0) << got;
    tokens.insert(got);
  }
  EXPECT_EQ(tokens.size(), 1u);
  EXPECT_EQ(*tokens.begin(), json::StringOr(JsonFile(kPackageTokenFile), "access_token"));
  EXPECT_EQ(Grants().size(), 1u);
  EXPECT_EQ(PackageTokenRequests("authorization_code").size(), 1u);
}

// Bodies that are no JSON object, or lack a member or hold an array in its place, are the
// hostile server's table.
TEST_F(PackageClientAgainstCloud, RefusalsLeaveNoCacheAndNoTokensAndAnEmptyScopeIsOneField) {
  struct Case {
    std::string path;
    int status;
    std::string body;
    int code;
    std::string message;
  };
  const std::vector<Case> cases = {
      {kConfigPath, 404, "{\"error\":\"package_not_found\"}", VEXOZEPH_ERR_NO_REPLY,
       "Failed to retrieve pacakge[vigilon] pkce config, code=404"},
      {kGrantPath, 403, "{\"error\":\"insufficient_scope\"}", VEXOZEPH_ERR_NO_REPLY,
       "Failed to grant pacakge[vigilon], code=403"},
      // A number a lenient reader would turn into the text "7".
      {kGrantPath, 200, "{\"grant_code\":7}", VEXOZEPH_ERR_NO_REPLY,
       "Failed to parse grant pacakge[vigilon] resp"},
  };
  for (const Case &c : cases) {
    ::unlink(root_.Path(kCache).c_str());
    ForceAnswer(*cloud_, "account", c.path, c.status, c.body);
    std::string message;
    EXPECT_EQ(CodeOf([&] { PackagePkceClient("vigilon").GetAccessToken(); }, &message), c.code)
        << c.body;
    EXPECT_NE(message.find(c.message), std::string::npos) << message;
    EXPECT_EQ(root_.Exists(kCache), c.path == kGrantPath) << c.body;
    EXPECT_FALSE(root_.Exists(kPackageTokenFile)) << c.body;
  }

  // A package the account host does not know, and one whose scope is empty: that sends
  // one empty "scopes[]" field.
  EXPECT_EQ(CodeOf([&] { PackagePkceClient("unknown.pkg"); }), VEXOZEPH_ERR_NO_REPLY);
  EXPECT_FALSE(root_.Exists("/tmp/account_unknown.pkg_pkce_client.conf"));
  cloud_->Admin("POST", "/admin/packages", JsonObject({{"package_name", "notes"}, {"scope", ""}}));
  cloud_->ClearRequests();
  EXPECT_FALSE(PackagePkceClient("notes").GetAccessToken().empty());
  const std::vector<LoggedRequest> grants = Grants();
  ASSERT_EQ(grants.size(), 1u);
  EXPECT_EQ(grants[0].FormKeys(),
            (Keys{"client_id", "redirect_url", "state", "code_challenge", "scopes[]"}));
  EXPECT_EQ(grants[0].FormValue("scopes[]"), "");
}

}  // namespace
}  // namespace testing
}  // namespace vexozeph
