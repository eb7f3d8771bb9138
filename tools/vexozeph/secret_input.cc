#include "secret_input.h"

#include <fcntl.h>
#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/unique_fd.h"

namespace vexozeph {
namespace cli {
namespace {

constexpr size_t kMaxSecretLength = 4095;  // the C interface's password fields hold 4096

void Wipe(std::string *text) {
  volatile char *bytes = text->empty() ? nullptr : &(*text)[0];
  for (size_t i = 0; i < text->size(); ++i) bytes[i] = 0;
  text->clear();
}

// One line from `fd` into `line` (line end dropped). False at end of input before any
// byte, on a read error, or when the line is longer than any field can take. Reads a
// byte at a time so that nothing after the line is consumed: stdin may carry a second
// secret for the next read.
bool ReadLine(int fd, std::string *line) {
  line->clear();
  line->reserve(kMaxSecretLength + 1);
  bool any = false;
  for (;;) {
    char c;
    ssize_t n = read(fd, &c, 1);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    if (n == 0) return any;
    any = true;
    if (c == '\n') break;
    if (line->size() == kMaxSecretLength) return false;
    line->push_back(c);
  }
  if (!line->empty() && line->back() == '\r') line->pop_back();
  return true;
}

// The terminal's settings while echo is off, so that a signal can put them back before
// the process ends: otherwise Ctrl-C at a password prompt leaves the shell without echo.
int g_tty_fd = -1;
struct termios g_saved_tty;

void RestoreTerminalAndReraise(int signal_number) {
  if (g_tty_fd >= 0) tcsetattr(g_tty_fd, TCSAFLUSH, &g_saved_tty);
  ::signal(signal_number, SIG_DFL);
  ::raise(signal_number);
}

class EchoOff {
 public:
  explicit EchoOff(int fd) : fd_(fd) {
    if (tcgetattr(fd_, &g_saved_tty) != 0) return;
    g_tty_fd = fd_;
    for (size_t i = 0; i < kSignalCount; ++i) {
      struct sigaction action {};
      action.sa_handler = RestoreTerminalAndReraise;
      sigemptyset(&action.sa_mask);
      sigaction(kSignals[i], &action, &previous_[i]);
    }
    struct termios quiet = g_saved_tty;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    active_ = tcsetattr(fd_, TCSAFLUSH, &quiet) == 0;
  }
  ~EchoOff() {
    if (g_tty_fd < 0) return;
    tcsetattr(fd_, TCSAFLUSH, &g_saved_tty);
    g_tty_fd = -1;
    for (size_t i = 0; i < kSignalCount; ++i) {
      sigaction(kSignals[i], &previous_[i], nullptr);
    }
  }
  EchoOff(const EchoOff &) = delete;
  EchoOff &operator=(const EchoOff &) = delete;
  bool active() const { return active_; }

 private:
  static constexpr size_t kSignalCount = 5;
  static constexpr int kSignals[kSignalCount] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP};
  int fd_;
  bool active_ = false;
  struct sigaction previous_[kSignalCount];
};

constexpr int EchoOff::kSignals[];

void WriteAll(int fd, const std::string &text) {
  size_t done = 0;
  while (done < text.size()) {
    ssize_t n = write(fd, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return;
    done += static_cast<size_t>(n);
  }
}

bool ReadFromTerminal(const std::string &prompt, Secret *secret, std::string *why) {
  UniqueFd tty(open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC));
  if (tty.Get() < 0) {
    *why = "no terminal to ask for it on; pass it on stdin";
    return false;
  }
  WriteAll(tty.Get(), prompt);
  bool read_ok;
  {
    EchoOff echo_off(tty.Get());
    if (!echo_off.active()) {
      *why = "cannot switch the terminal's echo off";
      return false;
    }
    read_ok = ReadLine(tty.Get(), secret->buffer());
  }
  WriteAll(tty.Get(), "\n");  // the Enter the user typed was not echoed
  if (!read_ok || secret->empty()) {
    secret->Clear();
    *why = "nothing was typed";
    return false;
  }
  return true;
}

bool ReadFromStdin(Secret *secret, std::string *why) {
  if (!ReadLine(STDIN_FILENO, secret->buffer()) || secret->empty()) {
    secret->Clear();
    *why = "expected a non-empty line (at most 4095 bytes) on stdin";
    return false;
  }
  return true;
}

}  // namespace

Secret::Secret() = default;
Secret::~Secret() {
  Clear();
}
void Secret::Clear() {
  Wipe(&text_);
}

bool SecretInput::Read(const std::string &prompt, Secret *secret, std::string *why) const {
  secret->Clear();
  return source_ == Source::kStdin ? ReadFromStdin(secret, why)
                                   : ReadFromTerminal(prompt + ": ", secret, why);
}

bool SecretInput::ReadNew(const std::string &prompt, Secret *secret, std::string *why) const {
  if (!Read(prompt, secret, why)) return false;
  if (source_ == Source::kStdin) return true;
  Secret again;
  if (!Read(prompt + " (again)", &again, why)) {
    secret->Clear();
    return false;
  }
  if (again.text() != secret->text()) {
    secret->Clear();
    *why = "the two entries differ";
    return false;
  }
  return true;
}

SecretInput::Source StdinOrTerminal() {
  return isatty(STDIN_FILENO) ? SecretInput::Source::kTerminal : SecretInput::Source::kStdin;
}

}  // namespace cli
}  // namespace vexozeph
