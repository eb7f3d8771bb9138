// The appliance's own facts as the platform gives them: the one door to its serial
// number, MAC address and user agent. Nothing is kept: every read asks the platform.
#ifndef VEXOZEPH_INTERNAL_DEVICE_H_
#define VEXOZEPH_INTERNAL_DEVICE_H_

#include <cstddef>
#include <string>

#include "base/log.h"

namespace vexozeph {
namespace device {

// The buffers the platform is asked to fill; a longer fact arrives cut to fit.
const size_t kSerialNumberSize = 36;
const size_t kMacAddressSize = 24;
const size_t kUserAgentSize = 256;

// The serial number, unchecked (see VEXOZEPHGetSerialNumber for the check). False when
// the platform cannot read it; its last error says why. Nothing is logged.
bool ReadSerialNumber(std::string &serial);
// The same; a failure is logged at `where` as "Failed to get serial number, err=[...]".
bool ReadSerialNumber(const log::Place &where, std::string &serial);

// The MAC address; a failure is logged at `where` as "Failed to get mac address".
bool ReadMacAddress(const log::Place &where, std::string &mac);

// The user agent into `buf` (cut to size-1). False when the platform cannot give it; the
// buffer is then as the platform left it. Nothing is logged.
bool ReadUserAgent(char *buf, size_t size);

}  // namespace device
}  // namespace vexozeph

#endif  // VEXOZEPH_INTERNAL_DEVICE_H_
