// The library's sources name this helper by its old path; it lives in the base layer.
#ifndef VEXOZEPH_INTERNAL_STRING_UTILS_H_
#define VEXOZEPH_INTERNAL_STRING_UTILS_H_
#include "base/string_utils.h"
#endif  // VEXOZEPH_INTERNAL_STRING_UTILS_H_
