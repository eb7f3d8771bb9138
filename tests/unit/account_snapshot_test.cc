// Reading the account file whole: every key reads as a lookup of that key alone would
// read it, and nothing is kept from one operation to the next.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "base/clock.h"
#include "fakes/fake_platform.h"
#include "internal/json_utils.h"
#include "store/account_file.h"
#include "support/appliance_files.h"
#include "support/child_process.h"
#include "support/temp_root.h"
#include "vexo_platform/vlib_file.h"
#include "vexozeph/user.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_account.h"

namespace {

namespace fake = vexozeph::fake;
namespace clock = vexozeph::clock;
using vexozeph::AccountSnapshot;
using vexozeph::testing::kAccountFile;
using vexozeph::testing::RunInChild;
using vexozeph::testing::TempRoot;

const int64_t kNow = 1700000000;

// What the platform's own lookup of `key` gives through the getters' 2048-byte buffer;
// "<absent>" when it reports nothing.
std::string LookedUp(const TempRoot &root, const char *key) {
  char value[2048] = {0};
  const int found =
      VLIBCFileGetKeyValue(root.Path(kAccountFile).c_str(), key, value, sizeof(value), 0);
  return found > 0 ? std::string(value) : std::string("<absent>");
}

std::string Snapshotted(const AccountSnapshot &snapshot, const char *key) {
  std::string value;
  return snapshot.Find(key, value) ? value : std::string("<absent>");
}

TEST(AccountSnapshot, EveryKeyReadsAsTheLookupOfThatKeyAlone) {
  fake::Reset();
  TempRoot root;
  std::string file =
      "# written by hand\n"
      "\n"
      "zephID=\"owner@example.com\"\n"
      "  full_name =  \"  Spaced Name  \"  \n"
      "country=TW\n"
      "timezone=\"\"\n"
      "notify_language=\"say \"hi\"\"\n"
      "no separator here\n"
      "=\"no key\"\n"
      "\xff\xfe\x01\n\x80=\"\xc3\"\n"  // binary junk lines
      "utf8=\"\xff\xc3\x28\"\n"        // bytes that are not text come back as they are
      "quote=\"unclosed\n"
      "zephID=\"second@example.com\"\n"
      "activated=\"true\"\n"
      "enews=\"TRUE\"\n"
      "last_query_time=\"-5\"\n"
      "bx_auth_key=\"" +
      std::string(3000, 'k') + "\"\n" + "zephIDSerial=\"20";
  file += std::string(1, '\0') + "01\"\r\n";
  file += "critical_version_list=\"";
  file += std::string(1, '\0') + "x\"\n";
  file += "critical_version_domain=\"last line without end\"";
  root.WriteFile(kAccountFile, file);

  const AccountSnapshot snapshot = AccountSnapshot::Read();
  for (const char *key :
       {"zephID", "full_name", "country", "timezone", "notify_language", "activated", "enews",
        "last_query_time", "bx_auth_key", "zephIDSerial", "critical_version_list", "utf8", "quote",
        "critical_version_domain", "disabled", "no separator here", ""}) {
    EXPECT_EQ(Snapshotted(snapshot, key), LookedUp(root, key)) << key;
  }
  EXPECT_EQ(snapshot.GetAuthKey(), std::string(2047, 'k'));
  EXPECT_EQ(snapshot.GetUserId(), "20");
  EXPECT_EQ(snapshot.GetName(), "  Spaced Name  ");
  EXPECT_EQ(Snapshotted(snapshot, "utf8"), "\xff\xc3\x28");
  EXPECT_EQ(Snapshotted(snapshot, "quote"), "\"unclosed");

  // Typed values follow the getters' rules.
  EXPECT_TRUE(snapshot.GetIsActivated());
  EXPECT_FALSE(snapshot.GetIsEnews());
  EXPECT_EQ(snapshot.GetLastQueryTime(), -5);

  // A missing file is a file without keys, whose values are the defaults.
  ASSERT_EQ(std::remove(root.Path(kAccountFile).c_str()), 0);
  const AccountSnapshot none = AccountSnapshot::Read();
  EXPECT_EQ(none.GetEmail(), "");
  EXPECT_TRUE(none.GetIsRealnameValidationPass());
  EXPECT_EQ(none.GetReportCronTimestring(), "~ 9~16 * * 1~5");
}

// Another process changes the file between two calls of this one: each call shows the
// file as it is then, the record and a query answered from the file alike.
TEST(AccountSnapshot, EachCallSeesWhatAnotherProcessStoredSinceTheLastOne) {
  fake::Reset();
  TempRoot root;
  clock::SetForTesting(kNow);
  vexozeph::User user;
  user.SetEmail("owner@example.com");
  user.SetAuthKey("auth-key-0123456789");
  user.SetUserId("2000001");
  user.SetName("First Name");
  user.SetLastQueryTime(kNow);

  std::unique_ptr<ZEPH_INFO> info(new ZEPH_INFO());
  ASSERT_EQ(VEXOZEPHAccountGet(info.get()), 0);
  EXPECT_STREQ(info->full_name, "First Name");
  Json::Value answer;
  ASSERT_EQ(VEXOZEPHAccountQueryInfo(answer, false, true), 0);
  EXPECT_EQ(vexozeph::json::StringOr(answer, "full_name"), "First Name");
  EXPECT_FALSE(vexozeph::json::BoolOr(answer, "enews", true));

  ASSERT_EQ(RunInChild([] {
              vexozeph::User other;
              other.SetName("Second Name");
              other.SetIsEnews(true);
              return 0;
            }),
            0);
  ASSERT_EQ(VEXOZEPHAccountGet(info.get()), 0);
  EXPECT_STREQ(info->full_name, "Second Name");
  EXPECT_EQ(info->enews, 1);
  // Still a cache hit (no server is reachable here), answered from the file as it is now.
  ASSERT_EQ(VEXOZEPHAccountQueryInfo(answer, false, true), 0);
  EXPECT_EQ(vexozeph::json::StringOr(answer, "full_name"), "Second Name");
  EXPECT_TRUE(vexozeph::json::BoolOr(answer, "enews", false));

  // The account goes away in between: the next call knows at once.
  ASSERT_EQ(RunInChild([] { return std::remove(vexozeph::AccountFilePath().c_str()); }), 0);
  std::strcpy(info->full_name, "untouched");
  EXPECT_EQ(VEXOZEPHAccountGet(info.get()), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), 3);
  EXPECT_STREQ(info->full_name, "untouched");
  EXPECT_EQ(VEXOZEPHAccountQueryInfo(answer, false, true), -1);
  EXPECT_EQ(VEXOZEPHErrGet(), 3);
  clock::ResetForTesting();
}

}  // namespace
