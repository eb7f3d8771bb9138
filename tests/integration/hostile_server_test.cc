// Every network call of the library against a server that answers badly (the hostile
// answers of tests/support): each call must fail with its clear code, leave the account
// file, the token files, the package cache and the cron jobs byte for byte as they were,
// and keep its log lines short and free of whole credentials.
#include <gtest/gtest.h>
#include <json/json.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/clock.h"
#include "integration/file_snapshots.h"
#include "integration/hostile_answers.h"
#include "internal/json_utils.h"
#include "store/user_fields.h"
#include "support/json_object.h"
#include "support/log_capture.h"
#include "support/signed_in_appliance.h"
#include "support/zeph_code.h"
#include "vexozeph/account_pkce_service.h"
#include "vexozeph/account_vigilon_service.h"
#include "vexozeph/error_codes.h"
#include "vexozeph/package_pkce_client.h"
#include "vexozeph/pkce_client.h"
#include "vexozeph/user.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_account.h"

namespace vexozeph {
namespace testing {
namespace {

const char kVigilonCache[] = "/tmp/account_vigilon_pkce_client.conf";
// A credential the answers carry: it must never reach a log line whole.
const char kCredential[] = "hostile-credential-0123456789";
// Longer than any line the library means to write; shorter than the smallest hostile body.
const size_t kLongestLogLine = 16 * 1024;

using Codes = HostileCodes;

// The form sender maps what it cannot send or read to 4; result words that are not
// JSON map to 24 (unknown). The OAuth clients say 2 for what does not parse, 5 for
// transport trouble and for missing codes, 22 for answers without a token set.
const Codes kJsonForm = {VEXOZEPH_ERR_BAD_JSON, VEXOZEPH_ERR_NO_REPLY, VEXOZEPH_ERR_NO_REPLY,
                         VEXOZEPH_ERR_SEND, VEXOZEPH_ERR_SEND};
const Codes kWordForm = {VEXOZEPH_ERR_UNKNOWN, VEXOZEPH_ERR_UNKNOWN, -1, VEXOZEPH_ERR_SEND,
                         VEXOZEPH_ERR_SEND};
const Codes kTokenSet = {VEXOZEPH_ERR_BAD_JSON, VEXOZEPH_ERR_TOKEN_STATE, VEXOZEPH_ERR_TOKEN_STATE,
                         VEXOZEPH_ERR_BAD_JSON, VEXOZEPH_ERR_NO_REPLY};
const Codes kRenewal = {VEXOZEPH_ERR_BAD_JSON, VEXOZEPH_ERR_NO_REPLY, VEXOZEPH_ERR_TOKEN_STATE,
                        VEXOZEPH_ERR_BAD_JSON, VEXOZEPH_ERR_NO_REPLY};
const Codes kGrant = {VEXOZEPH_ERR_BAD_JSON, VEXOZEPH_ERR_NO_REPLY, VEXOZEPH_ERR_NO_REPLY,
                      VEXOZEPH_ERR_BAD_JSON, VEXOZEPH_ERR_NO_REPLY};
const Codes kObject = {VEXOZEPH_ERR_BAD_JSON, VEXOZEPH_ERR_NO_REPLY, -1, VEXOZEPH_ERR_BAD_JSON,
                       VEXOZEPH_ERR_NO_REPLY};
const Codes kLogout = {VEXOZEPH_ERR_BAD_JSON, VEXOZEPH_ERR_BAD_JSON, -1, VEXOZEPH_ERR_BAD_JSON,
                       VEXOZEPH_ERR_NO_REPLY};

class HostileServer;

struct Call {
  std::string name;
  std::string path;
  std::string origin;
  Codes codes;
  // An answer the call would accept; each of its members is one the call requires.
  Json::Value good;
  // Brings the appliance to where the call goes to the network.
  std::function<void(HostileServer &)> prepare;
  // 0 on success, else the code the call failed with.
  std::function<int(HostileServer &)> run;
  // Files the call rightly replaces before it reaches the hostile answer: they must
  // still parse as a JSON object afterwards.
  std::vector<std::string> replaced_before = {};
};

int CCode(int result) {
  return result == 0 ? 0 : static_cast<int>(VEXOZEPHErrGet());
}

int ClassCode(const std::function<void()> &body) {
  const int code = CodeOf(body);
  return code == -1 ? 0 : code;
}

class HostileServer : public SignedInAppliance {
 protected:
  HostileServer() { cloud_options_.payment_at_built_in_port = true; }

  void SetUp() override {
    SignedInAppliance::SetUp();
    // The monitoring package's token and cached configuration, fetched for real once.
    ASSERT_FALSE(AccountVigilonService()
                     .Grant("vigilon-cloud", "monitor", "https://m.example/cb", "1")
                     .empty());
    baseline_ = watched_.Take();
    ASSERT_TRUE(baseline_[kAccountFile].has_value());
    ASSERT_TRUE(baseline_[kVigilonCache].has_value());
  }

  // Puts back what a row's preparation changed.
  void RestoreBaseline() {
    watched_.Restore(baseline_);
    clock::SetForTesting(kSignedInAt);
  }

  void Remove(const std::string &absolute) { ::unlink(root_.Path(absolute).c_str()); }

  std::vector<Call> Calls();

  const FileSnapshots watched_{
      root_,
      {kAccountFile, kSessionTokenFile, kPackageTokenFile, kVigilonCache, kCronJobs, kCronFile}};
  FileSnapshots::Contents baseline_;
};

// The device session's own client, configured as the account service configures it.
std::unique_ptr<PkceClient> SessionClient() {
  std::unique_ptr<PkceClient> client(new PkceClient("tarn"));
  client->SetPkceConfig(AccountPkceService().GetLoginPkceConfig());
  return client;
}

std::vector<Call> HostileServer::Calls() {
  const Json::Value word_good = Json::Value("good");
  Json::Value profile = JsonObject({{"code", "good"}});
#define VEXOZEPH_GOOD_TEXT(member, Name) profile[#member] = "text";
  VEXOZEPH_PROFILE_TEXT_FIELDS(VEXOZEPH_GOOD_TEXT)
#undef VEXOZEPH_GOOD_TEXT
#define VEXOZEPH_GOOD_FLAG(member, Name) profile[#member] = true;
  VEXOZEPH_PROFILE_FLAG_FIELDS(VEXOZEPH_GOOD_FLAG)
#undef VEXOZEPH_GOOD_FLAG
  profile["critical_version_list"] = JsonObject({{"7.2", true}});
  const Json::Value identity =
      JsonObject({{"code", "good"}, {"id", "4711"}, {"auth_key", kCredential}});
  const Json::Value tokens = JsonObject({{"access_token", kCredential},
                                         {"id_token", kCredential},
                                         {"refresh_token", kCredential},
                                         {"expires_in", 3600}});
  const Json::Value grant = JsonObject({{"grant_code", kCredential}});
  Json::Value purchases;
  json::Parse(R"({"code": "good", "purchases": [{"order_id": "o", "item_id": "i", "name": "n",
      "amount": "1.00", "currency": "USD", "purchased_at": 1, "status": "paid"}]})",
              purchases);
  const auto nothing = [](HostileServer &) {};
  return {
      {"password login", kLoginPath, "account", kJsonForm, identity, nothing,
       [](HostileServer &) {
         Json::Value response;
         return CCode(
             VEXOZEPHAccountLogin("pat@example.com", "pw-pat@example.com", response, false));
       }},
      {"token login", kLaunchPath, "account", kJsonForm, identity, nothing,
       [](HostileServer &) {
         Json::Value response;
         return CCode(VEXOZEPHAccountOauthLogin(response, "management-token"));
       }},
      {"account query", kQueryPath, "account", kJsonForm, profile,
       [](HostileServer &) { User().SetLastQueryTime(0); },
       [](HostileServer &) {
         Json::Value result;
         return CCode(VEXOZEPHAccountQueryInfo(result, true, true));
       }},
      {"device report", "device/api/report", "account", kJsonForm, JsonObject({{"code", "good"}}),
       nothing, [](HostileServer &) { return CCode(VEXOZEPHReportInfo()); }},
      {"registration", "device/api/user/register", "account", kWordForm, word_good, nothing,
       [](HostileServer &) {
         return CCode(
             VEXOZEPHAccountRegister("new@example.com", "pw", "New", false, false, false, nullptr));
       }},
      {"account update", "device/api/user/update", "account", kWordForm, word_good, nothing,
       [](HostileServer &) {
         return CCode(VEXOZEPHAccountSetInfo("New Name", nullptr, nullptr, nullptr, nullptr,
                                             nullptr, nullptr, -1, -1, -1, nullptr));
       }},
      {"code exchange", "/oauth2/token", "identity", kTokenSet, tokens, nothing,
       [](HostileServer &) {
         return ClassCode([] { SessionClient()->ExchangeToken("code", "verifier", "https://r/"); });
       }},
      {"token renewal", "/oauth2/token", "identity", kRenewal, tokens,
       [](HostileServer &) { clock::SetForTesting(kSignedInAt + 30 * 86400); },
       [](HostileServer &) { return ClassCode([] { SessionClient()->GetAccessToken(); }); }},
      {"auth-key exchange",
       "/oauth2/api/v1/device/core/authkey/exchange",
       "account",
       kTokenSet,
       JsonObject({{"user_id", "4711"}, {"auth_key", kCredential}}),
       nothing,
       [](HostileServer &self) {
         return ClassCode([&self] {
           const AccountPkceService service;
           service.Login(
               SignInWithBrowser(*self.cloud_, service.GetLoginPkceConfig(), self.owner_));
         });
       },
       {kSessionTokenFile}},
      {"grant by auth key", "/migration/api/v1/device/core/authorization_code/grant", "account",
       kGrant, grant, [](HostileServer &self) { self.Remove(kSessionTokenFile); },
       [](HostileServer &) { return ClassCode([] { AccountPkceService().GetAccessToken(); }); }},
      {"sign-out", "/device/api/logout", "account", kLogout, JsonObject({{"code", "good"}}),
       nothing, [](HostileServer &) { return ClassCode([] { AccountPkceService().Logout(); }); }},
      {"package configuration", "/oauth2/api/v1/device/package/config/pkce/client", "account",
       kObject, JsonObject({{"client_id", "vigilon"}, {"scope", "openid"}}),
       [](HostileServer &self) { self.Remove(kVigilonCache); },
       [](HostileServer &) { return ClassCode([] { PackagePkceClient("vigilon"); }); }},
      {"package grant", "/oauth2/api/v1/device/package/authorization_code/grant", "account", kGrant,
       grant, [](HostileServer &self) { self.Remove(kPackageTokenFile); },
       [](HostileServer &) {
         return ClassCode([] { PackagePkceClient("vigilon").GetAccessToken(); });
       }},
      {"purchase list", "/api/v1/device/purchase/list", "payment", kJsonForm, purchases, nothing,
       [](HostileServer &) {
         Json::Value result;
         return CCode(VEXOZEPHAccountPurchaseList(result));
       }},
      {"store page", "/api/v1/device/store/ticket", "payment", kJsonForm,
       JsonObject({{"code", "good"}, {"ticket", kCredential}, {"expires_in", 120}}), nothing,
       [](HostileServer &) {
         Json::Value page;
         return CCode(VEXOZEPHGetIframeInfo(page));
       }},
      {"monitoring grant", "/oauth2/api/v1/device/vigilon/authorization_code/grant", "account",
       kGrant, grant, nothing,
       [](HostileServer &) {
         return ClassCode([] {
           AccountVigilonService().Grant("vigilon-cloud", "monitor", "https://m.example/cb", "1");
         });
       }},
  };
}

TEST_F(HostileServer, EveryCallRefusesEveryBadAnswerWithItsCodeAndWritesNothing) {
  int tried = 0;
  for (const Call &call : Calls()) {
    if (call.origin == "payment" && !cloud_->PaymentAtBuiltInPort()) {
      std::printf("skipped %s: %s\n", call.name.c_str(), cloud_->WhyNoPaymentHost().c_str());
      continue;
    }
    for (const HostileAnswer &answer :
         HostileAnswers(call.origin, call.path, call.good, call.codes)) {
      SCOPED_TRACE(call.name + ", " + answer.what);
      call.prepare(*this);
      const FileSnapshots::Contents before = watched_.Take();
      cloud_->QueueFault(answer.fault);
      LogCapture log;
      EXPECT_EQ(call.run(*this), answer.code);
      cloud_->ClearFaults();
      ++tried;

      const FileSnapshots::Contents after = watched_.Take();
      for (const auto &file : before) {
        const std::string &path = file.first;
        const bool replaced = std::find(call.replaced_before.begin(), call.replaced_before.end(),
                                        path) != call.replaced_before.end();
        if (!replaced) {
          EXPECT_EQ(after.at(path), file.second) << path;
          continue;
        }
        Json::Value file_json;
        EXPECT_TRUE(json::FromFile(root_.Path(path), file_json) && file_json.isObject()) << path;
      }
      for (const std::string &line : log.Lines()) {
        EXPECT_LE(line.size(), kLongestLogLine) << line.substr(0, 200);
        EXPECT_EQ(line.find(kCredential), std::string::npos) << line.substr(0, 200);
      }
      RestoreBaseline();
    }
  }
  std::printf("hostile answers tried: %d\n", tried);
}

}  // namespace
}  // namespace testing
}  // namespace vexozeph
