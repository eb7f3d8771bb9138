// Creating the directories a writer needs.
#ifndef VEXOZEPH_BASE_DIRECTORIES_H_
#define VEXOZEPH_BASE_DIRECTORIES_H_

#include <sys/types.h>

#include <string>

namespace vexozeph {

// Creates `path` and any missing parents. Components created get `mode` (existing ones are
// left alone). True when `path` is a directory afterwards; false with errno set.
bool MakeDirectories(const std::string &path, mode_t mode);

}  // namespace vexozeph

#endif  // VEXOZEPH_BASE_DIRECTORIES_H_
