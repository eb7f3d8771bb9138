// The library's sources name this helper by its old path; it lives in the base layer.
#ifndef VEXOZEPH_INTERNAL_REQUEST_TOKEN_H_
#define VEXOZEPH_INTERNAL_REQUEST_TOKEN_H_
#include "base/request_token.h"
#endif  // VEXOZEPH_INTERNAL_REQUEST_TOKEN_H_
