#include "json_access.h"

#include <memory>

namespace zeph_cloud {

const Json::Value &MemberAt(const Json::Value &object, const char *key) {
  static const Json::Value kNull;
  if (!object.isObject()) return kNull;
  const Json::Value *found = object.find(key, key + std::char_traits<char>::length(key));
  return found ? *found : kNull;
}

const Json::Value &ArrayAt(const Json::Value &object, const char *key) {
  static const Json::Value kEmpty(Json::arrayValue);
  const Json::Value &member = MemberAt(object, key);
  return member.isArray() ? member : kEmpty;
}

std::string StringAt(const Json::Value &object, const char *key, const std::string &fallback) {
  const Json::Value &member = MemberAt(object, key);
  return member.isString() ? member.asString() : fallback;
}

bool BoolAt(const Json::Value &object, const char *key, bool fallback) {
  const Json::Value &member = MemberAt(object, key);
  return member.isBool() ? member.asBool() : fallback;
}

int64_t IntAt(const Json::Value &object, const char *key, int64_t fallback) {
  const Json::Value &member = MemberAt(object, key);
  return member.isInt64() ? member.asInt64() : fallback;
}

bool Has(const Json::Value &object, const char *key) {
  return object.isObject() && object.isMember(key);
}

bool ParseJson(const std::string &text, Json::Value &out) {
  Json::CharReaderBuilder builder;
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  std::string errors;
  return reader->parse(text.data(), text.data() + text.size(), &out, &errors);
}

std::string CompactJson(const Json::Value &value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, value);
}

std::string StyledJson(const Json::Value &value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "  ";
  return Json::writeString(builder, value) + "\n";
}

}  // namespace zeph_cloud
