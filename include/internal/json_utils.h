// The library's JSON helpers (read a document from a file or text, write one atomically, the
// depth-limited parse and the typed member reads), under the name its sources have always
// used. The code is the base layer's (base/json_utils.h), shared with the platform and the
// emulator. This and its sibling are the only forwarding headers (docs/architecture.md).
#ifndef VEXOZEPH_INTERNAL_JSON_UTILS_H_
#define VEXOZEPH_INTERNAL_JSON_UTILS_H_
#include "base/json_utils.h"
#endif  // VEXOZEPH_INTERNAL_JSON_UTILS_H_
