// The edge between the C interface and the library's C++ body: no exception may cross
// it. Every exported C function that runs code able to throw wraps that code here.
#ifndef VEXOZEPH_INTERNAL_C_EDGE_H_
#define VEXOZEPH_INTERNAL_C_EDGE_H_

#include <json/value.h>

#include <exception>

#include "base/log.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {

// Runs `body` and returns its result. An escaping ZephException sets its code, a JSON
// type error 2 and anything else 6; each is logged once with `function` and gives -1.
template <typename Body>
int GuardCInterface(const char *function, Body &&body) noexcept {
  try {
    return body();
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

#endif  // VEXOZEPH_INTERNAL_C_EDGE_H_
