// URL-encoded forms and query strings, kept as ordered pairs: the order in which a client
// sends its fields and any repeated key are part of what the tests look at.
#ifndef ZEPH_CLOUD_FORM_CODEC_H_
#define ZEPH_CLOUD_FORM_CODEC_H_

#include <string>
#include <utility>
#include <vector>

namespace zeph_cloud {

using Pairs = std::vector<std::pair<std::string, std::string>>;

// Percent-decoding; '+' becomes a space (form rules). Malformed escapes stay as they are.
std::string UrlDecode(const std::string &text);

// Percent-encoding of everything but the RFC 3986 unreserved characters.
std::string UrlEncode(const std::string &text);

// "a=1&b=&c" -> (a,1) (b,"") (c,""), in order, duplicates kept. Empty segments are skipped.
Pairs ParseUrlEncoded(const std::string &text);

// The raw query of a request target ("/p?x=1" -> "x=1"), empty without '?'.
std::string QueryOfTarget(const std::string &target);

// The first value of `key`, or null when absent.
const std::string *FirstValue(const Pairs &pairs, const std::string &key);

// Every value of `key`, in order.
std::vector<std::string> AllValues(const Pairs &pairs, const std::string &key);

// "k=v&k2=v2" with both sides encoded.
std::string EncodePairs(const Pairs &pairs);

}  // namespace zeph_cloud

#endif  // ZEPH_CLOUD_FORM_CODEC_H_
