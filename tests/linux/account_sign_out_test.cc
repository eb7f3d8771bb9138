// The local sign-out on the generic-Linux platform, where the token files are removed by
// a real shell: a root whose path holds quotes, blanks, a command substitution and a
// glob must still be one word to it.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "support/appliance_files.h"
#include "support/temp_root.h"
#include "support/test_dirs.h"
#include "vexozeph/vexozeph.h"

namespace {

namespace fs = std::filesystem;
using vexozeph::testing::kLoginTemplate;
using vexozeph::testing::TempRoot;

const char kPrivate[] = "/usr/vexo/etc/vexona-account/private/";

TEST(LocalSignOut, ClearsEveryTokenFileUnderARootPathTheShellWouldOtherwiseSplitOrRun) {
  std::string base = (fs::temp_directory_path() / "vexozeph-quote-XXXXXX").string();
  ASSERT_NE(mkdtemp(&base[0]), nullptr);
  const std::string odd = base + "/it's a $(touch pwned) x' *";
  ASSERT_TRUE(fs::create_directory(odd));
  // A file the unquoted pattern would reach if the path were split at its blanks.
  const std::string decoy = base + "/it's_token.json";
  {
    std::unique_ptr<TempRoot> root = vexozeph::testing::RootInside(odd);
    ASSERT_NE(root->Dir().find("$(touch pwned)"), std::string::npos);
    root->WriteFile("/etc/vexozeph/serial", "SN2207QUOTE\n");
    root->WriteFile("/etc/vexozeph/mac", "00:11:32:01:02:03\n");
    root->WriteFile(kLoginTemplate, "{\"client_id\": \"zeph-device\"}");
    const char *removed[] = {"user.conf", "tarn_token.json", "vigilon_token.json"};
    for (const char *name : removed) root->WriteFile(std::string(kPrivate) + name, "{}");
    root->WriteFile(std::string(kPrivate) + "notes.json", "{}");
    ASSERT_TRUE(std::ofstream(decoy).good());

    EXPECT_EQ(VEXOZEPHAccountLogout(false), 0);
    for (const char *name : removed) EXPECT_FALSE(root->Exists(kPrivate + std::string(name)));
    EXPECT_TRUE(root->Exists(std::string(kPrivate) + "notes.json"));
  }
  EXPECT_TRUE(fs::exists(decoy));
  EXPECT_FALSE(fs::exists("pwned"));
  EXPECT_FALSE(fs::exists(base + "/pwned"));
  fs::remove_all(base);
}

}  // namespace
