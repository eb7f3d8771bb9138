// The C account record: the whole record is one write of the account file, in the
// record's key order, every field comes back from its own key, and a record that cannot be
// stored whole leaves the file as it was.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "support/log_capture.h"
#include "support/fake_appliance.h"
#include "vexozeph/user.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_account.h"

namespace {

namespace fake = vexozeph::fake;
using vexozeph::testing::kAccountFile;
using vexozeph::testing::LogCapture;

// The keys of a recorded VLIBCFileSetKeyValues call, in the order given (after the path
// and the count, before the line format and the flags).
std::vector<std::string> KeysOf(const fake::Call &call) {
  std::vector<std::string> keys;
  for (size_t i = 2; i + 2 < call.args.size(); ++i) {
    keys.push_back(call.args[i].substr(0, call.args[i].find('=')));
  }
  return keys;
}

std::unique_ptr<ZEPH_INFO> Record() {
  std::unique_ptr<ZEPH_INFO> info(new ZEPH_INFO());
  std::strcpy(info->email, "owner@example.com");
  std::strcpy(info->auth_key, "auth-key-0123456789");
  std::strcpy(info->user_id, "2000001");
  std::strcpy(info->full_name, "Owner Name");
  std::strcpy(info->country, "DE");
  std::strcpy(info->timezone, "Europe/Berlin");
  std::strcpy(info->notify_language, "ger");
  std::strcpy(info->critical_version_list, "7.1");
  std::strcpy(info->critical_version_domain, "7.0,7.1");
  info->last_query_time = 1700000000;
  return info;
}

std::vector<std::string> Texts(const ZEPH_INFO &r) {
  return {r.email,
          r.auth_key,
          r.user_id,
          r.full_name,
          r.country,
          r.timezone,
          r.notify_language,
          r.critical_version_list,
          r.critical_version_domain};
}

using AccountRecordStore = vexozeph::testing::FakeAppliance;

TEST_F(AccountRecordStore, TheWholeRecordIsOneWriteAndAFailedWriteChangesNothing) {
  std::unique_ptr<ZEPH_INFO> info = Record();
  ASSERT_EQ(VEXOZEPHAccountSet(info.get()), 0);
  // Identity only: still one write, of the three identity keys.
  info->last_query_time = 0;
  ASSERT_EQ(VEXOZEPHAccountSet(info.get()), 0);
  const std::vector<fake::Call> writes = fake::CallsTo("VLIBCFileSetKeyValues");
  ASSERT_EQ(writes.size(), 2u);
  EXPECT_TRUE(fake::CallsTo("VLIBCFileSetKeyValue").empty());
  EXPECT_EQ(writes[0].args.back(), "0") << "credentials must be on disk when the call returns";
  EXPECT_EQ(KeysOf(writes[0]),
            (std::vector<std::string>{"zephID", "bx_auth_key", "zephIDSerial", "full_name",
                                      "country", "timezone", "notify_language", "activated",
                                      "disabled", "enews", "enews_local_promotion",
                                      "critical_release", "critical_version_list",
                                      "critical_version_domain", "last_query_time"}));
  EXPECT_EQ(KeysOf(writes[1]), (std::vector<std::string>{"zephID", "bx_auth_key", "zephIDSerial"}));

  // The platform fails the write: nothing changes, and the log names every key that was
  // not stored with no more than the start of its value.
  const std::string before = root_.ReadFile(kAccountFile);
  std::strcpy(info->email, "new-owner@example.com");
  std::strcpy(info->auth_key, "other-key-9876543210");
  LogCapture log;
  fake::FailNext("VLIBCFileSetKeyValues", 1, ENOSPC);
  EXPECT_EQ(VEXOZEPHAccountSet(info.get()), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), 19);
  EXPECT_EQ(root_.ReadFile(kAccountFile), before);
  EXPECT_EQ(log.Count("user:379 Failed to set zeph config for bx_auth_key:other-key-..."), 1u);
  EXPECT_EQ(log.Count("user:379 Failed to set zeph config for zephID:new-owner@..."), 1u);
  EXPECT_EQ(log.Count("other-key-9876543210"), 0u);
  EXPECT_EQ(log.Count("Failed on VEXOZEPHAccountSet"), 1u);

  // A value that cannot be stored changes nothing either, not even the keys before it.
  std::strcpy(info->auth_key, "key-2\nzephID=\"forged\"");
  EXPECT_EQ(VEXOZEPHAccountSet(info.get()), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), 19);
  std::strcpy(info->auth_key, "key-2");
  std::memset(info->email, 'e', sizeof(info->email) - 1);
  EXPECT_EQ(VEXOZEPHAccountSet(info.get()), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), 19);
  EXPECT_EQ(root_.ReadFile(kAccountFile), before);
}

// Each text is distinct, and each flag is set alone in a round of its own, so that two
// fields sharing a key cannot go unnoticed.
TEST_F(AccountRecordStore, EveryFieldOfTheRecordComesBackFromItsOwnKey) {
  std::unique_ptr<ZEPH_INFO> info = Record();
  std::memset(info->full_name, 'n', sizeof(info->full_name) - 1);  // the longest name
  int32_t ZEPH_INFO::*const flags[] = {&ZEPH_INFO::activated, &ZEPH_INFO::disabled,
                                       &ZEPH_INFO::enews, &ZEPH_INFO::critical_release,
                                       &ZEPH_INFO::enews_local_promotion};
  for (auto flag : flags) {
    for (auto other : flags) info.get()->*other = other == flag ? 7 : 0;  // any nonzero is 1
    ASSERT_EQ(VEXOZEPHAccountSet(info.get()), 0);
    std::unique_ptr<ZEPH_INFO> back(new ZEPH_INFO());
    std::strcpy(back->password, "kept");
    ASSERT_EQ(VEXOZEPHAccountGet(back.get()), 0);
    EXPECT_EQ(Texts(*back), Texts(*info));
    EXPECT_STREQ(back->password, "kept");
    EXPECT_EQ(back->last_query_time, 1700000000);
    for (auto other : flags) EXPECT_EQ(back.get()->*other, other == flag ? 1 : 0);
  }
}

TEST_F(AccountRecordStore, WithoutAStoredIdentityNothingIsReadAndTheRecordIsUntouched) {
  std::unique_ptr<ZEPH_INFO> info(new ZEPH_INFO());
  std::memset(info.get(), 'Z', sizeof(ZEPH_INFO));
  EXPECT_EQ(VEXOZEPHAccountGet(info.get()), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), 3);
  EXPECT_EQ(info->email[0], 'Z') << "record untouched when no account is stored";
  EXPECT_EQ(VEXOZEPHAccountGet(nullptr), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), 1);
  ASSERT_EQ(VEXOZEPHAccountSet(Record().get()), 0);
  vexozeph::User().SetUserId("");
  EXPECT_EQ(VEXOZEPHAccountGet(info.get()), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), 3);
}

}  // namespace
