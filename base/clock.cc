#include "base/clock.h"

#include <atomic>
#include <ctime>

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
