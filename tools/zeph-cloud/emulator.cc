#include "emulator.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

#include "json_access.h"

namespace zeph_cloud {

int64_t Emulator::Now() const {
  return static_cast<int64_t>(::time(nullptr)) + state.settings.clock_offset;
}

double Emulator::PreciseNow() const {
  auto since_epoch = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration<double>(since_epoch).count() +
         static_cast<double>(clock_offset_mirror_.load());
}

void Emulator::Persist() const {
  if (state_file.empty()) return;
  std::string text = StyledJson(state.ToJson());
  std::string temp = state_file + ".tmp";
  int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600);
  bool ok = fd >= 0;
  size_t written = 0;
  while (ok && written < text.size()) {
    ssize_t n = ::write(fd, text.data() + written, text.size() - written);
    if (n < 0 && errno == EINTR) continue;
    ok = n > 0;
    if (ok) written += static_cast<size_t>(n);
  }
  ok = ok && ::fsync(fd) == 0;
  if (fd >= 0) ::close(fd);
  ok = ok && ::rename(temp.c_str(), state_file.c_str()) == 0;
  if (!ok) {
    std::fprintf(stderr, "zeph-cloud: cannot save state to %s: %s\n", state_file.c_str(),
                 std::strerror(errno));
  }
}

bool Emulator::Load(std::string &error) {
  if (state_file.empty()) return true;
  std::ifstream in(state_file);
  if (!in) return true;  // first run: nothing to load yet
  std::ostringstream text;
  text << in.rdbuf();
  Json::Value json;
  if (!ParseJson(text.str(), json)) {
    error = state_file + " is not JSON";
    return false;
  }
  if (!State::FromJson(json, state, error)) {
    error = state_file + ": " + error;
    return false;
  }
  MirrorClockOffset();
  return true;
}

bool Emulator::SleepUnlessStopping(int ms) {
  std::unique_lock<std::mutex> lock(stop_mutex_);
  return !stop_cv_.wait_for(lock, std::chrono::milliseconds(ms),
                            [this] { return stopping_.load(); });
}

void Emulator::SignalStop() {
  {
    std::lock_guard<std::mutex> guard(stop_mutex_);
    stopping_ = true;
  }
  stop_cv_.notify_all();
}

}  // namespace zeph_cloud
