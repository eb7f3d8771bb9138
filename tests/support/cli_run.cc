#include "support/cli_run.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <json/reader.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>

extern char **environ;

namespace vexozeph {
namespace testing {
namespace {

void CloseFd(int *fd) {
  if (*fd >= 0) close(*fd);
  *fd = -1;
}

int MillisecondsUntil(std::chrono::steady_clock::time_point deadline) {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
      deadline - std::chrono::steady_clock::now());
  return left.count() > 0 ? static_cast<int>(left.count()) : 0;
}

}  // namespace

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

CliProcess::CliProcess(const std::string &binary, const std::vector<std::string> &args,
                       const std::vector<std::string> &env) {
  int in_pipe[2], out_pipe[2], err_pipe[2];
  if (pipe2(in_pipe, O_CLOEXEC) != 0 || pipe2(out_pipe, O_CLOEXEC) != 0 ||
      pipe2(err_pipe, O_CLOEXEC) != 0) {
    ADD_FAILURE() << "pipe: " << std::strerror(errno);
    return;
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

  pid_ = fork();
  if (pid_ == 0) {
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
  in_ = in_pipe[1];
  out_ = out_pipe[0];
  err_ = err_pipe[0];
  if (pid_ < 0) {
    ADD_FAILURE() << "fork: " << std::strerror(errno);
    CloseFd(&in_);
    CloseFd(&out_);
    CloseFd(&err_);
  }
  // A tool that does not read its input gets EPIPE, not this test killed.
  signal(SIGPIPE, SIG_IGN);
}

CliProcess::~CliProcess() {
  CloseFd(&in_);
  CloseFd(&out_);
  CloseFd(&err_);
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    while (waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
    }
  }
}

bool CliProcess::Pump(int timeout_ms) {
  struct pollfd fds[2] = {{out_, POLLIN, 0}, {err_, POLLIN, 0}};
  if (out_ < 0 && err_ < 0) return false;
  const int ready = poll(fds, 2, timeout_ms);
  if (ready < 0 && errno == EINTR) return true;
  if (ready <= 0) return true;
  int *fd_of[2] = {&out_, &err_};
  std::string *sinks[2] = {&result_.out, &result_.err};
  for (int i = 0; i < 2; ++i) {
    if (fds[i].fd < 0 || fds[i].revents == 0) continue;
    char buffer[4096];
    const ssize_t n = read(fds[i].fd, buffer, sizeof(buffer));
    if (n > 0) {
      sinks[i]->append(buffer, static_cast<size_t>(n));
    } else if (n == 0 || errno != EINTR) {
      CloseFd(fd_of[i]);
    }
  }
  return out_ >= 0 || err_ >= 0;
}

std::string CliProcess::WaitForErrorLine(const std::string &text, int seconds) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  for (;;) {
    for (size_t end; (end = result_.err.find('\n', err_lines_seen_)) != std::string::npos;) {
      const std::string line = result_.err.substr(err_lines_seen_, end - err_lines_seen_);
      err_lines_seen_ = end + 1;
      if (line.find(text) != std::string::npos) return line;
    }
    const int left = MillisecondsUntil(deadline);
    if (left == 0 || !Pump(left)) break;
  }
  ADD_FAILURE() << "the tool never printed \"" << text << "\" on stderr:\n" << result_.err;
  return "";
}

void CliProcess::Write(const std::string &input) {
  size_t written = 0;
  while (in_ >= 0 && written < input.size()) {
    const ssize_t n = write(in_, input.data() + written, input.size() - written);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    written += static_cast<size_t>(n);
  }
}

CliResult CliProcess::Finish(int seconds) {
  CloseFd(&in_);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (Pump(MillisecondsUntil(deadline))) {
    if (MillisecondsUntil(deadline) == 0) {
      ADD_FAILURE() << "the tool was still running after " << seconds << " seconds";
      kill(pid_, SIGKILL);
      break;
    }
  }
  CloseFd(&out_);
  CloseFd(&err_);
  if (pid_ > 0) {
    int wait_status = 0;
    while (waitpid(pid_, &wait_status, 0) < 0 && errno == EINTR) {
    }
    pid_ = -1;
    result_.status =
        WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : 128 + WTERMSIG(wait_status);
  }
  return result_;
}

CliResult RunCli(const std::string &binary, const std::vector<std::string> &args,
                 const std::string &input, const std::vector<std::string> &env) {
  CliProcess tool(binary, args, env);
  tool.Write(input);
  return tool.Finish();
}

}  // namespace testing
}  // namespace vexozeph
