// Captures the library's log lines for the life of the object.
#ifndef VEXOZEPH_TESTS_SUPPORT_LOG_CAPTURE_H_
#define VEXOZEPH_TESTS_SUPPORT_LOG_CAPTURE_H_

#include <mutex>
#include <string>
#include <vector>

#include "base/log.h"

namespace vexozeph {
namespace testing {

class LogCapture {
 public:
  LogCapture() {
    previous_ = log::SetSink([this](int priority, const std::string &line) {
      std::lock_guard<std::mutex> guard(mutex_);
      lines_.push_back(line);
      priorities_.push_back(priority);
    });
  }
  ~LogCapture() { log::SetSink(previous_); }
  LogCapture(const LogCapture &) = delete;
  LogCapture &operator=(const LogCapture &) = delete;

  std::vector<std::string> Lines() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return lines_;
  }
  std::vector<int> Priorities() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return priorities_;
  }
  // How many lines contain `text`.
  size_t Count(const std::string &text) const {
    std::lock_guard<std::mutex> guard(mutex_);
    size_t n = 0;
    for (const auto &line : lines_) n += line.find(text) != std::string::npos;
    return n;
  }
  void Clear() {
    std::lock_guard<std::mutex> guard(mutex_);
    lines_.clear();
    priorities_.clear();
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
  std::vector<int> priorities_;
  log::Sink previous_;
};

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_LOG_CAPTURE_H_
