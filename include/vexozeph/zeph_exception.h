// ZephException: the only exception the library's classes throw. It carries a numeric
// code from vexozeph/error_codes.h and a text holding the message, the code and the call
// stack at the point of construction. Callers decide on GetCode(); what() is log text.
#ifndef VEXOZEPH_ZEPH_EXCEPTION_H_
#define VEXOZEPH_ZEPH_EXCEPTION_H_

#include <exception>
#include <memory>
#include <string>

#include "vexozeph/export.h"

namespace vexozeph {

class ZephExceptionImpl;

class VEXOZEPH_API ZephException : public std::exception {
 public:
  // Message from the code's table text, e.g. "System error" for 22.
  explicit ZephException(unsigned int code);
  ZephException(unsigned int code, const std::string &message);
  // Code 24 (unknown).
  explicit ZephException(const std::string &message);
  // Carries the other's code; the message is the other's whole text (so the text nests),
  // with a fresh backtrace.
  ZephException(const ZephException &other);
  ZephException &operator=(const ZephException &other);
  virtual ~ZephException();

  // "<message> [code=<code>]\n<one line per frame>\n\n"; valid while the object lives.
  const char *what() const noexcept override;
  unsigned int GetCode() const;

 private:
  std::unique_ptr<ZephExceptionImpl> impl_;
};

}  // namespace vexozeph

#endif  // VEXOZEPH_ZEPH_EXCEPTION_H_
