// Local files and users that work against the library: links planted where it creates or
// replaces files, lock files made by another user, and a process umask that would hand
// every new file to everyone.
#include <gtest/gtest.h>
#include <json/json.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "pkce/pkce_client_impl.h"
#include "support/appliance_files.h"
#include "support/child_process.h"
#include "support/log_capture.h"
#include "support/process_ids.h"
#include "support/temp_root.h"
#include "support/test_dirs.h"
#include "support/umask_scope.h"
#include "support/zeph_code.h"
#include "vexozeph/file_lock.h"
#include "vexozeph/user.h"
#include "vexozeph/vexozeph.h"

namespace vexozeph {
namespace testing {
namespace {

const char kTokenFile[] = "/usr/vexo/etc/vexona-account/private/hostile_token.json";
const char kSaveLock[] = "/tmp/account_hostile_save_token.lock";

struct OtherUser {
  uid_t uid;
  gid_t gid;
};

struct FileFacts {
  std::string content;
  struct stat info;
  bool operator==(const FileFacts &o) const {
    return content == o.content && info.st_uid == o.info.st_uid && info.st_gid == o.info.st_gid &&
           info.st_mode == o.info.st_mode && info.st_ino == o.info.st_ino;
  }
};

FileFacts FactsOf(const TempRoot &root, const std::string &absolute) {
  FileFacts facts{root.ReadFile(absolute), {}};
  EXPECT_EQ(::lstat(root.Path(absolute).c_str(), &facts.info), 0) << absolute;
  return facts;
}

// A link at `absolute` to `target`, owned by `owner` as if that user had planted it.
void PlantLink(const TempRoot &root, const std::string &absolute, const std::string &target,
               const OtherUser &owner) {
  ::unlink(root.Path(absolute).c_str());
  ASSERT_EQ(::symlink(root.Path(target).c_str(), root.Path(absolute).c_str()), 0) << absolute;
  ASSERT_EQ(::lchown(root.Path(absolute).c_str(), owner.uid, owner.gid), 0) << absolute;
}

Json::Value Token(const std::string &access_token) {
  Json::Value token;
  token["access_token"] = access_token;
  token["refresh_token"] = "refresh-" + access_token;
  token["expires_in"] = 3600;
  return token;
}

class HostileLocalUser : public ::testing::Test {
 protected:
  void SetUp() override {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to act as a second, unprivileged user";
    const struct passwd *nobody = ::getpwnam("nobody");
    if (nobody == nullptr) GTEST_SKIP() << "no unprivileged user 'nobody' to act as";
    other_ = {nobody->pw_uid, nobody->pw_gid};
    // The other user must reach the root's /tmp, as it reaches the real one.
    ASSERT_EQ(::chmod(root_.Dir().c_str(), 0711), 0);
    // Token files are saved for the account signed in.
    root_.WriteFile(kAccountFile, "zephIDSerial=\"u-1\"\n");
  }

  TempRoot root_;
  OtherUser other_{};
};

TEST_F(HostileLocalUser, LinksPlantedAtLockAndTokenPathsAreNeverWrittenThrough) {
  struct Target {
    std::string path;
    OtherUser owner;
    mode_t mode;
  };
  const std::vector<Target> targets = {{"/etc/owned_by_root", {0, 0}, 0644},
                                       {"/tmp/owned_by_other", other_, 0600}};
  // Every name a writer of the token file creates on the way, learnt by watching a first
  // save, then the token file itself.
  const std::string private_dir = "/usr/vexo/etc/vexona-account/private";
  std::set<std::string> token_names = NamesCreatedDuring(
      root_.Path(private_dir), [] { PkceClientImpl("hostile").SaveToken(Token("first")); });
  token_names.insert("hostile_token.json");
  ASSERT_GE(token_names.size(), 2u) << "the save was not seen";
  for (const Target &target : targets) {
    root_.WriteFile(target.path, "belongs to someone else\n");
    ASSERT_EQ(::chown(root_.Path(target.path).c_str(), target.owner.uid, target.owner.gid), 0);
    ASSERT_EQ(::chmod(root_.Path(target.path).c_str(), target.mode), 0);
    const FileFacts before = FactsOf(root_, target.path);

    // A lock path that is a link: never taken through; root replaces the link with a lock
    // file of its own (PlantedEntriesAtALockPath), so the save goes on.
    PlantLink(root_, kSaveLock, target.path, other_);

    // Links at the token file and at every temporary name beside it: the save replaces
    // the file with one of its own.
    for (const std::string &name : token_names) {
      PlantLink(root_, private_dir + "/" + name, target.path, other_);
    }
    PkceClientImpl("hostile").SaveToken(Token("saved-" + target.path));
    const struct stat saved = FactsOf(root_, kTokenFile).info;
    EXPECT_TRUE(S_ISREG(saved.st_mode)) << target.path;
    EXPECT_EQ(saved.st_mode & 07777, 0600u) << target.path;
    EXPECT_EQ(saved.st_uid, 0u) << target.path;
    EXPECT_EQ(PkceClientImpl("hostile").GetPkceTokenVal("access_token"), "saved-" + target.path);

    EXPECT_TRUE(FactsOf(root_, target.path) == before) << target.path << " was written through";
    for (const std::string &name : token_names) {
      ::unlink(root_.Path(private_dir + "/" + name).c_str());
    }
  }
}

TEST_F(HostileLocalUser, ALockFileMadeByAnotherUserIsLockedInPlaceAndLeftAsItWas) {
  // Lock files are shared by every user: whoever came first created it. Root must lock
  // that file as it stands (even where the kernel refuses O_CREAT on another user's file
  // in a sticky directory), not take it over or change it.
  const std::string lock_path = "/tmp/account_shared_get_token.lock";
  // The other user's attempt; 0 when it got the lock, 1 when it was kept out.
  auto other_locks = [&] {
    return RunInChild([&] {
      if (!SetIds(other_.uid, other_.uid, other_.uid)) return 10;
      UmaskScope open_mask(0);
      return FileLock(lock_path).Lock(1) ? 0 : 1;
    });
  };
  ASSERT_EQ(other_locks(), 0);
  const FileFacts before = FactsOf(root_, lock_path);
  EXPECT_EQ(before.info.st_uid, other_.uid);
  EXPECT_EQ(before.info.st_mode & 07777, 0666u);

  FileLock lock(lock_path);
  EXPECT_TRUE(lock.Lock(1));
  EXPECT_EQ(other_locks(), 1) << "held: another process of the other user is kept out";
  lock.Unlock();
  EXPECT_TRUE(FactsOf(root_, lock_path) == before);

  // The other way round: a lock file the other user may not open fails its lock at once
  // with the log line, not after waiting out the whole deadline in silence.
  const std::string private_lock = "/tmp/account_private_get_token.lock";
  root_.WriteFile(private_lock, "");
  ASSERT_EQ(::chmod(root_.Path(private_lock).c_str(), 0600), 0);
  EXPECT_EQ(RunInChild([&] {
              if (!SetIds(other_.uid, other_.uid, other_.uid)) return 10;
              LogCapture log;
              if (FileLock(private_lock).Lock(30)) return 1;
              return log.Count("Failed to open file: ") == 1 ? 0 : 2;
            }),
            0);
}

TEST_F(HostileLocalUser, PlantedEntriesAtALockPathKeepOthersOutButRootClearsThemOnce) {
  const std::string lock_path = "/tmp/account_planted_get_token.lock";
  const std::string target = "/etc/owned_by_root";
  root_.WriteFile(target, "belongs to root\n");
  const FileFacts target_before = FactsOf(root_, target);
  struct Planted {
    const char *what;
    std::function<int(const std::string &)> plant;
  };
  const Planted entries[] = {
      {"empty directory", [](const std::string &p) { return ::mkdir(p.c_str(), 0777); }},
      {"full directory",
       [](const std::string &p) {
         return ::mkdir(p.c_str(), 0777) != 0 ? -1 : ::mkfifo((p + "/inside").c_str(), 0666);
       }},
      {"fifo", [](const std::string &p) { return ::mkfifo(p.c_str(), 0666); }},
      {"link",
       [&](const std::string &p) { return ::symlink(root_.Path(target).c_str(), p.c_str()); }},
  };
  const std::string path = root_.Path(lock_path);
  for (const Planted &entry : entries) {
    SCOPED_TRACE(entry.what);
    // Planted by the other user, as a user of the machine would.
    ASSERT_EQ(RunInChild([&] {
                return SetIds(other_.uid, other_.uid, other_.uid) ? entry.plant(path) : 10;
              }),
              0);
    struct stat planted;
    ASSERT_EQ(::lstat(path.c_str(), &planted), 0);

    // Any other user is kept out at once and may remove nothing.
    EXPECT_EQ(RunInChild([&] {
                if (!SetIds(kNobody - 1, kNobody - 1, kNobody - 1)) return 10;
                return FileLock(lock_path).Lock(1) ? 0 : 1;
              }),
              1);
    struct stat still;
    ASSERT_EQ(::lstat(path.c_str(), &still), 0);
    EXPECT_EQ(still.st_ino, planted.st_ino);

    // Root clears the entry, says so, and locks a regular file of its own in its place.
    LogCapture log;
    FileLock lock(lock_path);
    EXPECT_TRUE(lock.Lock(1));
    EXPECT_EQ(log.Lines().size(), 1u);
    EXPECT_EQ(log.Count(lock_path), 1u) << (log.Lines().empty() ? "" : log.Lines()[0]);
    const struct stat now = FactsOf(root_, lock_path).info;
    EXPECT_TRUE(S_ISREG(now.st_mode));
    EXPECT_EQ(now.st_uid, 0u);
    lock.Unlock();
    ASSERT_EQ(::unlink(path.c_str()), 0);
  }
  EXPECT_TRUE(FactsOf(root_, target) == target_before);
}

TEST_F(HostileLocalUser, FilesTheLibraryCreatesKeepTheirModesUnderAnOpenUmask) {
  UmaskScope open_mask(0);
  FileLock lock("/tmp/account_umask_open.lock");
  ASSERT_TRUE(lock.Lock(1));
  PkceClientImpl("hostile").SaveToken(Token("private"));
  User().SetEmail("owner@example.com");
  User().SetCountry("NL");

  struct Expected {
    std::string path;
    mode_t mode;
  };
  for (const Expected &file : std::vector<Expected>{
           {"/tmp/account_umask_open.lock", 0666}, {kTokenFile, 0600}, {kAccountFile, 0600}}) {
    EXPECT_EQ(FactsOf(root_, file.path).info.st_mode & 07777, file.mode) << file.path;
  }
  // Nothing but the files themselves was left beside them.
  EXPECT_EQ(NamesIn(root_.Path("/usr/vexo/etc/vexona-account/private")).size(), 2u);
}

}  // namespace
}  // namespace testing
}  // namespace vexozeph
