// Starting other programs without a shell: fork and execve with an argument vector, so no
// text the library passes on is ever interpreted by a shell.
#ifndef VEXO_PLATFORM_LINUX_CHILD_PROCESS_H_
#define VEXO_PLATFORM_LINUX_CHILD_PROCESS_H_

#include <sys/types.h>

#include <string>
#include <vector>

namespace vexo_platform {

struct ChildProgram {
  std::string path;               // the executable, absolute
  std::vector<std::string> argv;  // argv[0] first
  // "NAME=value" entries added to (or replacing in) the caller's environment.
  std::vector<std::string> extra_env;
  // Descriptors the child gets as its stdin / stdout; -1 keeps the caller's.
  int stdin_fd = -1;
  int stdout_fd = -1;
};

// Starts the program. Its pid, or -1 with errno set when it could not be started (the
// exec failure of the child is reported here, not as an exit status).
pid_t StartProgram(const ChildProgram &program);

// Waits for `pid`. Its exit status; 128 + the signal number when it was killed; -1 with
// errno set when waiting failed. With `timeout_ms` >= 0 a child still running after that
// long is killed (SIGKILL) and -1 is returned with errno ETIMEDOUT.
int WaitProgram(pid_t pid, long timeout_ms = -1);

// Executables under /usr/vexo/ belong to the appliance and are looked up under the root
// prefix; anything else (/bin/sh, /usr/bin/...) is the host's own and taken as it is.
std::string ExecutablePath(const std::string &path);

}  // namespace vexo_platform

#endif  // VEXO_PLATFORM_LINUX_CHILD_PROCESS_H_
