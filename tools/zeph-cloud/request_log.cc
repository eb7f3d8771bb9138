#include "request_log.h"

namespace zeph_cloud {
uint64_t RequestLog::Add(LoggedRequest entry) {
  std::lock_guard<std::mutex> guard(mutex_);
  entry.seq = next_seq_++;
  entries_.push_back(std::move(entry));
  while (entries_.size() > capacity_) entries_.pop_front();
  return entries_.back().seq;
}

void RequestLog::Finish(uint64_t seq, int status, const std::string &fault) {
  std::lock_guard<std::mutex> guard(mutex_);
  for (auto it = entries_.rbegin(); it != entries_.rend(); ++it) {
    if (it->seq == seq) {
      it->status = status;
      it->fault = fault;
      return;
    }
  }
}

Json::Value RequestLog::ToJson(const std::string &origin, const std::string &path) const {
  std::lock_guard<std::mutex> guard(mutex_);
  Json::Value list(Json::arrayValue);
  for (const auto &e : entries_) {
    if (!origin.empty() && e.origin != origin) continue;
    if (!path.empty() && e.path != path) continue;
    list.append(zeph_cloud::ToJson(e));
  }
  return list;
}

void RequestLog::Clear() {
  std::lock_guard<std::mutex> guard(mutex_);
  entries_.clear();
}

}  // namespace zeph_cloud
