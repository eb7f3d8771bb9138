// Creating the directories the platform writes into.
#ifndef VEXO_PLATFORM_LINUX_DIRECTORIES_H_
#define VEXO_PLATFORM_LINUX_DIRECTORIES_H_

#include <sys/types.h>

#include <string>

namespace vexo_platform {

// Creates `path` and any missing parents. Components created get `mode` (existing ones are
// left alone). True when `path` is a directory afterwards; false with errno set.
bool MakeDirectories(const std::string &path, mode_t mode);

}  // namespace vexo_platform

#endif  // VEXO_PLATFORM_LINUX_DIRECTORIES_H_
