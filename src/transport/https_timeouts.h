// The time-outs of the HTTPS form sender. Production always runs with the fixed values
// below; only tests install shorter ones, so that a transfer outlasting them can be shown
// failing in seconds instead of minutes. The sender takes the same path either way.
#ifndef VEXOZEPH_TRANSPORT_HTTPS_TIMEOUTS_H_
#define VEXOZEPH_TRANSPORT_HTTPS_TIMEOUTS_H_

namespace vexozeph {
namespace https {

struct Timeouts {
  long low_speed_seconds;  // below 128 bytes per second for this long ends a transfer
  long long_seconds;       // connect and total time-out, long mode
  long short_seconds;      // connect and total time-out, short mode
};

const Timeouts kFixedTimeouts = {60, 120, 15};

// Installs `timeouts` and returns the ones it replaced. Tests only.
Timeouts SetTimeoutsForTesting(const Timeouts &timeouts);

}  // namespace https
}  // namespace vexozeph

#endif  // VEXOZEPH_TRANSPORT_HTTPS_TIMEOUTS_H_
