#include "vexozeph/zeph_exception.h"

#include <stdexcept>

#include "core/backtrace.h"
#include "internal/string_utils.h"
#include "vexozeph/vexozeph.h"

namespace vexozeph {

namespace {
const int kBacktraceDepth = 16;
const unsigned int kDefaultCode = VEXOZEPH_ERR_UNKNOWN;
}  // namespace

class ZephExceptionImpl : public std::runtime_error {
 public:
  ZephExceptionImpl(unsigned int code, const std::string &message)
      : std::runtime_error(message + " [code=" + std::to_string(static_cast<int>(code)) + "]"),
        code_(code) {
    backtrace_.Capture(kBacktraceDepth);
    text_ = std::runtime_error::what();
    text_ += "\n";
    backtrace_.EachLine([this](const std::string &line) {
      text_ += line;
      text_ += "\n";
    });
    text_ += "\n";
  }

  const char *what() const noexcept override { return text_.c_str(); }
  unsigned int code() const { return code_; }

 private:
  unsigned int code_;
  Backtrace backtrace_;
  std::string text_;
};

ZephException::ZephException(unsigned int code)
    : impl_(new ZephExceptionImpl(code, GetZephErrorMsg(code))) {}

ZephException::ZephException(unsigned int code, const std::string &message)
    : impl_(new ZephExceptionImpl(code, message)) {}

ZephException::ZephException(const std::string &message)
    : impl_(new ZephExceptionImpl(kDefaultCode, message)) {}

ZephException::ZephException(const ZephException &other)
    : std::exception(other), impl_(new ZephExceptionImpl(other.GetCode(), other.what())) {}

ZephException &ZephException::operator=(const ZephException &other) {
  if (this != &other) impl_.reset(new ZephExceptionImpl(other.GetCode(), other.what()));
  return *this;
}

ZephException::~ZephException() = default;

const char *ZephException::what() const noexcept { return impl_->what(); }

unsigned int ZephException::GetCode() const { return impl_->code(); }

}  // namespace vexozeph
