// The call stack of the current thread as readable lines, innermost frame first.
#ifndef VEXOZEPH_CORE_BACKTRACE_H_
#define VEXOZEPH_CORE_BACKTRACE_H_

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace vexozeph {

class Backtrace {
 public:
  // Replaces the lines with up to `depth` frames of the current stack, leaving out the
  // capture itself. Each line reads "- module: function +offset".
  void Capture(int depth) const;
  // Calls `callback` with each line in order; an empty callback throws
  // std::bad_function_call.
  void EachLine(const std::function<void(const std::string &)> &callback) const;
  // The demangled form of `mangled`, or the input unchanged when it does not demangle.
  std::string FormatFunctionName(const char *mangled) const;

 private:
  // Filled by Capture, which is a query of the stack and so a const operation.
  mutable std::vector<std::string> lines_;
};

// Writes each line followed by a newline, flushing after each.
std::ostream &operator<<(std::ostream &out, const Backtrace &backtrace);

}  // namespace vexozeph

#endif  // VEXOZEPH_CORE_BACKTRACE_H_
