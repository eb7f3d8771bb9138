// The zone reader agrees with the C library, which this test alone may switch TZ for:
// zones north and south of the equator, with odd offsets, negative or no daylight saving,
// at instants before, between and after the compiled transitions, and one second either
// side of a change.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <cstdint>
#include <string>

#include "text_file.h"
#include "tzif_zone.h"

namespace {

using vexo_platform::ZoneState;
using vexo_platform::ZoneStateAt;

ZoneState FromCLibrary(const std::string &zone, int64_t when) {
  setenv("TZ", (":" + zone).c_str(), 1);
  tzset();
  const time_t at = static_cast<time_t>(when);
  struct tm local = {};
  localtime_r(&at, &local);
  unsetenv("TZ");
  tzset();
  ZoneState state;
  state.offset = local.tm_gmtoff;
  state.abbreviation = local.tm_zone;
  state.dst = local.tm_isdst > 0;
  return state;
}

TEST(TzifZone, OffsetAbbreviationAndDaylightSavingMatchTheCLibraryAcrossZonesAndYears) {
  const char *zones[] = {"Europe/Berlin",     "America/New_York", "Australia/Sydney",
                         "Asia/Taipei",       "Asia/Kolkata",     "Pacific/Chatham",
                         "America/St_Johns",  "Europe/Dublin",    "Africa/Casablanca",
                         "America/Sao_Paulo", "Asia/Dubai",       "Antarctica/Troll"};
  // 1960, 1995, 2026 (summer and winter), 2040 and 2100 (past most files' transitions),
  // and one second either side of Berlin's change on 2031-03-30 01:00 UTC.
  const int64_t instants[] = {-315619200, 800000000,  1780000000, 1795000000,
                              2218000000, 4102444800, 1932598799, 1932598800};
  int compared = 0;
  for (const char *zone : zones) {
    std::string data;
    if (!vexo_platform::ReadTextFile(std::string("/usr/share/zoneinfo/") + zone, data, 1 << 20)) {
      continue;
    }
    for (int64_t when : instants) {
      ZoneState mine;
      ASSERT_TRUE(ZoneStateAt(data, when, mine)) << zone;
      const ZoneState expected = FromCLibrary(zone, when);
      EXPECT_EQ(mine.offset, expected.offset) << zone << " at " << when;
      EXPECT_EQ(mine.abbreviation, expected.abbreviation) << zone << " at " << when;
      EXPECT_EQ(mine.dst, expected.dst) << zone << " at " << when;
      ++compared;
    }
  }
  if (compared == 0) GTEST_SKIP() << "no time-zone database on this host";

  for (const std::string &junk :
       {std::string(), std::string("TZif"), std::string("TZif2") + std::string(200, '\xff')}) {
    ZoneState state;
    EXPECT_FALSE(ZoneStateAt(junk, 0, state)) << junk.size();
  }
}

}  // namespace
