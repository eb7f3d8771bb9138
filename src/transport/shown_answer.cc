#include "transport/shown_answer.h"

#include "internal/json_utils.h"
#include "internal/string_utils.h"
#include "vexozeph/error_codes.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {

namespace {

const size_t kShownAnswerBytes = 2048;

}  // namespace

std::string TruncatedAnswer(const std::string &text) {
  // Shortened before the cut, so that a credential the cut would split is still found.
  const std::string shown = ShortenSecretsIn(text);
  if (shown.size() <= kShownAnswerBytes) return shown;
  return shown.substr(0, kShownAnswerBytes) + format("...(%zu bytes)", text.size());
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
