// The platform's whole-file writers replace their files with the base's directory-locked
// replacement; these names let them say so without qualifying each call.
#ifndef VEXO_PLATFORM_LINUX_ATOMIC_REPLACE_H_
#define VEXO_PLATFORM_LINUX_ATOMIC_REPLACE_H_

#include "base/atomic_file.h"

namespace vexo_platform {

using vexozeph::BaseNameOf;
using vexozeph::DirectoryLock;
using vexozeph::DirectoryOf;
using vexozeph::Durability;
using vexozeph::FileHolds;
using vexozeph::ReplaceFile;
using vexozeph::TempNameFor;

}  // namespace vexo_platform

#endif  // VEXO_PLATFORM_LINUX_ATOMIC_REPLACE_H_
