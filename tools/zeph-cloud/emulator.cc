#include "emulator.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "base/atomic_file.h"
#include "base/json_utils.h"

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
  if (!vexozeph::json::WriteFileAtomically(state.ToJson(), state_file, 0600)) {
    std::fprintf(stderr, "zeph-cloud: cannot save state to %s: %s\n", state_file.c_str(),
                 std::strerror(errno));
  }
}

bool Emulator::Load(std::string &error) {
  if (state_file.empty()) return true;
  std::string text;
  if (!vexozeph::ReadWholeFile(state_file, text)) {
    if (errno == ENOENT) return true;  // first run: nothing to load yet
    error = "cannot read " + state_file + ": " + std::strerror(errno);
    return false;
  }
  Json::Value json;
  if (!vexozeph::json::FromString(text, json)) {
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

bool Emulator::HoldUntilReleased() {
  std::unique_lock<std::mutex> lock(stop_mutex_);
  const uint64_t release = releases_;
  ++held_;
  stop_cv_.wait(lock, [this, release] { return stopping_.load() || releases_ != release; });
  --held_;
  return !stopping_;
}

int Emulator::ReleaseHeld() {
  int released = 0;
  {
    std::lock_guard<std::mutex> guard(stop_mutex_);
    released = held_;
    ++releases_;
  }
  stop_cv_.notify_all();
  return released;
}

int Emulator::HeldCount() {
  std::lock_guard<std::mutex> guard(stop_mutex_);
  return held_;
}

void Emulator::SignalStop() {
  {
    std::lock_guard<std::mutex> guard(stop_mutex_);
    stopping_ = true;
  }
  stop_cv_.notify_all();
}

}  // namespace zeph_cloud
