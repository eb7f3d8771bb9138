#include "profile_fields.h"

namespace vexozeph {
namespace cli {

std::vector<Field> ProfileFields(const Json::Value &profile) {
  static const struct {
    const char *key;
    const char *label;
  } kProfile[] = {
      {"email", "E-mail"},
      {"full_name", "Name"},
      {"country", "Country"},
      {"timezone", "Time zone"},
      {"notify_language", "Notification language"},
      {"activated", "Activated"},
      {"disabled", "Disabled"},
      {"enews", "E-news"},
      {"critical_release", "Critical releases"},
      {"enews_local_promotion", "Local promotions"},
  };
  std::vector<Field> fields;
  for (const auto &member : kProfile) {
    fields.push_back({member.key, member.label,
                      profile.isObject() ? profile.get(member.key, Json::Value()) : Json::Value()});
  }
  return fields;
}

}  // namespace cli
}  // namespace vexozeph
