// crash_writer <token|account|cache> <first> <last>: stores versions first..last of one
// file through the library, one whole replacement after another, and writes one byte to
// its standard output once the first is stored, so that a harness can kill it in the
// middle of the later ones. Exit status: 0 when all are stored, 100 + the library's code
// when one fails, 2 for a wrong command line.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "support/crash_writer/written_versions.h"

int main(int argc, char **argv) {
  using vexozeph::testing::WrittenFile;
  WrittenFile file;
  if (argc != 4 || !vexozeph::testing::FileFromWord(argv[1], file)) {
    std::fprintf(stderr, "usage: crash_writer <token|account|cache> <first> <last>\n");
    return 2;
  }
  const long long first = std::atoll(argv[2]);
  const long long last = std::atoll(argv[3]);
  if (first <= 0 || last < first) return 2;
  return vexozeph::testing::WriteVersions(file, first, last, STDOUT_FILENO);
}
