#include "html.h"

namespace zeph_cloud {

std::string HtmlEscape(const std::string &text) {
  std::string out;
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

std::string HtmlPage(const std::string &title, const std::string &body) {
  return "<!DOCTYPE html>\n<html><head><meta charset=\"utf-8\"><title>" + HtmlEscape(title) +
         "</title></head>\n<body>\n<h1>" + HtmlEscape(title) + "</h1>\n" + body +
         "\n</body></html>\n";
}

}  // namespace zeph_cloud
