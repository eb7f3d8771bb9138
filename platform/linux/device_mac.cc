// The appliance's MAC address on a generic Linux host, as lower-case "aa:bb:cc:dd:ee:ff":
//   1. <root>/etc/vexozeph/mac, first line (the owner's choice);
//   2. else the interfaces of <root>/sys/class/net in name order, loopback skipped:
//      the first one backed by a device (it has a "device" entry, so docker0, bridges and
//      veth pairs do not win over the real NIC) with a non-zero address; failing that the
//      first virtual one with a non-zero address.
#include <dirent.h>
#include <errno.h>
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <string>
#include <vector>

#include "base/root_path.h"
#include "platform_error.h"
#include "text_file.h"
#include "vexo_platform/vexo_cloud_service.h"

namespace vexo_platform {
namespace {

// Six hex pairs separated by ':' or '-' into canonical form; false for anything else and
// for the all-zero address.
bool Canonical(const std::string &text, std::string &mac) {
  if (text.size() != 17) return false;
  std::string out;
  bool all_zero = true;
  for (size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (i % 3 == 2) {
      if (c != ':' && c != '-') return false;
      out += ':';
      continue;
    }
    if (!std::isxdigit(static_cast<unsigned char>(c))) return false;
    if (c != '0') all_zero = false;
    out += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  if (all_zero) return false;
  mac = out;
  return true;
}

std::vector<std::string> InterfaceNames(const std::string &dir) {
  std::vector<std::string> names;
  DIR *listing = ::opendir(dir.c_str());
  if (listing == nullptr) return names;
  while (struct dirent *entry = ::readdir(listing)) {
    std::string name = entry->d_name;
    if (name != "." && name != ".." && name != "lo") names.push_back(name);
  }
  ::closedir(listing);
  std::sort(names.begin(), names.end());
  return names;
}

bool FromInterfaces(std::string &mac) {
  const std::string net = vexozeph::RootedPath("/sys/class/net");
  std::string fallback;
  for (const std::string &name : InterfaceNames(net)) {
    std::string address;
    std::string candidate;
    if (!ReadFirstLine(net + "/" + name + "/address", address) || !Canonical(address, candidate)) {
      continue;
    }
    struct stat info;
    if (::stat((net + "/" + name + "/device").c_str(), &info) == 0) {
      mac = candidate;
      return true;
    }
    if (fallback.empty()) fallback = candidate;
  }
  if (fallback.empty()) return false;
  mac = fallback;
  return true;
}

}  // namespace
}  // namespace vexo_platform

extern "C" int VEXOBxinfoCloudServiceGetMacAddress(char *buf, size_t size) {
  using namespace vexo_platform;
  if (buf == nullptr || size == 0) {
    SET_PLATFORM_ERROR(EINVAL);
    return -1;
  }
  buf[0] = '\0';
  std::string configured;
  std::string mac;
  bool found = (ReadFirstLine(vexozeph::RootedPath("/etc/vexozeph/mac"), configured) &&
                Canonical(configured, mac)) ||
               FromInterfaces(mac);
  if (!found) {
    SET_PLATFORM_ERROR(ENOENT);
    return -1;
  }
  if (!CopyOut(mac, buf, size)) {
    SET_PLATFORM_ERROR(ERANGE);
    return -1;
  }
  return 0;
}
