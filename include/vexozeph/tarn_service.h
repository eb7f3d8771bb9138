// TarnService: the appliance's identity as the account services know it. Stateless: each
// call asks the platform afresh and throws ZephException when it cannot answer.
#ifndef VEXOZEPH_TARN_SERVICE_H_
#define VEXOZEPH_TARN_SERVICE_H_

#include <map>
#include <string>

#include "vexozeph/export.h"

namespace vexozeph {

class VEXOZEPH_API TarnService {
 public:
  TarnService();
  virtual ~TarnService();

  // Hardware serial number; code 8 when unreadable.
  std::string GetSerialNo() const;
  // MAC address; code 20 when unreadable.
  std::string GetMac() const;
  // HTTP user agent; code 6 when unavailable.
  std::string GetUserAgent() const;
  // The cloud-service API key (registered first when the device has none); the
  // cloud-service error as a code (15 network, 24 other) on failure.
  std::string GetApiKey() const;
  // Registers a new API key and returns it; failure as GetApiKey.
  std::string NewApiKey() const;
  // Posts the system notification `tag` with its "%NAME%" variables. Failures are only
  // logged: a notification never fails its caller.
  void SendSysNotify(const std::string &tag, const std::map<std::string, std::string> &variables) const;
};

}  // namespace vexozeph

#endif  // VEXOZEPH_TARN_SERVICE_H_
