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

bool Parse(const std::string &text, Json::Value &out, std::string &errors) {
  Json::CharReaderBuilder builder;
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value parsed;
  if (!reader->parse(text.data(), text.data() + text.size(), &parsed, &errors)) return false;
  out.swap(parsed);
  return true;
}
}  // namespace

bool FromFile(const std::string &path, Json::Value &out) {
  std::string text;
  if (!ReadWholeFile(path, text)) return false;
  std::string errors;
  return Parse(text, out, errors);
}

bool FromString(const std::string &text, Json::Value &out) {
  std::string errors;
  if (Parse(text, out, errors)) return true;
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

}  // namespace json
}  // namespace vexozeph
