// The edge between the C interface and the library's C++ body: no exception may cross
// it. Every exported C function that runs code able to throw wraps that code here.
#ifndef VEXOZEPH_CORE_C_EDGE_H_
#define VEXOZEPH_CORE_C_EDGE_H_

#include <json/value.h>

#include <exception>

#include "base/log.h"
#include "core/failure.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {

// The last error `failure` leaves on the C interface: its code, unless it is one of the
// failures that keep the last error as it was.
inline void LeaveLastError(const Failure &failure) {
  if (!failure.KeepsLastError()) VEXOZEPHErrSet(failure.GetCode());
}

// Runs `body` and returns its result. An operation's Failure, logged where it happened,
// leaves its last error and gives -1. Anything else that escapes is logged once with
// `function`: any other ZephException sets its code, a JSON type error 2 and the rest 6.
template <typename Body>
int GuardCInterface(const char *function, Body &&body) noexcept {
  try {
    return body();
  } catch (const Failure &failure) {
    LeaveLastError(failure);
  } catch (const ZephException &e) {
    VEXOZEPHErrSet(e.GetCode());
    ZLOG_AT(LOG_ERR, "%s failed: %s", function, e.what());
  } catch (const Json::Exception &e) {
    VEXOZEPHErrSet(VEXOZEPH_ERR_BAD_JSON);
    ZLOG_AT(LOG_ERR, "%s failed on JSON: %s", function, e.what());
  } catch (const std::exception &e) {
    VEXOZEPHErrSet(VEXOZEPH_ERR_SYSTEM);
    ZLOG_AT(LOG_ERR, "%s failed: %s", function, e.what());
  } catch (...) {
    VEXOZEPHErrSet(VEXOZEPH_ERR_SYSTEM);
    ZLOG_AT(LOG_ERR, "%s failed on an unknown exception", function);
  }
  return -1;
}

}  // namespace vexozeph

#endif  // VEXOZEPH_CORE_C_EDGE_H_
