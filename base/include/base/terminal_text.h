// Text that came from outside (a server's answer, a file, a redirect) made safe to show on
// a terminal, the way `ls -b` and systemd show file names: every control character is
// written as an escape, so that nothing a server sends can move the cursor, clear the
// screen, retitle the window or forge a line of its own. Header-only: the command-line
// tool takes it without linking the base layer, and the library's log mirror on stderr
// uses the same.
#ifndef VEXOZEPH_BASE_TERMINAL_TEXT_H_
#define VEXOZEPH_BASE_TERMINAL_TEXT_H_

#include <string>
#include <string_view>

namespace vexozeph {

namespace terminal_text_detail {

// The length of the well-formed UTF-8 sequence that starts `text` at `at` (2 to 4), or 0
// when the byte there starts none: overlong forms, surrogates and code points past
// U+10FFFF are not well-formed.
inline size_t Utf8SequenceAt(std::string_view text, size_t at) {
  const auto byte = [&text](size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(at);
  size_t length = 0;
  unsigned char low = 0x80;
  unsigned char high = 0xbf;
  if (lead >= 0xc2 && lead <= 0xdf) {
    length = 2;
  } else if (lead >= 0xe0 && lead <= 0xef) {
    length = 3;
    if (lead == 0xe0) low = 0xa0;
    if (lead == 0xed) high = 0x9f;
  } else if (lead >= 0xf0 && lead <= 0xf4) {
    length = 4;
    if (lead == 0xf0) low = 0x90;
    if (lead == 0xf4) high = 0x8f;
  } else {
    return 0;
  }
  if (at + length > text.size()) return 0;
  for (size_t i = 1; i < length; ++i) {
    const unsigned char c = byte(at + i);
    if (c < (i == 1 ? low : 0x80) || c > (i == 1 ? high : 0xbf)) return 0;
  }
  return length;
}

inline void AppendHex(std::string &out, const char *prefix, unsigned char c) {
  static const char kHex[] = "0123456789abcdef";
  out += prefix;
  out += kHex[c >> 4];
  out += kHex[c & 15];
}

}  // namespace terminal_text_detail

// `text` with C0 controls and DEL as "\n", "\t", "\r" or "\x1b", C1 controls in UTF-8 as
// "\u009b", bytes that are not UTF-8 as "\xff", and a backslash as "\\" (so that what is
// shown maps back to one text). Everything else, UTF-8 letters included, stands as it is.
// For a person's terminal only: --json output and files keep the text exact.
inline std::string Visible(std::string_view text) {
  using terminal_text_detail::AppendHex;
  std::string shown;
  shown.reserve(text.size());
  for (size_t at = 0; at < text.size();) {
    const unsigned char c = static_cast<unsigned char>(text[at]);
    if (c >= 0x80) {
      const size_t length = terminal_text_detail::Utf8SequenceAt(text, at);
      if (length == 0) {
        AppendHex(shown, "\\x", c);
      } else if (c == 0xc2 && static_cast<unsigned char>(text[at + 1]) <= 0x9f) {
        // U+0080 to U+009F: terminals take U+009B as the start of a command, like ESC [.
        AppendHex(shown, "\\u00", static_cast<unsigned char>(text[at + 1]));
      } else {
        shown.append(text.substr(at, length));
      }
      at += length == 0 ? 1 : length;
      continue;
    }
    if (c == '\\') {
      shown += "\\\\";
    } else if (c == '\n') {
      shown += "\\n";
    } else if (c == '\t') {
      shown += "\\t";
    } else if (c == '\r') {
      shown += "\\r";
    } else if (c < 0x20 || c == 0x7f) {
      AppendHex(shown, "\\x", c);
    } else {
      shown += static_cast<char>(c);
    }
    ++at;
  }
  return shown;
}

}  // namespace vexozeph

#endif  // VEXOZEPH_BASE_TERMINAL_TEXT_H_
