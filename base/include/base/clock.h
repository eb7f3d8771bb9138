// The library's wall clock in whole seconds since the epoch. Cache and expiry rules read
// it here so that tests can put their edges exactly where they want them.
#ifndef VEXOZEPH_BASE_CLOCK_H_
#define VEXOZEPH_BASE_CLOCK_H_

#include <cstdint>

namespace vexozeph {
namespace clock {

int64_t Now();

// Fixes Now() at `seconds` until ResetForTesting().
void SetForTesting(int64_t seconds);
void ResetForTesting();

}  // namespace clock
}  // namespace vexozeph

#endif  // VEXOZEPH_BASE_CLOCK_H_
