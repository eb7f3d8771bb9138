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

// `text` as one word for the POSIX shell: enclosed in single quotes, each embedded quote
// written as '\''. Nothing inside is expanded by the shell.
std::string QuoteForShell(const std::string &text);

}  // namespace vexozeph

#endif  // VEXOZEPH_BASE_STRING_UTILS_H_
