// The account profile as the tool shows it, shared by `status` (from the account file)
// and `query` (the library's answer). The auth key is left out: it is a secret.
#ifndef VEXOZEPH_TOOLS_VEXOZEPH_PROFILE_FIELDS_H_
#define VEXOZEPH_TOOLS_VEXOZEPH_PROFILE_FIELDS_H_

#include <json/value.h>

#include <vector>

#include "output.h"

namespace vexozeph {
namespace cli {

// The members of a profile object (VEXOZEPHAccountQueryInfo's answer), in reading
// order; a member the object lacks is shown empty.
std::vector<Field> ProfileFields(const Json::Value &profile);

}  // namespace cli
}  // namespace vexozeph

#endif  // VEXOZEPH_TOOLS_VEXOZEPH_PROFILE_FIELDS_H_
