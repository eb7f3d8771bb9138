// The appliance's HTTP user agent on a generic Linux host:
//   "vexozeph/<library version> (<os-release PRETTY_NAME, or ID VERSION_ID>; <machine>)"
// os-release is read from <root>/etc/os-release, else <root>/usr/lib/os-release; without
// either the kernel's name and release stand in. The machine is uname's.
#include <errno.h>
#include <sys/utsname.h>

#include <map>
#include <sstream>
#include <string>

#include "base/root_path.h"
#include "platform_error.h"
#include "text_file.h"
#include "vexo_platform/vlib_device.h"

#ifndef VEXOZEPH_VERSION
#error "VEXOZEPH_VERSION must be defined by the build"
#endif

namespace vexo_platform {
namespace {

// KEY=value lines; values may be quoted with double or single quotes.
std::map<std::string, std::string> ParseOsRelease(const std::string &content) {
  std::map<std::string, std::string> fields;
  std::istringstream lines(content);
  std::string line;
  while (std::getline(lines, line)) {
    line = Trimmed(line);
    size_t equals = line.find('=');
    if (line.empty() || line[0] == '#' || equals == std::string::npos) continue;
    std::string value = Trimmed(line.substr(equals + 1));
    if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
        value.back() == value.front()) {
      value = value.substr(1, value.size() - 2);
    }
    fields[Trimmed(line.substr(0, equals))] = value;
  }
  return fields;
}

// The text ends up in an HTTP header: keep printable ASCII only, so a hostile os-release
// can never add a header line.
std::string Printable(const std::string &text) {
  std::string out;
  for (char c : text) {
    if (c >= 0x20 && c < 0x7f) out += c;
  }
  return Trimmed(out);
}

std::string SystemName(const struct utsname &uts) {
  std::string content;
  if (ReadTextFile(vexozeph::RootedPath("/etc/os-release"), content) ||
      ReadTextFile(vexozeph::RootedPath("/usr/lib/os-release"), content)) {
    std::map<std::string, std::string> fields = ParseOsRelease(content);
    std::string name = Printable(fields["PRETTY_NAME"]);
    if (name.empty()) name = Printable(fields["ID"] + " " + fields["VERSION_ID"]);
    if (!name.empty()) return name;
  }
  return Printable(std::string(uts.sysname) + " " + uts.release);
}

}  // namespace
}  // namespace vexo_platform

extern "C" int VLIBBxinfoUserAgentGet(char *buf, size_t size) {
  using namespace vexo_platform;
  if (buf == nullptr || size == 0) {
    SET_PLATFORM_ERROR(EINVAL);
    return -1;
  }
  struct utsname uts;
  if (::uname(&uts) != 0) {
    SET_PLATFORM_ERROR(errno);
    return -1;
  }
  std::string agent = std::string("vexozeph/") + VEXOZEPH_VERSION + " (" + SystemName(uts) + "; " +
                      Printable(uts.machine) + ")";
  if (!CopyOut(agent, buf, size)) {
    SET_PLATFORM_ERROR(ERANGE);
    return -1;
  }
  return 0;
}
