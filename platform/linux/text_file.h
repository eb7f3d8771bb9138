// Small helpers for the platform's little text files (settings, identity facts, keys).
#ifndef VEXO_PLATFORM_LINUX_TEXT_FILE_H_
#define VEXO_PLATFORM_LINUX_TEXT_FILE_H_

#include <cstddef>
#include <string>

#include "base/key_value_text.h"

namespace vexo_platform {

// Files the platform reads are small; anything bigger is refused rather than slurped.
constexpr size_t kMaxTextFileSize = vexozeph::kMaxKeyValueFileSize;

// Reads the whole file at `path` into `out` (vexozeph::ReadWholeFile with the platform's
// size cap). False with errno set when it cannot be opened or read, or (EFBIG) when it is
// larger than `max_size`.
bool ReadTextFile(const std::string &path, std::string &out, size_t max_size = kMaxTextFileSize);

// The first line of the file at `path`, trimmed of surrounding white space. False with
// errno set when unreadable.
bool ReadFirstLine(const std::string &path, std::string &out);

// `text` without leading and trailing white space.
std::string Trimmed(const std::string &text);

// Copies `text` into `buf` of `size` bytes when it fits with its NUL. False otherwise.
bool CopyOut(const std::string &text, char *buf, size_t size);

}  // namespace vexo_platform

#endif  // VEXO_PLATFORM_LINUX_TEXT_FILE_H_
