#include "faults.h"

namespace zeph_cloud {

std::string Describe(const Fault &fault) {
  std::string text;
  auto add = [&text](const std::string &part) { text += (text.empty() ? "" : " ") + part; };
  if (fault.delay_ms > 0) add("delay=" + std::to_string(fault.delay_ms) + "ms");
  if (fault.trickle_ms > 0) add("trickle=" + std::to_string(fault.trickle_ms) + "ms");
  if (fault.drop) add("drop");
  if (fault.raw) add("raw");
  if (fault.status != 0) add("status=" + std::to_string(fault.status));
  if (fault.body) add("body");
  if (fault.hold) add("hold");
  if (fault.after_processing) add("after-processing");
  return text.empty() ? "none" : text;
}

std::string NormalizePath(const std::string &path) {
  return (!path.empty() && path[0] == '/') ? path : "/" + path;
}

bool FaultFromJson(const Json::Value &json, Fault &fault, std::string &error) {
  Fault read;
  if (!FromJson(json, read, error)) return false;
  read.path = NormalizePath(read.path);
  if (read.path == "/") {
    error = "\"path\" is required";
    return false;
  }
  if (!read.origin.empty() && read.origin != "account" && read.origin != "identity" &&
      read.origin != "payment") {
    error = "\"origin\" must be account, identity or payment";
    return false;
  }
  if (read.count < 1 || read.delay_ms < 0 || read.delay_ms > 600000 || read.trickle_ms < 0 ||
      read.trickle_ms > 60000 || (read.status != 0 && (read.status < 100 || read.status > 599))) {
    error = "count must be >= 1, delay_ms 0..600000, trickle_ms 0..60000, status 100..599";
    return false;
  }
  if (!read.drop && !read.raw && read.status == 0 && !read.body && read.delay_ms == 0 &&
      read.trickle_ms == 0 && !read.hold) {
    error = "a fault needs at least one of status, body, raw, delay_ms, trickle_ms, drop, hold";
    return false;
  }
  fault = read;
  return true;
}

void FaultQueue::Add(const Fault &fault) {
  std::lock_guard<std::mutex> guard(mutex_);
  faults_.push_back(fault);
}

std::optional<Fault> FaultQueue::Take(const std::string &origin, const std::string &path) {
  std::lock_guard<std::mutex> guard(mutex_);
  for (auto it = faults_.begin(); it != faults_.end(); ++it) {
    if (it->path != path || (!it->origin.empty() && it->origin != origin)) continue;
    Fault hit = *it;
    if (--it->count <= 0) faults_.erase(it);
    return hit;
  }
  return std::nullopt;
}

Json::Value FaultQueue::ToJson() const {
  std::lock_guard<std::mutex> guard(mutex_);
  Json::Value list(Json::arrayValue);
  for (const auto &fault : faults_) list.append(zeph_cloud::ToJson(fault));
  return list;
}

void FaultQueue::Clear() {
  std::lock_guard<std::mutex> guard(mutex_);
  faults_.clear();
}

void AnswerOverrides::Set(const std::string &path, const std::string &word, int count,
                          const Json::Value &extra) {
  std::lock_guard<std::mutex> guard(mutex_);
  entries_[NormalizePath(path)] = Entry{Answer{word, extra}, count};
}

std::optional<AnswerOverrides::Answer> AnswerOverrides::Take(const std::string &path) {
  std::lock_guard<std::mutex> guard(mutex_);
  auto it = entries_.find(NormalizePath(path));
  if (it == entries_.end()) return std::nullopt;
  Answer answer = it->second.answer;
  if (it->second.remaining > 0 && --it->second.remaining == 0) entries_.erase(it);
  return answer;
}

Json::Value AnswerOverrides::ToJson() const {
  std::lock_guard<std::mutex> guard(mutex_);
  Json::Value list(Json::arrayValue);
  for (const auto &entry : entries_) {
    Json::Value j;
    j["path"] = entry.first;
    j["code"] = entry.second.answer.word;
    if (!entry.second.answer.extra.isNull()) j["extra"] = entry.second.answer.extra;
    j["count"] = entry.second.remaining;
    list.append(j);
  }
  return list;
}

void AnswerOverrides::Clear() {
  std::lock_guard<std::mutex> guard(mutex_);
  entries_.clear();
}

}  // namespace zeph_cloud
