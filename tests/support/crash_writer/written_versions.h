// Numbered contents of the three files the crash harness writes and kills writers of.
// Every value differs from one version to the next, so a file cut short or mixed from two
// versions is told apart from any whole one.
#ifndef VEXOZEPH_TESTS_SUPPORT_CRASH_WRITER_WRITTEN_VERSIONS_H_
#define VEXOZEPH_TESTS_SUPPORT_CRASH_WRITER_WRITTEN_VERSIONS_H_

#include <cstdint>
#include <string>

namespace vexozeph {
namespace testing {

enum class WrittenFile { kTokenFile, kAccountFile, kPackageCache };

// "token", "account" or "cache": the word the crash writer takes on its command line.
const char *WordOf(WrittenFile file);
bool FileFromWord(const std::string &word, WrittenFile &file);

// The file's path without the root prefix.
std::string AbsolutePathOf(WrittenFile file);

// Stores `version` (> 0) through the library's own writer of `file`: 0 when stored, else
// the code the library reported.
int WriteVersion(WrittenFile file, int64_t version);

// Stores versions first..last one after another and writes one byte to `ready_fd` once
// the first is stored, so that a harness can kill the writer in the middle of the later
// ones. 0 when all are stored, else 100 + the code of the first failure.
int WriteVersions(WrittenFile file, int64_t first, int64_t last, int ready_fd);

// The version `file` holds whole, or -1 when it is missing, unreadable, cut short or
// mixed from several versions.
int64_t WholeVersionIn(WrittenFile file);

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_CRASH_WRITER_WRITTEN_VERSIONS_H_
