// The account query's answer handling: an answer the query accepts is stored in one
// replacement and answered back from the account file exactly as the server sent it; an
// answer it refuses leaves the stored profile untouched. The query's own source is built
// into this target so that its answer rules are reached without a server.
#include "../../src/account/zeph_account_query_info.cc"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fake_platform.h"
#include "fuzz/fuzz_root.h"
#include "store/account_file.h"
#include "vexozeph/user.h"

namespace {

const int64_t kNow = 1712345678;

std::string AccountFileContent() {
  return vexozeph::fuzz::Root().ReadFile("/usr/vexo/etc/vexona-account/private/user.conf");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  vexozeph::fuzz::Root();
  vexozeph::fake::Reset();
  vexozeph::clock::SetForTesting(kNow);
  vexozeph::fuzz::Root().WriteFile(
      "/usr/vexo/etc/vexona-account/private/user.conf",
      "zephIDSerial=\"2000001\"\nbx_auth_key=\"key\"\nzephID=\"old@example.com\"\n");
  const std::string before = AccountFileContent();

  const std::string body(reinterpret_cast<const char *>(data), size);
  Json::Value answer;
  if (!vexozeph::ParseReply(body.c_str(), answer)) return 0;
  vexozeph::UserUpdate update;
  if (!ProfileUpdateOf(answer, update)) {
    FUZZ_CHECK(AccountFileContent() == before);
    return 0;
  }
  // The profile is stored for the account it was asked about, as the query does.
  const vexozeph::AccountSnapshot account = vexozeph::AccountSnapshot::Read();
  StoredIdentity identity;
  FUZZ_CHECK(ReadStoredIdentity(account, identity) == 0);
  if (StoreProfile(identity, update) < 0) {
    FUZZ_CHECK(AccountFileContent() == before);
    return 0;
  }
  Json::Value stored;
  FUZZ_CHECK(AnswerFromFile(stored) == 0);
#define FUZZ_SAME_TEXT(member, Name) \
  FUZZ_CHECK(stored[#member].asString() == answer[#member].asString());
  VEXOZEPH_PROFILE_TEXT_FIELDS(FUZZ_SAME_TEXT)
#undef FUZZ_SAME_TEXT
#define FUZZ_SAME_FLAG(member, Name) \
  FUZZ_CHECK(stored[#member].asBool() == FlagOf(answer[#member]));
  VEXOZEPH_PROFILE_FLAG_FIELDS(FUZZ_SAME_FLAG)
#undef FUZZ_SAME_FLAG
  FUZZ_CHECK(vexozeph::User().GetLastQueryTime() == kNow);
  return 0;
}
