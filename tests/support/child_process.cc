#include "support/child_process.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

namespace vexozeph {
namespace testing {

pid_t StartChild(const std::function<int()> &body) {
  pid_t pid = ::fork();
  if (pid == 0) {
    int code = 255;
    try {
      code = body();
    } catch (...) {
      code = 254;
    }
    ::_exit(code & 0xff);
  }
  return pid;
}

int WaitChild(pid_t pid) {
  if (pid < 0) return -1;
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return -1;
}

int RunInChild(const std::function<int()> &body) { return WaitChild(StartChild(body)); }

}  // namespace testing
}  // namespace vexozeph
