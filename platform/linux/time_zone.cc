// Time zones on a generic Linux host.
//   VEXOZoneGet: the first line of <root>/etc/timezone; else the target of the
//     <root>/etc/localtime symlink after ".../zoneinfo/" (a "posix/" or "right/" prefix
//     dropped); else "UTC".
//   VEXOZoneGetInfo: a zone is valid when its name is a plain relative path of letters,
//     digits and "_+-/" without "..", and the host's time-zone database ($TZDIR, else
//     /usr/share/zoneinfo; the host's, not under the root prefix, since that is what the C
//     library computes with) holds a TZif file of that name. "UTC" is always valid.
//     Properties: "nameInTZDB" (the name), "offset" ("+08:00", now), "abbreviation"
//     ("CST"), "dst" ("yes"/"no", now), read from that file rather than through TZ, which
//     belongs to the host process and is shared by its threads.
#include <errno.h>
#include <limits.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "base/clock.h"
#include "base/root_path.h"
#include "platform_error.h"
#include "sz_containers.h"
#include "text_file.h"
#include "tzif_zone.h"
#include "vexo_platform/vexo_zone.h"

namespace vexo_platform {
namespace {

constexpr size_t kMaxZoneName = 255;

bool ValidZoneName(const std::string &zone) {
  if (zone.empty() || zone.size() > kMaxZoneName || zone[0] == '/' || zone[0] == '-' ||
      zone.find("..") != std::string::npos) {
    return false;
  }
  for (char c : zone) {
    if (!std::isalnum(static_cast<unsigned char>(c)) && std::strchr("_+-/", c) == nullptr) {
      return false;
    }
  }
  return true;
}

std::string ZoneFromLink() {
  char target[PATH_MAX];
  ssize_t length =
      readlink(vexozeph::RootedPath("/etc/localtime").c_str(), target, sizeof(target) - 1);
  if (length <= 0) return std::string();
  target[length] = '\0';
  std::string link(target);
  const std::string marker = "zoneinfo/";
  size_t at = link.find(marker);
  if (at == std::string::npos) return std::string();
  std::string zone = link.substr(at + marker.size());
  for (const char *prefix : {"posix/", "right/"}) {
    if (zone.compare(0, std::strlen(prefix), prefix) == 0) zone.erase(0, std::strlen(prefix));
  }
  return zone;
}

std::string ConfiguredZone() {
  std::string zone;
  if (ReadFirstLine(vexozeph::RootedPath("/etc/timezone"), zone) && ValidZoneName(zone)) {
    return zone;
  }
  zone = ZoneFromLink();
  return ValidZoneName(zone) ? zone : "UTC";
}

// The zone's compiled file in the host's database; "UTC" needs none.
bool ReadZoneFile(const std::string &zone, std::string &data) {
  const char *dir = std::getenv("TZDIR");
  std::string path =
      std::string(dir != nullptr && dir[0] != '\0' ? dir : "/usr/share/zoneinfo") + "/" + zone;
  return ReadTextFile(path, data, 1 << 20) && data.compare(0, 4, "TZif") == 0;
}

std::string OffsetText(long seconds) {
  char text[48];
  long minutes = (seconds < 0 ? -seconds : seconds) / 60;
  std::snprintf(text, sizeof(text), "%c%02ld:%02ld", seconds < 0 ? '-' : '+', minutes / 60,
                minutes % 60);
  return text;
}

}  // namespace
}  // namespace vexo_platform

extern "C" {

int VEXOZoneGet(char *buf, size_t size, int *size_needed) {
  using namespace vexo_platform;
  return GuardPlatformCall(ENOMEM, -1, [&] {
    std::string zone = ConfiguredZone();
    if (size_needed != nullptr) *size_needed = static_cast<int>(zone.size() + 1);
    if (buf == nullptr || !CopyOut(zone, buf, size)) {
      SET_PLATFORM_ERROR(buf == nullptr ? EINVAL : ERANGE);
      return -1;
    }
    return 0;
  });
}

int VEXOZoneGetInfo(const char *zone, PVLIBSZHASH *info) {
  using namespace vexo_platform;
  if (zone == nullptr || info == nullptr || !ValidZoneName(zone)) {
    SET_PLATFORM_ERROR(EINVAL);
    return -1;
  }
  return GuardPlatformCall(ENOMEM, -1, [&] {
    ZoneState state;
    state.abbreviation = "UTC";
    std::string data;
    if (std::strcmp(zone, "UTC") != 0) {
      if (!ReadZoneFile(zone, data)) {
        SET_PLATFORM_ERROR(ENOENT);
        return -1;
      }
      if (!ZoneStateAt(data, vexozeph::clock::Now(), state)) {
        SET_PLATFORM_ERROR(EINVAL);
        return -1;
      }
    }
    const std::vector<std::pair<std::string, std::string>> properties = {
        {"nameInTZDB", zone},
        {"offset", OffsetText(state.offset)},
        {"abbreviation", state.abbreviation},
        {"dst", state.dst ? "yes" : "no"}};
    // A caller without a hash of its own gets a new one, which it frees.
    if (*info == nullptr && (*info = HashAlloc(static_cast<int>(properties.size()))) == nullptr) {
      return -1;
    }
    for (const auto &property : properties) {
      if (HashSet(info, property.first.c_str(), property.second.c_str()) < 0) return -1;
    }
    return static_cast<int>(properties.size());
  });
}

}  // extern "C"
