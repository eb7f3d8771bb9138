// Replacing a whole file so that a reader sees either the old content or the new one,
// never a torn mixture, even if the writer is killed half-way.
#ifndef VEXOZEPH_INTERNAL_ATOMIC_FILE_H_
#define VEXOZEPH_INTERNAL_ATOMIC_FILE_H_

#include <sys/types.h>

#include <string>

namespace vexozeph {

// Writes `content` to a temporary file created with `mode` beside `path`, fsyncs it,
// renames it over `path` and fsyncs the directory. False (errno set) on failure, with the
// temporary file removed.
bool WriteFileAtomically(const std::string &path, const std::string &content, mode_t mode = 0600);

// The whole content of `path` into `out`. False when it cannot be read.
bool ReadWholeFile(const std::string &path, std::string &out);

}  // namespace vexozeph

#endif  // VEXOZEPH_INTERNAL_ATOMIC_FILE_H_
