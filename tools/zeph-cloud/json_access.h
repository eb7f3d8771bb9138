// Non-throwing reads of JSON members: whatever a client sends or a file holds, a member
// of the wrong type counts as absent.
#ifndef ZEPH_CLOUD_JSON_ACCESS_H_
#define ZEPH_CLOUD_JSON_ACCESS_H_

#include <json/json.h>

#include <cstdint>
#include <string>

namespace zeph_cloud {

const Json::Value &MemberAt(const Json::Value &object, const char *key);
// The array member, or an empty array.
const Json::Value &ArrayAt(const Json::Value &object, const char *key);
std::string StringAt(const Json::Value &object, const char *key, const std::string &fallback = "");
bool BoolAt(const Json::Value &object, const char *key, bool fallback);
int64_t IntAt(const Json::Value &object, const char *key, int64_t fallback);
bool Has(const Json::Value &object, const char *key);

// Parses `text`; false when it is not JSON.
bool ParseJson(const std::string &text, Json::Value &out);
std::string CompactJson(const Json::Value &value);
std::string StyledJson(const Json::Value &value);

}  // namespace zeph_cloud

#endif  // ZEPH_CLOUD_JSON_ACCESS_H_
