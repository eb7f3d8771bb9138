// The library's sources name this helper by its old path; it lives in the base layer.
#ifndef VEXOZEPH_INTERNAL_ROOT_PATH_H_
#define VEXOZEPH_INTERNAL_ROOT_PATH_H_
#include "base/root_path.h"
#endif  // VEXOZEPH_INTERNAL_ROOT_PATH_H_
