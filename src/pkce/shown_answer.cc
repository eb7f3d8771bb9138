#include "internal/shown_answer.h"

#include "internal/json_utils.h"
#include "internal/string_utils.h"

namespace vexozeph {

namespace {

const size_t kShownAnswerBytes = 2048;
const char *const kCredentialMembers[] = {"access_token", "id_token", "refresh_token", "auth_key",
                                          "grant_code"};

}  // namespace

std::string TruncatedAnswer(const std::string &text) {
  if (text.size() <= kShownAnswerBytes) return text;
  return text.substr(0, kShownAnswerBytes) + format("...(%zu bytes)", text.size());
}

std::string ShownAnswer(const Json::Value &answer, const std::string &text, bool styled) {
  Json::Value shown = answer;
  bool holds_credentials = false;
  if (shown.isObject()) {
    for (const char *key : kCredentialMembers) {
      std::string secret;
      if (!json::GetString(shown, key, secret)) continue;
      shown[key] = ShortenSecret(secret);
      holds_credentials = true;
    }
  }
  if (styled) return TruncatedAnswer(shown.toStyledString());
  return TruncatedAnswer(holds_credentials ? json::ToCompactString(shown) : text);
}

}  // namespace vexozeph
