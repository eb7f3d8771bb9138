// The record of every request the three public hosts received, in arrival order.
#ifndef ZEPH_CLOUD_REQUEST_LOG_H_
#define ZEPH_CLOUD_REQUEST_LOG_H_

#include <json/json.h>

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>

#include "records.h"

namespace zeph_cloud {

class RequestLog {
 public:
  // Keeps at most `capacity` entries, dropping the oldest.
  explicit RequestLog(size_t capacity = 10000) : capacity_(capacity) {}

  // Appends `entry` and returns its sequence number.
  uint64_t Add(LoggedRequest entry);
  // Sets the outcome of an earlier entry (nothing when it was dropped from the log).
  void Finish(uint64_t seq, int status, const std::string &fault);
  // Entries, oldest first, filtered by origin and path when those are not empty.
  Json::Value ToJson(const std::string &origin, const std::string &path) const;
  void Clear();

 private:
  mutable std::mutex mutex_;
  std::deque<LoggedRequest> entries_;
  uint64_t next_seq_ = 1;
  size_t capacity_;
};

}  // namespace zeph_cloud

#endif  // ZEPH_CLOUD_REQUEST_LOG_H_
