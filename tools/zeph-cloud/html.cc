#include "html.h"

namespace zeph_cloud {

std::string HtmlPage(const std::string &title, const std::string &body) {
  return "<!DOCTYPE html>\n<html><head><meta charset=\"utf-8\"><title>" + HtmlEscape(title) +
         "</title></head>\n<body>\n<h1>" + HtmlEscape(title) + "</h1>\n" + body +
         "\n</body></html>\n";
}

}  // namespace zeph_cloud
