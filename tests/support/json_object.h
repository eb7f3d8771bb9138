// A JSON object written inline, for the answers and account changes the tests against
// the cloud emulator hand over.
#ifndef VEXOZEPH_TESTS_SUPPORT_JSON_OBJECT_H_
#define VEXOZEPH_TESTS_SUPPORT_JSON_OBJECT_H_

#include <json/json.h>

#include <initializer_list>
#include <utility>

namespace vexozeph {
namespace testing {

inline Json::Value JsonObject(std::initializer_list<std::pair<const char *, Json::Value>> members) {
  Json::Value object(Json::objectValue);
  for (const auto &member : members) object[member.first] = member.second;
  return object;
}

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_JSON_OBJECT_H_
