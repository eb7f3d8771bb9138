// The account query against the cloud emulator: when it asks, what it stores, how a
// refused key signs the appliance out, and that nothing a server sends can leave a
// half-written profile.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "internal/json_utils.h"
#include "support/account_appliance.h"
#include "support/byte_channel.h"
#include "support/child_process.h"
#include "support/cloud_steps.h"
#include "support/json_object.h"
#include "vexozeph/user.h"

namespace vexozeph {
namespace testing {
namespace {

const int64_t kT0 = 1700000000;

class AccountQuery : public AccountAppliance {
 protected:
  void SetUp() override {
    AccountAppliance::SetUp();
    NewAccount wanted;
    wanted.full_name = "Quinn Query";
    wanted.critical_version_list["c"] = true;
    wanted.critical_version_list["a"] = true;
    wanted.critical_version_list["b"] = false;
    wanted.realname_validation_pass = Json::Value();  // left out of the answers
    wanted.report_cron_timestring = "5 3 * * *";
    quinn_ = MakeAccount("quinn@example.com", wanted);
    SignIn(quinn_);
    cloud_->ClearRequests();
  }

  // Queries with a stored last query time of `stored` while the clock says `now`; true
  // when the server was asked.
  bool Asks(int64_t stored, int64_t now, bool fresh) {
    User().SetLastQueryTime(stored);
    clock::SetForTesting(now);
    cloud_->ClearRequests();
    Json::Value result;
    EXPECT_EQ(VEXOZEPHAccountQueryInfo(result, fresh, true), 0) << VEXOZEPHErrGet();
    EXPECT_EQ(json::StringOr(result, "email"), quinn_.email);
    return Requests(kQueryPath).size() == 1;
  }

  // A complete, well-typed answer; cases break one member at a time.
  static Json::Value GoodAnswer() {
    Json::Value answer(Json::objectValue);
    answer["email"] = "other@example.com";
    answer["full_name"] = "Someone Else";
    answer["country"] = "FR";
    answer["timezone"] = "Europe/Paris";
    answer["notify_language"] = "fre";
    for (const char *flag :
         {"activated", "disabled", "enews", "critical_release", "enews_local_promotion"}) {
      answer[flag] = true;
    }
    answer["critical_version_list"]["x"] = true;
    answer["report_cron_timestring"] = "1 1 * * *";
    return answer;
  }

  Account quinn_;
};

TEST_F(AccountQuery, CacheLifetimesCountTheDistanceInEitherDirection) {
  EXPECT_FALSE(Asks(kT0, kT0 + 299, true));
  EXPECT_TRUE(Asks(kT0, kT0 + 300, true));
  EXPECT_FALSE(Asks(kT0, kT0 + 86399, false));
  EXPECT_TRUE(Asks(kT0, kT0 + 86400, false));
  // A stored time ahead of the clock is as recent as its distance.
  EXPECT_FALSE(Asks(kT0 + 100, kT0, true));
  EXPECT_TRUE(Asks(kT0 + 300, kT0, true));
  // Absurd stored times are simply stale.
  EXPECT_TRUE(Asks(std::numeric_limits<int64_t>::min(), kT0, false));
  EXPECT_TRUE(Asks(std::numeric_limits<int64_t>::max(), kT0, false));
  // Exactly 2^63 away: a wrapped signed difference would have no absolute value.
  EXPECT_TRUE(Asks(std::numeric_limits<int64_t>::min() + kT0, kT0, false));
  // A server answer restarts the cache at the clock's time.
  EXPECT_EQ(User().GetLastQueryTime(), kT0);
}

// The answer after a store is the profile just stored, not what the file held when the
// call began and decided to ask.
TEST_F(AccountQuery, StoresTheAnswerSplitsTheCriticalVersionsAndAnswersWithWhatItStored) {
  User user;
  user.SetName("Stale Name");
  user.SetCountry("XX");
  user.SetIsEnews(true);
  user.SetLastQueryTime(0);
  user.SetIsRealnameValidationPass(true);
  Json::Value result;
  ASSERT_EQ(VEXOZEPHAccountQueryInfo(result, true, true), 0);

  EXPECT_EQ(user.GetName(), "Quinn Query");
  // Names in the object's key order; only versions marked true apply.
  EXPECT_EQ(user.GetCriticalVersionList(), "a,c");
  EXPECT_EQ(user.GetCriticalVersionDomain(), "a,b,c");
  // Left out by the server means not validated, unlike a record that never stored it.
  EXPECT_FALSE(user.GetIsRealnameValidationPass());
  EXPECT_EQ(user.GetReportCronTimestring(), "5 3 * * *");

  // The answer is read back from the file, flags as booleans.
  EXPECT_EQ(result.getMemberNames(),
            (std::vector<std::string>{"activated", "auth_key", "country", "critical_release",
                                      "disabled", "email", "enews", "enews_local_promotion",
                                      "full_name", "notify_language", "timezone"}));
  EXPECT_EQ(json::StringOr(result, "full_name"), "Quinn Query");
  EXPECT_NE(user.GetCountry(), "XX");
  EXPECT_EQ(json::StringOr(result, "country"), user.GetCountry());
  EXPECT_EQ(json::StringOr(result, "auth_key"), user.GetAuthKey());
  EXPECT_FALSE(json::Member(result, "enews").asBool());
  EXPECT_TRUE(json::Member(result, "activated").isBool());

  // A server that stops sending a schedule leaves the stored one as it was.
  cloud_->UpdateAccount(quinn_.id, JsonObject({{"report_cron_timestring", ""}}));
  user.SetLastQueryTime(0);
  ASSERT_EQ(VEXOZEPHAccountQueryInfo(result, true, true), 0);
  ASSERT_EQ(Requests(kQueryPath).size(), 2u);
  EXPECT_EQ(user.GetReportCronTimestring(), "5 3 * * *");
}

TEST_F(AccountQuery, ExactlyBadauthSignsTheApplianceOutEvenWhenTheAnswerIsIncomplete) {
  // A word that merely begins with "badauth" is an incomplete answer, nothing more.
  User().SetLastQueryTime(0);
  cloud_->SetAnswer(kQueryPath, "badauth_or_so", 1);
  Json::Value result;
  EXPECT_EQ(VEXOZEPHAccountQueryInfo(result, true, true), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_NO_REPLY);
  ASSERT_TRUE(HasAccountFile());

  cloud_->SetAnswer(kQueryPath, "badauth", 1);
  EXPECT_EQ(VEXOZEPHAccountQueryInfo(result, true, true), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_NO_ACCOUNT);
  EXPECT_FALSE(HasAccountFile());

  // Signed out: later calls fail locally without asking anyone.
  cloud_->ClearRequests();
  EXPECT_EQ(VEXOZEPHAccountQueryInfo(result, false, true), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_NO_ACCOUNT);
  EXPECT_TRUE(Requests(kQueryPath).empty());
}

TEST_F(AccountQuery, IncompleteOrHostileAnswersLeaveTheProfileUntouched) {
  // Each case breaks one member of a "good" answer. A member missing, an array or an object
  // in its place, and bodies that are no JSON object, are the hostile server's table; a
  // scalar of another type is what a lenient reader would convert.
  std::vector<std::pair<const char *, Json::Value>> cases;
  auto add = [&](const char *what, const char *key, const Json::Value &value) {
    Json::Value answer = GoodAnswer();
    answer[key] = value;
    cases.push_back({what, answer});
  };
  add("flag as text", "activated", "yes");
  add("name as number", "full_name", 42);
  add("version flag as text", "critical_version_list", JsonObject({{"a", true}, {"z", "yes"}}));
  add("e-mail forging a line", "email", "evil@example.com\"\nbx_auth_key=\"stolen");
  add("flag beyond 64 bits", "disabled", 1e30);
  // Values the account file could not give back whole are refused before the first write.
  Json::Value many_versions(Json::objectValue);
  for (int i = 0; i < 300; ++i) many_versions["version-" + std::to_string(i)] = false;
  add("5 MiB full name", "full_name", std::string(5 * 1024 * 1024, 'n'));
  add("2048-character e-mail", "email", std::string(2048, 'e'));
  add("NUL in the country", "country", std::string("F\0R", 3));
  add("more versions than the domain text holds", "critical_version_list", many_versions);

  for (const auto &c : cases) {
    SCOPED_TRACE(c.first);
    User().SetLastQueryTime(0);
    const std::string before = AccountFile();
    cloud_->SetAnswer(kQueryPath, "good", 1, c.second);
    Json::Value result;
    EXPECT_EQ(VEXOZEPHAccountQueryInfo(result, true, true), -1);
    EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_NO_REPLY);
    EXPECT_EQ(AccountFile(), before);
  }

  // A complete answer refusing the query is not stored either.
  User().SetLastQueryTime(0);
  const std::string before = AccountFile();
  cloud_->SetAnswer(kQueryPath, "badparam", 1, GoodAnswer());
  Json::Value result;
  EXPECT_EQ(VEXOZEPHAccountQueryInfo(result, true, true), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), VEXOZEPH_ERR_BAD_PARAMETER);
  EXPECT_EQ(AccountFile(), before);
}

TEST_F(AccountQuery, TheLongestValuesThatReadBackWholeAreStored) {
  // Values the file gives back whole are taken, and an optional schedule too long to
  // keep counts as not sent.
  User().SetLastQueryTime(0);
  const std::string schedule = User().GetReportCronTimestring();
  Json::Value answer = GoodAnswer();
  answer["full_name"] = std::string(2047, 'n');
  answer["report_cron_timestring"] = std::string(2048, '*');
  cloud_->SetAnswer(kQueryPath, "good", 1, answer);
  Json::Value result;
  ASSERT_EQ(VEXOZEPHAccountQueryInfo(result, true, true), 0) << VEXOZEPHErrGet();
  EXPECT_EQ(json::StringOr(result, "full_name"), std::string(2047, 'n'));
  EXPECT_EQ(User().GetReportCronTimestring(), schedule);
  EXPECT_EQ(User().GetEmail(), "other@example.com");
}

TEST_F(AccountQuery, TwoProcessesQueryingAtOnceMakeOneRequest) {
  User().SetLastQueryTime(0);
  // Hold the first answer back so that the second process arrives while it is pending.
  Fault slow;
  slow.path = kQueryPath;
  slow.delay_ms = 500;
  slow.count = 2;
  cloud_->QueueFault(slow);
  cloud_->ClearRequests();

  ByteChannel start;
  auto child = [&start] {
    if (start.Receive(1).empty()) return 10;
    Json::Value result;
    if (VEXOZEPHAccountQueryInfo(result, true, true) != 0) return 20 + VEXOZEPHErrGet();
    return json::StringOr(result, "email") == "quinn@example.com" ? 0 : 11;
  };
  const pid_t first = StartChild(child);
  const pid_t second = StartChild(child);
  ASSERT_TRUE(start.Send("gg"));
  EXPECT_EQ(WaitChild(first), 0);
  EXPECT_EQ(WaitChild(second), 0);
  EXPECT_EQ(Requests(kQueryPath).size(), 1u);
}

}  // namespace
}  // namespace testing
}  // namespace vexozeph
