// The library's sources name this helper by its old path; it lives in the base layer.
#ifndef VEXOZEPH_INTERNAL_LOG_H_
#define VEXOZEPH_INTERNAL_LOG_H_
#include "base/log.h"
#endif  // VEXOZEPH_INTERNAL_LOG_H_
