// A file descriptor that closes itself.
#ifndef VEXOZEPH_BASE_UNIQUE_FD_H_
#define VEXOZEPH_BASE_UNIQUE_FD_H_

#include <unistd.h>

#include <utility>

namespace vexozeph {

class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : fd_(fd) {}
  ~UniqueFd() { Reset(); }
  UniqueFd(UniqueFd &&other) noexcept : fd_(other.Release()) {}
  UniqueFd &operator=(UniqueFd &&other) noexcept {
    if (this != &other) {
      Reset();
      fd_ = other.Release();
    }
    return *this;
  }
  UniqueFd(const UniqueFd &) = delete;
  UniqueFd &operator=(const UniqueFd &) = delete;

  int Get() const { return fd_; }
  bool Valid() const { return fd_ >= 0; }
  int Release() { return std::exchange(fd_, -1); }
  void Reset() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
  }
  // Closes now and reports the result: a failed close after writing can mean lost data.
  bool Close() {
    int fd = Release();
    return fd < 0 || ::close(fd) == 0;
  }

 private:
  int fd_ = -1;
};

}  // namespace vexozeph

#endif  // VEXOZEPH_BASE_UNIQUE_FD_H_
