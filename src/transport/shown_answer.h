// How a server's answer may appear in a log line or an exception text of the OAuth
// clients: long enough to diagnose, never so long that it swamps the log, and never with
// a live credential in it whole.
#ifndef VEXOZEPH_TRANSPORT_SHOWN_ANSWER_H_
#define VEXOZEPH_TRANSPORT_SHOWN_ANSWER_H_

#include <json/value.h>

#include <string>

namespace vexozeph {

// `text` with its credentials shortened (ShortenSecretsIn), cut to its first 2048 bytes
// and followed by "...(<size> bytes)" when it was longer.
std::string TruncatedAnswer(const std::string &text);

// The answer `text` (already parsed into `answer`) as received, unless it is an object
// that holds a credential as text ("access_token", "id_token", "refresh_token",
// "auth_key", "grant_code"): a half-good answer still carries live ones, so it is then
// re-rendered with them shortened. `styled` always re-renders, indented. Truncated.
std::string ShownAnswer(const Json::Value &answer, const std::string &text, bool styled = false);

}  // namespace vexozeph

#endif  // VEXOZEPH_TRANSPORT_SHOWN_ANSWER_H_
