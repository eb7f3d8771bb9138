// Prints where the library would look for the settings file. Run setuid by the tests to
// show that the root prefix is ignored in a privileged process.
#include <cstdio>

#include "internal/root_path.h"

int main() {
  std::printf("%s\n", vexozeph::RootedPath("/etc/vexoinfo.conf").c_str());
  return 0;
}
