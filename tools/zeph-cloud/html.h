// Minimal HTML for the identity host's sign-in pages and the landing pages.
#ifndef ZEPH_CLOUD_HTML_H_
#define ZEPH_CLOUD_HTML_H_

#include <string>

#include "base/html_text.h"

namespace zeph_cloud {

using vexozeph::HtmlEscape;

// A complete page with `title` and an already-escaped `body`.
std::string HtmlPage(const std::string &title, const std::string &body);

}  // namespace zeph_cloud

#endif  // ZEPH_CLOUD_HTML_H_
