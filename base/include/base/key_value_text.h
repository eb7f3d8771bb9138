// The text of a key-value settings file: one `key="value"` per line. The platform's
// settings functions and the library's whole-file reads of the account file parse it with
// this one code, so that a key can never read differently depending on who reads it.
#ifndef VEXOZEPH_BASE_KEY_VALUE_TEXT_H_
#define VEXOZEPH_BASE_KEY_VALUE_TEXT_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace vexozeph {

// Settings files are small; a bigger one is refused as unreadable rather than slurped.
constexpr size_t kMaxKeyValueFileSize = 4 * 1024 * 1024;

// Splits one line (without its newline) into key and value. Comments, blank lines and
// lines without '=' hold no entry. The value loses surrounding blanks and one pair of
// enclosing double quotes; anything inside the quotes (quotes included) is kept.
bool ParseKeyValueLine(const std::string &line, std::string &key, std::string &value);

// The next line of `text` from `position` on that holds an entry, as views into `text`;
// `position` moves past it. False when no line is left. Duplicate keys come as often as
// they stand: a lookup keeps the first.
bool NextKeyValue(std::string_view text, size_t &position, std::string_view &key,
                  std::string_view &value);

}  // namespace vexozeph

#endif  // VEXOZEPH_BASE_KEY_VALUE_TEXT_H_
