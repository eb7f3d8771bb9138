// The emulator's shared context: the state with its lock, the request log, the fault
// queue, the public origins, and the stop signal that ends waits early.
#ifndef ZEPH_CLOUD_EMULATOR_H_
#define ZEPH_CLOUD_EMULATOR_H_

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>

#include "faults.h"
#include "request_log.h"
#include "state.h"

namespace zeph_cloud {

struct Origins {
  std::string account;
  std::string identity;
  std::string payment;
  std::string admin;
};

class Emulator {
 public:
  // Guards `state` (and therefore every handler's read-modify-write of it).
  std::mutex mutex;
  State state = State::Initial();

  RequestLog requests;
  FaultQueue faults;
  AnswerOverrides answers;
  Origins origins;
  std::string state_file;  // empty: not persisted
  bool verbose = false;

  // Wall clock plus the admin's offset, in seconds. Call with `mutex` held.
  int64_t Now() const;
  // The same with sub-second precision, for the request log. Takes no lock.
  double PreciseNow() const;

  // Writes the state file (atomically) when one is configured. Call with `mutex` held.
  // Failures are reported on stderr; the emulator keeps serving.
  void Persist() const;
  // Loads the state file if configured and present; false with `error` when unusable.
  bool Load(std::string &error);

  // Sleeps up to `ms` milliseconds; returns early (false) when the emulator is stopping.
  bool SleepUnlessStopping(int ms);
  // Keeps the calling request waiting until ReleaseHeld or the stop (then false).
  bool HoldUntilReleased();
  // Lets every request waiting in HoldUntilReleased go on; returns how many there were.
  int ReleaseHeld();
  // How many requests are waiting in HoldUntilReleased now.
  int HeldCount();
  void SignalStop();
  bool Stopping() const { return stopping_; }

  // Keeps the lock-free copy of the clock offset in step with the state. Call with
  // `mutex` held after changing the offset.
  void MirrorClockOffset() { clock_offset_mirror_ = state.settings.clock_offset; }

 private:
  std::atomic<int64_t> clock_offset_mirror_{0};
  std::atomic<bool> stopping_{false};
  int held_ = 0;           // under stop_mutex_
  uint64_t releases_ = 0;  // under stop_mutex_; each release lets every waiter go
  std::mutex stop_mutex_;
  std::condition_variable stop_cv_;
};

}  // namespace zeph_cloud

#endif  // ZEPH_CLOUD_EMULATOR_H_
