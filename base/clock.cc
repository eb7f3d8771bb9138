#include "base/clock.h"

#include <atomic>
#include <ctime>

// 32-bit targets are built for 64-bit time_t (cmake/TimeAndFileWidths.cmake) so that they
// still read the right time after 19 January 2038, when a 32-bit time() can only fail.
#if defined(__GLIBC__) && (__GLIBC__ > 2 || (__GLIBC__ == 2 && __GLIBC_MINOR__ >= 34))
static_assert(sizeof(time_t) == 8, "the wall clock must be read with a 64-bit time_t");
#endif

namespace vexozeph {
namespace clock {
namespace {
std::atomic<bool> g_fixed{false};
std::atomic<int64_t> g_fixed_seconds{0};
}  // namespace

int64_t Now() {
  if (g_fixed.load()) return g_fixed_seconds.load();
  return static_cast<int64_t>(::time(nullptr));
}

void SetForTesting(int64_t seconds) {
  g_fixed_seconds.store(seconds);
  g_fixed.store(true);
}

void ResetForTesting() { g_fixed.store(false); }

}  // namespace clock
}  // namespace vexozeph
