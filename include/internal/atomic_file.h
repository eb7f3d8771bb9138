// The library's sources name this helper by its old path; it lives in the base layer.
#ifndef VEXOZEPH_INTERNAL_ATOMIC_FILE_H_
#define VEXOZEPH_INTERNAL_ATOMIC_FILE_H_
#include "base/atomic_file.h"
#endif  // VEXOZEPH_INTERNAL_ATOMIC_FILE_H_
