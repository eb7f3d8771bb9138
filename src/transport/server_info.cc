#include "vexozeph/server_info.h"

#include <cstring>

#include "base/log.h"
#include "base/root_path.h"
#include "transport/server_info_impl.h"
#include "vexo_platform/vlib_file.h"
#include "vexozeph/user.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {

namespace {

const char kDefaultsConfig[] = "/etc.defaults/vexoinfo.conf";
const char kServerKey[] = "vexopkg_server";
const char kTestServer[] = "test";
const size_t kServerValueSize = 64;

struct BuiltInBases {
  const char *production;
  const char *test;
};
const BuiltInBases kAccountBases = {VEXOZEPH_PROD_ACCOUNT_HOST, VEXOZEPH_TEST_ACCOUNT_HOST};
const BuiltInBases kIdentityBases = {VEXOZEPH_PROD_IDENTITY_HOST, VEXOZEPH_TEST_IDENTITY_HOST};
const BuiltInBases kPaymentBases = {VEXOZEPH_PROD_PAYMENT_HOST, VEXOZEPH_TEST_PAYMENT_HOST};

std::string Choose(const BuiltInBases &bases, bool test) {
  return test ? bases.test : bases.production;
}

// The base stored with the account (read by `stored`), used exactly as it was stored;
// else the built-in one. A device without a readable account record still talks to the
// built-in servers, so a record failure is logged (`log_failure`) and not passed on.
std::string StoredOrBuiltIn(const ServerInfoImpl &info, std::string (User::*stored)() const,
                            void (*log_failure)(), const BuiltInBases &bases) {
  std::string host;
  try {
    host = (User().*stored)();
  } catch (const ZephException &) {
    log_failure();
  }
  if (!host.empty()) return host;
  return Choose(bases, info.IsTest());
}

}  // namespace

std::string ServerInfoImpl::GetAccountHost() const {
  return StoredOrBuiltIn(
      *this, &User::GetAccountHost, [] { ZLOG("Failed to get user defined account host"); },
      kAccountBases);
}

std::string ServerInfoImpl::GetIdentityHost() const {
  return StoredOrBuiltIn(
      *this, &User::GetIdentityHost, [] { ZLOG("Failed to get user defined identity host"); },
      kIdentityBases);
}

std::string ServerInfoImpl::GetPaymentHost() const {
  return Choose(kPaymentBases, IsTest());
}

bool ServerInfoImpl::IsTest() const {
  char value[kServerValueSize] = {0};
  int length = VLIBCFileGetKeyValue(RootedPath(kDefaultsConfig).c_str(), kServerKey, value,
                                    sizeof(value), 0);
  return length > 0 && std::strcmp(value, kTestServer) == 0;
}

ServerInfo::ServerInfo() : impl_(new ServerInfoImpl()) {}
ServerInfo::~ServerInfo() = default;

std::string ServerInfo::GetAccountHost() const {
  return impl_->GetAccountHost();
}
std::string ServerInfo::GetIdentityHost() const {
  return impl_->GetIdentityHost();
}
std::string ServerInfo::GetPaymentHost() const {
  return impl_->GetPaymentHost();
}

}  // namespace vexozeph
