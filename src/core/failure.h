// How an operation of the library fails. Each operation is one C++ function that returns
// its result or throws; its C function and its class method are thin faces over it. The
// operation writes its own log line where the failure happens (those lines are part of
// the interface), then ends with Fail: a class method lets the Failure reach its caller as
// the ZephException it is, and the C function's edge (GuardCInterface) turns it into -1
// and the last error without a line of its own. No face ever reads the last error back to
// learn what happened, so two threads failing at once each keep their own code.
#ifndef VEXOZEPH_CORE_FAILURE_H_
#define VEXOZEPH_CORE_FAILURE_H_

#include "vexozeph/zeph_exception.h"

namespace vexozeph {

class Failure : public ZephException {
 public:
  // What the C interface does with its last error when an operation fails this way.
  enum class LastError {
    kSet,   // the failure's code becomes the last error
    kKeep,  // the last error stays as it was; the code is for the classes only
  };
  Failure(unsigned int code, LastError last_error);

  bool KeepsLastError() const { return last_error_ == LastError::kKeep; }

 private:
  LastError last_error_;
};

// Ends the operation with `code`, which the C interface also leaves as its last error.
[[noreturn]] void Fail(unsigned int code);

// Ends the operation with `code` for the classes, while the C interface answers -1 and
// leaves its last error as it was: the failures it has always reported that way (plugins
// that cannot be told, a time zone that cannot be read, a busy query lock).
[[noreturn]] void FailKeepingLastError(unsigned int code);

}  // namespace vexozeph

#endif  // VEXOZEPH_CORE_FAILURE_H_
