// The token endpoint's answer: one the client accepts as a token set is saved and every
// later read of it works; whatever the answer, the text shown in logs and exceptions is
// bounded and never carries a credential whole.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "base/clock.h"
#include "fake_platform.h"
#include "fuzz/fuzz_root.h"
#include "internal/json_utils.h"
#include "pkce/pkce_client_impl.h"
#include "transport/shown_answer.h"
#include "vexozeph/zeph_exception.h"

namespace {

const int64_t kNow = 1712345678;
const char *const kCredentials[] = {"access_token", "id_token", "refresh_token", "auth_key",
                                    "grant_code"};

bool IsPlainWord(const std::string &text) {
  for (char c : text) {
    if (!((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))) {
      return false;
    }
  }
  return true;
}

// A credential long enough to be told from its shortened form, that appears nowhere else
// in the answer, must not appear in the shown text.
void CheckCredentialsHidden(const Json::Value &answer, const std::string &shown) {
  if (!answer.isObject()) return;
  for (const char *key : kCredentials) {
    const Json::Value &member = vexozeph::json::Member(answer, key);
    if (!member.isString()) continue;
    const std::string secret = member.asString();
    if (secret.size() < 16 || !IsPlainWord(secret)) continue;
    Json::Value rest = answer;
    for (const char *other : kCredentials) {
      if (vexozeph::json::Member(rest, other).isString()) rest.removeMember(other);
    }
    if (vexozeph::json::ToCompactString(rest).find(secret) != std::string::npos) continue;
    bool elsewhere = false;
    for (const char *other : kCredentials) {
      const Json::Value &value = vexozeph::json::Member(answer, other);
      elsewhere = elsewhere || (other != key && value.isString() &&
                                value.asString().find(secret) != std::string::npos);
    }
    if (elsewhere) continue;
    FUZZ_CHECK(shown.find(secret) == std::string::npos);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  vexozeph::fuzz::Root();
  vexozeph::fake::Reset();
  vexozeph::clock::SetForTesting(kNow);
  const std::string text(reinterpret_cast<const char *>(data), size);
  Json::Value answer;
  if (!vexozeph::json::Parse(text, answer)) {
    FUZZ_CHECK(vexozeph::TruncatedAnswer(text).size() <= 2048 + 32);
    return 0;
  }
  for (bool styled : {false, true}) {
    const std::string shown = vexozeph::ShownAnswer(answer, text, styled);
    FUZZ_CHECK(shown.size() <= 2048 + 32);
    CheckCredentialsHidden(answer, shown);
  }
  if (!vexozeph::PkceClientImpl::IsTokenSet(answer)) return 0;

  vexozeph::PkceClientImpl client("fuzz");
  try {
    client.SaveToken(answer);
    FUZZ_CHECK(client.GetPkceTokenVal("access_token") == answer["access_token"].asString());
    FUZZ_CHECK(client.GetPkceTokenVal("id_token") == answer["id_token"].asString());
    FUZZ_CHECK(client.GetPkceTokenVal("refresh_token") == answer["refresh_token"].asString());
    FUZZ_CHECK(client.GetPkceTokenVal("created_at") == std::to_string(kNow));
    client.GetExpiredAt();
    client.IsTokenExpired();
  } catch (const vexozeph::ZephException &e) {
    fprintf(stderr, "an accepted token set failed: %s\n", e.what());
    abort();
  }
  return 0;
}
