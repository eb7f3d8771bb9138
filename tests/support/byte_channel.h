// A pipe that a test and the child processes it starts share, to let the children go at
// one moment and to hear back from them.
#ifndef VEXOZEPH_TESTS_SUPPORT_BYTE_CHANNEL_H_
#define VEXOZEPH_TESTS_SUPPORT_BYTE_CHANNEL_H_

#include <unistd.h>

#include <algorithm>
#include <string>

namespace vexozeph {
namespace testing {

class ByteChannel {
 public:
  ByteChannel() {
    if (::pipe(fds_) != 0) fds_[0] = fds_[1] = -1;
  }
  ~ByteChannel() {
    Close(0);
    Close(1);
  }
  ByteChannel(const ByteChannel &) = delete;
  ByteChannel &operator=(const ByteChannel &) = delete;

  bool Send(const std::string &bytes) const {
    return ::write(fds_[1], bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
  }
  // `count` bytes, or fewer once every process has closed its writing end.
  std::string Receive(size_t count) const {
    std::string got;
    char buffer[64];
    while (got.size() < count) {
      const ssize_t n = ::read(fds_[0], buffer, std::min(sizeof(buffer), count - got.size()));
      if (n <= 0) break;
      got.append(buffer, static_cast<size_t>(n));
    }
    return got;
  }
  // The parent's writing end, closed once the children are started, so that their deaths
  // end a Receive.
  void CloseWriting() { Close(1); }

 private:
  void Close(int end) {
    if (fds_[end] >= 0) ::close(fds_[end]);
    fds_[end] = -1;
  }
  int fds_[2];
};

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_BYTE_CHANNEL_H_
