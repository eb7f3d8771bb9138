// Text placed into an HTML page: the loopback listener's answer page and the emulator's
// sign-in pages both show values that came from a request, so each is escaped here the
// same way. Header-only: the command-line tool takes it without linking the base layer.
#ifndef VEXOZEPH_BASE_HTML_TEXT_H_
#define VEXOZEPH_BASE_HTML_TEXT_H_

#include <string>

namespace vexozeph {

// `text` safe inside an element or a quoted attribute value (either quote).
inline std::string HtmlEscape(const std::string &text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&#39;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

}  // namespace vexozeph

#endif  // VEXOZEPH_BASE_HTML_TEXT_H_
