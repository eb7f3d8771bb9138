#ifndef VEXOZEPH_BASE_STRING_UTILS_H_
#define VEXOZEPH_BASE_STRING_UTILS_H_

#include <string>

namespace vexozeph {

// printf-style formatting into a new string. Never throws; a format that cannot be
// printed gives "" and one log line.
std::string format(const char *fmt, ...) noexcept __attribute__((format(printf, 1, 2)));

// The form in which a secret may appear in a log line: its first 10 characters followed
// by "...", so that a line can be matched to a credential without disclosing it.
// Passwords, auth keys, tokens, grant codes, PKCE verifiers and the request token's input
// are all logged through this, never whole. A text of 10 characters or fewer still gets
// the "..." so that a reader never mistakes it for the whole value.
std::string ShortenSecret(const std::string &secret);

// The members of the cloud's answers that hold credentials (a "ticket" is the payment
// host's single-use proof of a device and its account).
inline constexpr const char *kCredentialMembers[] = {"access_token", "id_token",   "refresh_token",
                                                     "auth_key",     "grant_code", "ticket"};

// `text` (a server's answer, parsed or not) with the string value of every credential
// member ("access_token", "id_token", "refresh_token", "auth_key", "grant_code", "ticket") put
// through ShortenSecret, wherever the member stands: in an object at any depth, or in
// text that is cut short or not JSON at all. A value already shortened is left as it is.
std::string ShortenSecretsIn(std::string text);

// `text` as one word for the POSIX shell: enclosed in single quotes, each embedded quote
// written as '\''. Nothing inside is expanded by the shell.
std::string QuoteForShell(const std::string &text);

}  // namespace vexozeph

#endif  // VEXOZEPH_BASE_STRING_UTILS_H_
