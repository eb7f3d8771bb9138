#include "base/json_utils.h"

#include <errno.h>

#include <memory>

#include "base/atomic_file.h"
#include "base/log.h"
#include "base/string_utils.h"

namespace vexozeph {
namespace json {

namespace {
const Json::Value &NullValue() {
  static const Json::Value kNull;
  return kNull;
}

}  // namespace

bool Parse(const std::string &text, Json::Value &out) {
  // JsonCpp reports a document nested beyond the limit by throwing, and may throw for
  // other reasons of its own; to callers all of it simply means "not JSON".
  try {
    Json::CharReaderBuilder builder;
    builder["allowComments"] = true;
    builder["stackLimit"] = kMaxDepth;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value parsed;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &parsed, &errors)) return false;
    out.swap(parsed);
    return true;
  } catch (...) {
    return false;
  }
}

bool FromFile(const std::string &path, Json::Value &out) {
  std::string text;
  if (!ReadWholeFile(path, text, kMaxFileBytes)) return false;
  return Parse(text, out);
}

bool FromString(const std::string &text, Json::Value &out) {
  if (Parse(text, out)) return true;
  // A hostile answer may be megabytes long; the start is enough to recognise it. An
  // answer that does not parse may still carry live credentials, cut short or not.
  const size_t kLoggedBytes = 2048;
  std::string shown = ShortenSecretsIn(text);
  if (shown.size() > kLoggedBytes) shown = shown.substr(0, kLoggedBytes) + "...";
  ZLOG("Failed to parse json: %s", shown.c_str());
  return false;
}

bool WriteFileAtomically(const Json::Value &value, const std::string &path, mode_t mode) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "  ";
  // Texts are written as the bytes received: the escaping writer replaces bytes that are
  // not UTF-8 with U+FFFD, so a token holding one would read back as another token.
  builder["emitUTF8"] = true;
  if (::vexozeph::WriteFileAtomically(path, Json::writeString(builder, value) + "\n", mode)) {
    return true;
  }
  int saved = errno;
  ZLOG("Failed to save json: %s", path.c_str());
  errno = saved;
  return false;
}

std::string ToCompactString(const Json::Value &value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, value);
}

bool Has(const Json::Value &value, const char *key) {
  return value.isObject() && value.isMember(key);
}

const Json::Value &Member(const Json::Value &value, const char *key) {
  if (!value.isObject()) return NullValue();
  const Json::Value *found = value.find(key, key + std::char_traits<char>::length(key));
  return found ? *found : NullValue();
}

const Json::Value &ArrayMember(const Json::Value &value, const char *key) {
  static const Json::Value kEmpty(Json::arrayValue);
  const Json::Value &member = Member(value, key);
  return member.isArray() ? member : kEmpty;
}

bool GetString(const Json::Value &value, const char *key, std::string &out) {
  const Json::Value &member = Member(value, key);
  if (!member.isString()) return false;
  out = member.asString();
  return true;
}

std::string StringOr(const Json::Value &value, const char *key, const std::string &fallback) {
  std::string out;
  return GetString(value, key, out) ? out : fallback;
}

bool ResultWord(const Json::Value &answer, std::string &word, const char *key) {
  const Json::Value &member = Member(answer, key);
  if (member.isString()) {
    word = member.asString();
    return true;
  }
  if (member.isNumeric() || member.isBool()) {
    word = ToCompactString(member);
    return true;
  }
  return false;
}

bool BoolOr(const Json::Value &value, const char *key, bool fallback) {
  const Json::Value &member = Member(value, key);
  return member.isBool() ? member.asBool() : fallback;
}

int64_t Int64Or(const Json::Value &value, const char *key, int64_t fallback) {
  const Json::Value &member = Member(value, key);
  return member.isInt64() ? member.asInt64() : fallback;
}

}  // namespace json
}  // namespace vexozeph
