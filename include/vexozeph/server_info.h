// ServerInfo: which server base each request goes to. A base stored with the signed-in
// account wins for the account and identity hosts; otherwise the appliance setting
// "vexopkg_server" selects the built-in test or production bases. Bases are HTTPS origins
// without a trailing slash. Nothing is cached: each call reads the files afresh.
#ifndef VEXOZEPH_SERVER_INFO_H_
#define VEXOZEPH_SERVER_INFO_H_

#include <memory>
#include <string>

#include "vexozeph/export.h"

namespace vexozeph {

class ServerInfoImpl;

class VEXOZEPH_API ServerInfo {
 public:
  ServerInfo();
  virtual ~ServerInfo();
  ServerInfo(const ServerInfo &) = delete;
  ServerInfo &operator=(const ServerInfo &) = delete;

  // The account's stored account host, else the built-in one.
  std::string GetAccountHost() const;
  // The account's stored identity (OAuth) host, else the built-in one.
  std::string GetIdentityHost() const;
  // The built-in payment host; no account can override it.
  std::string GetPaymentHost() const;

 private:
  std::unique_ptr<ServerInfoImpl> impl_;
};

}  // namespace vexozeph

#endif  // VEXOZEPH_SERVER_INFO_H_
