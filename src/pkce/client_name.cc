#include "pkce/client_name.h"

#include "internal/string_utils.h"
#include "vexozeph/error_codes.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {

namespace {

const size_t kMaxNameLength = 64;

}  // namespace

bool IsValidClientName(const std::string &name) {
  if (name.empty() || name.size() > kMaxNameLength || name[0] == '.') return false;
  for (char c : name) {
    bool allowed = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                   c == '-' || c == '_' || c == '.';
    if (!allowed) return false;
  }
  return true;
}

const std::string &CheckedClientName(const std::string &name) {
  if (!IsValidClientName(name)) {
    throw ZephException(VEXOZEPH_ERR_BAD_PARAMETER,
                        format("Invalid client name: %s", name.c_str()));
  }
  return name;
}

}  // namespace vexozeph
