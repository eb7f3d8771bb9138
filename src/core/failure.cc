#include "core/failure.h"

namespace vexozeph {

Failure::Failure(unsigned int code, LastError last_error)
    : ZephException(code), last_error_(last_error) {}

void Fail(unsigned int code) {
  throw Failure(code, Failure::LastError::kSet);
}

void FailKeepingLastError(unsigned int code) {
  throw Failure(code, Failure::LastError::kKeep);
}

}  // namespace vexozeph
