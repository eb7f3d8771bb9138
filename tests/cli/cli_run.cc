#include "cli_run.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <json/reader.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

extern char **environ;

namespace vexozeph {
namespace testing {

Json::Value CliResult::Json() const {
  Json::CharReaderBuilder builder;
  builder["failIfExtra"] = true;
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value value;
  std::string errors;
  if (!reader->parse(out.data(), out.data() + out.size(), &value, &errors)) {
    ADD_FAILURE() << "stdout is not one JSON document (" << errors << "):\n" << out;
  }
  return value;
}

CliResult RunCli(const std::string &binary, const std::vector<std::string> &args,
                 const std::string &input, const std::vector<std::string> &env) {
  CliResult result;
  int in_pipe[2], out_pipe[2], err_pipe[2];
  if (pipe2(in_pipe, O_CLOEXEC) != 0 || pipe2(out_pipe, O_CLOEXEC) != 0 ||
      pipe2(err_pipe, O_CLOEXEC) != 0) {
    ADD_FAILURE() << "pipe: " << std::strerror(errno);
    return result;
  }
  std::vector<std::string> environment;
  for (char **entry = environ; *entry != nullptr; ++entry) environment.push_back(*entry);
  for (const std::string &entry : env) environment.push_back(entry);
  std::vector<char *> argv{const_cast<char *>(binary.c_str())};
  for (const std::string &arg : args) argv.push_back(const_cast<char *>(arg.c_str()));
  argv.push_back(nullptr);
  std::vector<char *> envp;
  for (std::string &entry : environment) envp.push_back(&entry[0]);
  envp.push_back(nullptr);

  const pid_t pid = fork();
  if (pid == 0) {
    // No controlling terminal: a prompt must fail rather than wait for a person.
    setsid();
    dup2(in_pipe[0], STDIN_FILENO);
    dup2(out_pipe[1], STDOUT_FILENO);
    dup2(err_pipe[1], STDERR_FILENO);
    execve(binary.c_str(), argv.data(), envp.data());
    _exit(127);
  }
  close(in_pipe[0]);
  close(out_pipe[1]);
  close(err_pipe[1]);
  if (pid < 0) {
    ADD_FAILURE() << "fork: " << std::strerror(errno);
    close(in_pipe[1]);
    close(out_pipe[0]);
    close(err_pipe[0]);
    return result;
  }

  // The input is small; a tool that does not read it gets EPIPE, not this test stuck.
  signal(SIGPIPE, SIG_IGN);
  size_t written = 0;
  while (written < input.size()) {
    ssize_t n = write(in_pipe[1], input.data() + written, input.size() - written);
    if (n <= 0) break;
    written += static_cast<size_t>(n);
  }
  close(in_pipe[1]);

  struct pollfd fds[2] = {{out_pipe[0], POLLIN, 0}, {err_pipe[0], POLLIN, 0}};
  std::string *sinks[2] = {&result.out, &result.err};
  int open_fds = 2;
  while (open_fds > 0) {
    if (poll(fds, 2, 120000) <= 0) {
      ADD_FAILURE() << "the tool printed nothing for two minutes";
      kill(pid, SIGKILL);
      break;
    }
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || fds[i].revents == 0) continue;
      char buffer[4096];
      ssize_t n = read(fds[i].fd, buffer, sizeof(buffer));
      if (n > 0) {
        sinks[i]->append(buffer, static_cast<size_t>(n));
      } else if (n == 0 || errno != EINTR) {
        close(fds[i].fd);
        fds[i].fd = -1;
        --open_fds;
      }
    }
  }
  for (const struct pollfd &fd : fds) {
    if (fd.fd >= 0) close(fd.fd);
  }
  int wait_status = 0;
  while (waitpid(pid, &wait_status, 0) < 0 && errno == EINTR) {
  }
  result.status = WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : 128 + WTERMSIG(wait_status);
  return result;
}

}  // namespace testing
}  // namespace vexozeph
