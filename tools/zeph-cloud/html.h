// Minimal HTML for the identity host's sign-in pages and the landing pages.
#ifndef ZEPH_CLOUD_HTML_H_
#define ZEPH_CLOUD_HTML_H_

#include <string>

namespace zeph_cloud {

std::string HtmlEscape(const std::string &text);

// A complete page with `title` and an already-escaped `body`.
std::string HtmlPage(const std::string &title, const std::string &body);

}  // namespace zeph_cloud

#endif  // ZEPH_CLOUD_HTML_H_
