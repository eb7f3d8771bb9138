#include "child_process.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstring>

#include "base/root_path.h"
#include "base/unique_fd.h"

extern char **environ;

namespace vexo_platform {
using vexozeph::UniqueFd;

namespace {

// The caller's environment with `extra` laid over it.
std::vector<std::string> MergedEnvironment(const std::vector<std::string> &extra) {
  std::vector<std::string> merged;
  for (char **entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    std::string item(*entry);
    std::string name = item.substr(0, item.find('='));
    bool replaced = false;
    for (const std::string &added : extra) {
      replaced = replaced || added.compare(0, name.size() + 1, name + "=") == 0;
    }
    if (!replaced) merged.push_back(item);
  }
  merged.insert(merged.end(), extra.begin(), extra.end());
  return merged;
}

std::vector<char *> Pointers(std::vector<std::string> &items) {
  std::vector<char *> pointers;
  for (std::string &item : items) pointers.push_back(&item[0]);
  pointers.push_back(nullptr);
  return pointers;
}

void SleepMillis(long millis) {
  struct timespec pause = {millis / 1000, (millis % 1000) * 1000000L};
  nanosleep(&pause, nullptr);
}

}  // namespace

pid_t StartProgram(const ChildProgram &program) {
  if (program.path.empty() || program.path[0] != '/' || program.argv.empty()) {
    errno = EINVAL;
    return -1;
  }
  // Everything the child needs is built before fork: between fork and exec only
  // async-signal-safe calls are allowed.
  std::vector<std::string> args = program.argv;
  std::vector<std::string> env = MergedEnvironment(program.extra_env);
  std::vector<char *> argv = Pointers(args);
  std::vector<char *> envp = Pointers(env);

  // The child reports a failed exec through this pipe; a successful exec closes it.
  int report[2];
  if (pipe2(report, O_CLOEXEC) != 0) return -1;
  UniqueFd report_read(report[0]);
  UniqueFd report_write(report[1]);

  pid_t pid = fork();
  if (pid < 0) return -1;
  if (pid == 0) {
    if ((program.stdin_fd >= 0 && dup2(program.stdin_fd, STDIN_FILENO) < 0) ||
        (program.stdout_fd >= 0 && dup2(program.stdout_fd, STDOUT_FILENO) < 0)) {
      int error = errno;
      (void)!write(report[1], &error, sizeof(error));
      _exit(127);
    }
    execve(program.path.c_str(), argv.data(), envp.data());
    int error = errno;
    (void)!write(report[1], &error, sizeof(error));
    _exit(127);
  }
  report_write.Reset();
  int error = 0;
  ssize_t got;
  do {
    got = read(report_read.Get(), &error, sizeof(error));
  } while (got < 0 && errno == EINTR);
  if (got == static_cast<ssize_t>(sizeof(error))) {
    WaitProgram(pid);
    errno = error;
    return -1;
  }
  return pid;
}

int WaitProgram(pid_t pid, long timeout_ms) {
  int status = 0;
  long waited = 0;
  for (;;) {
    pid_t done = waitpid(pid, &status, timeout_ms >= 0 ? WNOHANG : 0);
    if (done == pid) break;
    if (done < 0) {
      if (errno == EINTR) continue;
      return -1;
    }
    // Still running (only with a time limit).
    if (waited >= timeout_ms) {
      kill(pid, SIGKILL);
      while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
      }
      errno = ETIMEDOUT;
      return -1;
    }
    SleepMillis(10);
    waited += 10;
  }
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return -1;
}

std::string ExecutablePath(const std::string &path) {
  return path.compare(0, 10, "/usr/vexo/") == 0 ? vexozeph::RootedPath(path) : path;
}

}  // namespace vexo_platform
