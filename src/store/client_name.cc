#include "store/client_name.h"

#include "internal/string_utils.h"
#include "vexozeph/error_codes.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {

const char kDeviceClientName[] = "tarn";
const char kClientTokenDirectory[] = "/usr/vexo/etc/vexona-account/private/";

const ClientLock kEveryClientLock[7] = {
    ClientLock::kGetToken,
    ClientLock::kRenewToken,
    ClientLock::kSaveToken,
    ClientLock::kExchangeToken,
    ClientLock::kPackageGetToken,
    ClientLock::kPackageGrantByTarn,
    ClientLock::kPackageRetrieveConfig,
};

namespace {

const size_t kMaxNameLength = 64;

bool EndsWith(const std::string &text, const std::string &end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// True when `name` ends in the part of one suffix that stands in front of another, the
// whole of it: that name followed by the shorter suffix is a shorter name followed by the
// longer one.
bool EndsInAnotherNamesLock(const std::string &name) {
  for (ClientLock longer : kEveryClientLock) {
    const std::string whole = ClientLockSuffix(longer);
    for (ClientLock shorter : kEveryClientLock) {
      const std::string tail = ClientLockSuffix(shorter);
      if (whole.size() > tail.size() && EndsWith(whole, tail) &&
          EndsWith(name, whole.substr(0, whole.size() - tail.size()))) {
        return true;
      }
    }
  }
  return false;
}

}  // namespace

const char *ClientLockSuffix(ClientLock lock) {
  switch (lock) {
    case ClientLock::kGetToken:
      return "_get_token";
    case ClientLock::kRenewToken:
      return "_renew_token";
    case ClientLock::kSaveToken:
      return "_save_token";
    case ClientLock::kExchangeToken:
      return "_exchange_token";
    case ClientLock::kPackageGetToken:
      return "_package_get_token";
    case ClientLock::kPackageGrantByTarn:
      return "_package_grant_by_tarn";
    case ClientLock::kPackageRetrieveConfig:
      return "_package_retrieve_config";
  }
  return "";
}

bool IsValidClientName(const std::string &name) {
  if (name.empty() || name.size() > kMaxNameLength || name[0] == '.') return false;
  for (char c : name) {
    bool allowed = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                   c == '-' || c == '_' || c == '.';
    if (!allowed) return false;
  }
  return !EndsInAnotherNamesLock(name);
}

const std::string &CheckedClientName(const std::string &name) {
  if (!IsValidClientName(name)) {
    throw ZephException(VEXOZEPH_ERR_BAD_PARAMETER,
                        format("Invalid client name: %s", name.c_str()));
  }
  return name;
}

const std::string &CheckedPackageName(const std::string &name) {
  if (name == kDeviceClientName) {
    throw ZephException(VEXOZEPH_ERR_BAD_PARAMETER,
                        format("Invalid client name: %s", name.c_str()));
  }
  return CheckedClientName(name);
}

std::string ClientTokenFile(const std::string &name) {
  return kClientTokenDirectory + name + "_token.json";
}

std::string ClientLockFile(const std::string &name, ClientLock lock) {
  return "/tmp/account_" + name + ClientLockSuffix(lock) + ".lock";
}

std::string PackageConfigFile(const std::string &name) {
  return "/tmp/account_" + name + "_pkce_client.conf";
}

}  // namespace vexozeph
