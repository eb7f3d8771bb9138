// The library's string helpers (format, ShortenSecret, QuoteForShell), under the name its
// sources have always used. The code is the base layer's (base/string_utils.h), shared
// with the platform and the emulator. This and its sibling are the only forwarding headers
// (docs/architecture.md).
#ifndef VEXOZEPH_INTERNAL_STRING_UTILS_H_
#define VEXOZEPH_INTERNAL_STRING_UTILS_H_
#include "base/string_utils.h"
#endif  // VEXOZEPH_INTERNAL_STRING_UTILS_H_
