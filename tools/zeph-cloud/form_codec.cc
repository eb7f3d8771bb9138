#include "form_codec.h"

#include <cctype>

namespace zeph_cloud {
namespace {

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

std::string UrlDecode(const std::string &text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c == '+') {
      out += ' ';
    } else if (c == '%' && i + 2 < text.size() && HexValue(text[i + 1]) >= 0 &&
               HexValue(text[i + 2]) >= 0) {
      out += static_cast<char>(HexValue(text[i + 1]) * 16 + HexValue(text[i + 2]));
      i += 2;
    } else {
      out += c;
    }
  }
  return out;
}

std::string UrlEncode(const std::string &text) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : text) {
    if (std::isalnum(c) || c == '-' || c == '_' || c == '.' || c == '~') {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += kHex[c >> 4];
      out += kHex[c & 0x0f];
    }
  }
  return out;
}

Pairs ParseUrlEncoded(const std::string &text) {
  Pairs pairs;
  size_t start = 0;
  while (start <= text.size()) {
    size_t end = text.find('&', start);
    if (end == std::string::npos) end = text.size();
    std::string segment = text.substr(start, end - start);
    if (!segment.empty()) {
      size_t eq = segment.find('=');
      if (eq == std::string::npos) {
        pairs.emplace_back(UrlDecode(segment), std::string());
      } else {
        pairs.emplace_back(UrlDecode(segment.substr(0, eq)), UrlDecode(segment.substr(eq + 1)));
      }
    }
    start = end + 1;
  }
  return pairs;
}

std::string QueryOfTarget(const std::string &target) {
  size_t mark = target.find('?');
  return mark == std::string::npos ? std::string() : target.substr(mark + 1);
}

const std::string *FirstValue(const Pairs &pairs, const std::string &key) {
  for (const auto &pair : pairs) {
    if (pair.first == key) return &pair.second;
  }
  return nullptr;
}

std::vector<std::string> AllValues(const Pairs &pairs, const std::string &key) {
  std::vector<std::string> values;
  for (const auto &pair : pairs) {
    if (pair.first == key) values.push_back(pair.second);
  }
  return values;
}

std::string EncodePairs(const Pairs &pairs) {
  std::string out;
  for (const auto &pair : pairs) {
    if (!out.empty()) out += '&';
    out += UrlEncode(pair.first) + "=" + UrlEncode(pair.second);
  }
  return out;
}

}  // namespace zeph_cloud
