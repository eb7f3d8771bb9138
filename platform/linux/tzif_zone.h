// A zone's local time at an instant, read from its compiled time-zone database file
// (TZif) without the C library's TZ setting: switching TZ would change the environment of
// every thread of the host process.
#ifndef VEXO_PLATFORM_LINUX_TZIF_ZONE_H_
#define VEXO_PLATFORM_LINUX_TZIF_ZONE_H_

#include <cstdint>
#include <string>

namespace vexo_platform {

struct ZoneState {
  long offset = 0;  // seconds east of UTC
  std::string abbreviation;
  bool dst = false;
};

// The state at `when` (seconds since the epoch) of the zone whose TZif file holds `data`:
// the last transition at or before it, or past the last one the file's closing rule. False
// when `data` is not a well-formed TZif file.
bool ZoneStateAt(const std::string &data, int64_t when, ZoneState &state);

}  // namespace vexo_platform

#endif  // VEXO_PLATFORM_LINUX_TZIF_ZONE_H_
