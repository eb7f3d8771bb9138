// The library's sources name this helper by its old path; it lives in the base layer.
#ifndef VEXOZEPH_INTERNAL_CLOCK_H_
#define VEXOZEPH_INTERNAL_CLOCK_H_
#include "base/clock.h"
#endif  // VEXOZEPH_INTERNAL_CLOCK_H_
