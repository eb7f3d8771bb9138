// The local sign-out on the generic-Linux platform, where the token files are removed by
// a real shell: a root whose path holds quotes, blanks, a command substitution and a
// glob must still be one word to it.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>

#include "support/temp_root.h"
#include "vexozeph/vexozeph.h"

namespace {

namespace fs = std::filesystem;
using vexozeph::testing::TempRoot;

const char kPrivate[] = "/usr/vexo/etc/vexona-account/private/";
const char kLoginTemplate[] = "/usr/vexo/etc.defaults/vexona-account/config/pkce_login.conf";

// A root created inside `parent` (TempRoot places itself in the temporary directory).
std::unique_ptr<TempRoot> RootInside(const std::string &parent) {
  const char *previous = getenv("TMPDIR");
  const std::string saved = previous != nullptr ? previous : "";
  setenv("TMPDIR", parent.c_str(), 1);
  std::unique_ptr<TempRoot> root(new TempRoot());
  if (previous != nullptr) {
    setenv("TMPDIR", saved.c_str(), 1);
  } else {
    unsetenv("TMPDIR");
  }
  return root;
}

TEST(LocalSignOut, ClearsEveryTokenFileUnderARootPathTheShellWouldOtherwiseSplitOrRun) {
  std::string base = (fs::temp_directory_path() / "vexozeph-quote-XXXXXX").string();
  ASSERT_NE(mkdtemp(&base[0]), nullptr);
  const std::string odd = base + "/it's a $(touch pwned) x' *";
  ASSERT_TRUE(fs::create_directory(odd));
  // A file the unquoted pattern would reach if the path were split at its blanks.
  const std::string decoy = base + "/it's_token.json";
  {
    std::unique_ptr<TempRoot> root = RootInside(odd);
    ASSERT_NE(root->Dir().find("$(touch pwned)"), std::string::npos);
    root->WriteFile("/etc/vexozeph/serial", "SN2207QUOTE\n");
    root->WriteFile("/etc/vexozeph/mac", "00:11:32:01:02:03\n");
    root->WriteFile(kLoginTemplate, "{\"client_id\": \"zeph-device\"}");
    root->WriteFile(std::string(kPrivate) + "user.conf", "zephID=\"owner@example.com\"\n");
    root->WriteFile(std::string(kPrivate) + "tarn_token.json", "{}");
    root->WriteFile(std::string(kPrivate) + "vigilon_token.json", "{}");
    root->WriteFile(std::string(kPrivate) + "notes.json", "{}");
    {
      std::unique_ptr<FILE, int (*)(FILE *)> file(fopen(decoy.c_str(), "w"), fclose);
      ASSERT_TRUE(file);
    }

    EXPECT_EQ(VEXOZEPHAccountLogout(false), 0);
    EXPECT_FALSE(root->Exists(std::string(kPrivate) + "user.conf"));
    EXPECT_FALSE(root->Exists(std::string(kPrivate) + "tarn_token.json"));
    EXPECT_FALSE(root->Exists(std::string(kPrivate) + "vigilon_token.json"));
    EXPECT_TRUE(root->Exists(std::string(kPrivate) + "notes.json"));
  }
  EXPECT_TRUE(fs::exists(decoy));
  EXPECT_FALSE(fs::exists("pwned"));
  EXPECT_FALSE(fs::exists(base + "/pwned"));
  fs::remove_all(base);
}

}  // namespace
