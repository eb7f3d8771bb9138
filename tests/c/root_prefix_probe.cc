// Prints where the library would look for the settings file. Run setuid by the tests to
// show that the root prefix is ignored in a privileged process.
#include <cstdio>

#include "base/root_path.h"

// The leak checker cannot work inside a set-id process (it cannot trace itself there), and
// a set-id process may ignore ASAN_OPTIONS; the probe holds nothing worth checking.
extern "C" const char *__asan_default_options() { return "detect_leaks=0"; }

int main() {
  std::printf("%s\n", vexozeph::RootedPath("/etc/vexoinfo.conf").c_str());
  return 0;
}
