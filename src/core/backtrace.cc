#include "core/backtrace.h"

#include <cxxabi.h>
#include <execinfo.h>

#include <cstdlib>
#include <memory>

namespace vexozeph {

namespace {

struct FreeDeleter {
  void operator()(void *p) const { std::free(p); }
};

// "module(function+offset) [address]" -> "- module: function +offset"; other shapes are
// kept as they are after "- ".
std::string FormatFrame(const Backtrace &self, const std::string &symbol) {
  size_t open = symbol.find('(');
  size_t plus = (open == std::string::npos) ? std::string::npos : symbol.find('+', open);
  size_t close = (plus == std::string::npos) ? std::string::npos : symbol.find(')', plus);
  if (close == std::string::npos) return "- " + symbol;
  std::string module = symbol.substr(0, open);
  std::string function = symbol.substr(open + 1, plus - open - 1);
  std::string offset = symbol.substr(plus + 1, close - plus - 1);
  return "- " + module + ": " + self.FormatFunctionName(function.c_str()) + " +" + offset;
}

}  // namespace

void Backtrace::Capture(int depth) const {
  lines_.clear();
  if (depth <= 0) depth = 1;
  std::vector<void *> frames(static_cast<size_t>(depth));
  int count = ::backtrace(frames.data(), depth);
  if (count <= 0) {
    lines_.push_back("- empty");
    return;
  }
  std::unique_ptr<char *, FreeDeleter> symbols(::backtrace_symbols(frames.data(), count));
  if (!symbols) {
    lines_.push_back("- empty");
    return;
  }
  for (int i = 1; i < count; ++i) lines_.push_back(FormatFrame(*this, symbols.get()[i]));
}

void Backtrace::EachLine(const std::function<void(const std::string &)> &callback) const {
  if (!callback) throw std::bad_function_call();
  for (const std::string &line : lines_) callback(line);
}

std::string Backtrace::FormatFunctionName(const char *mangled) const {
  if (mangled == nullptr) return std::string();
  int status = 0;
  std::unique_ptr<char, FreeDeleter> demangled(
      abi::__cxa_demangle(mangled, nullptr, nullptr, &status));
  if (status != 0 || !demangled) return mangled;
  return demangled.get();
}

std::ostream &operator<<(std::ostream &out, const Backtrace &backtrace) {
  backtrace.EachLine([&out](const std::string &line) { out << line << std::endl; });
  return out;
}

}  // namespace vexozeph
