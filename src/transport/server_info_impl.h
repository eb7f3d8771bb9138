// The body of vexozeph::ServerInfo, visible to the library and its tests.
#ifndef VEXOZEPH_TRANSPORT_SERVER_INFO_IMPL_H_
#define VEXOZEPH_TRANSPORT_SERVER_INFO_IMPL_H_

#include <string>

namespace vexozeph {

class ServerInfoImpl {
 public:
  std::string GetAccountHost() const;
  std::string GetIdentityHost() const;
  std::string GetPaymentHost() const;
  // True only when "/etc.defaults/vexoinfo.conf" holds "vexopkg_server" equal to "test",
  // exactly (no case folding, no trimming).
  bool IsTest() const;
};

}  // namespace vexozeph

#endif  // VEXOZEPH_TRANSPORT_SERVER_INFO_IMPL_H_
