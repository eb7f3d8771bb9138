// The appliance's own facts as the platform gives them: the one door to its serial
// number, MAC address and user agent. Nothing is kept: every read asks the platform.
#ifndef VEXOZEPH_TRANSPORT_DEVICE_H_
#define VEXOZEPH_TRANSPORT_DEVICE_H_

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

// The bodies of the C interface's identity calls, for the library's own callers (the form
// sender, TarnService) as much as for the C functions, which only check their arguments
// first. None of them touches the last error.

// VEXOZEPHGetSerialNumber: the serial number into `buf` (non-null); false, logged, when
// the platform cannot read it or it does not begin with a digit or a letter.
bool CopySerialNumber(char *buf, size_t size);
// VEXOZEPHGenerateToken: false, logged, when a token cannot be made whole.
bool GenerateRequestToken(const char *account, const char *password, char *serial,
                          size_t serial_size, char *token, size_t token_size);
// VEXOZEPHUserAgentNameGet: the user agent into `buf` (non-null, `size` positive). A
// platform failure is logged and leaves the buffer as the platform left it.
void CopyUserAgent(char *buf, size_t size);

}  // namespace device
}  // namespace vexozeph

#endif  // VEXOZEPH_TRANSPORT_DEVICE_H_
