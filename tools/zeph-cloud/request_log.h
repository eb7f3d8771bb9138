// The record of every request the three public hosts received, in arrival order, with
// headers, query pairs and form pairs exactly as sent.
#ifndef ZEPH_CLOUD_REQUEST_LOG_H_
#define ZEPH_CLOUD_REQUEST_LOG_H_

#include <json/json.h>

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>

#include "form_codec.h"

namespace zeph_cloud {

struct LoggedRequest {
  uint64_t seq = 0;
  double time = 0;     // seconds since the epoch on the emulator's clock
  std::string origin;  // "account", "identity" or "payment"
  std::string method;
  std::string path;
  std::string target;  // raw request target, query included
  Pairs headers;
  Pairs query;
  Pairs form;
  std::string body;
  int status = 0;     // 0 until answered; -1 when the connection was dropped
  std::string fault;  // description of the injected fault, if any
};

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
