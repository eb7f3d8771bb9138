#include "internal/json_utils.h"

#include <memory>

#include "internal/atomic_file.h"
#include "internal/log.h"
#include "vexozeph/error_codes.h"
#include "vexozeph/zeph_exception.h"

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
  if (!ReadWholeFile(path, text)) return false;
  return Parse(text, out);
}

bool FromString(const std::string &text, Json::Value &out) {
  if (Parse(text, out)) return true;
  ZLOG("Failed to parse json: %s", text.c_str());
  return false;
}

void ToFile(const Json::Value &value, const std::string &path) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "    ";
  std::string text = Json::writeString(builder, value);
  if (!WriteFileAtomically(path, text, 0600)) {
    ZLOG("Failed to save json: %s", path.c_str());
    throw ZephException(VEXOZEPH_ERR_BAD_JSON);
  }
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

bool GetString(const Json::Value &value, const char *key, std::string &out) {
  const Json::Value &member = Member(value, key);
  if (!member.isString()) return false;
  out = member.asString();
  return true;
}

bool GetBool(const Json::Value &value, const char *key, bool &out) {
  const Json::Value &member = Member(value, key);
  if (!member.isBool()) return false;
  out = member.asBool();
  return true;
}

bool GetInt64(const Json::Value &value, const char *key, int64_t &out) {
  const Json::Value &member = Member(value, key);
  if (!member.isInt64()) return false;
  out = member.asInt64();
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

}  // namespace json
}  // namespace vexozeph
