#include "faults.h"

#include "base/json_utils.h"

namespace zeph_cloud {

using vexozeph::json::BoolOr;
using vexozeph::json::Int64Or;
using vexozeph::json::Member;
using vexozeph::json::StringOr;

std::string Fault::Describe() const {
  std::string text;
  auto add = [&text](const std::string &part) { text += (text.empty() ? "" : " ") + part; };
  if (delay_ms > 0) add("delay=" + std::to_string(delay_ms) + "ms");
  if (trickle_ms > 0) add("trickle=" + std::to_string(trickle_ms) + "ms");
  if (drop) add("drop");
  if (status != 0) add("status=" + std::to_string(status));
  if (body) add("body");
  if (after_processing) add("after-processing");
  return text.empty() ? "none" : text;
}

std::string NormalizePath(const std::string &path) {
  return (!path.empty() && path[0] == '/') ? path : "/" + path;
}

bool FaultFromJson(const Json::Value &json, Fault &fault, std::string &error) {
  if (!json.isObject()) {
    error = "expected a JSON object";
    return false;
  }
  fault = Fault();
  fault.path = NormalizePath(StringOr(json, "path"));
  if (fault.path == "/") {
    error = "\"path\" is required";
    return false;
  }
  fault.origin = StringOr(json, "origin");
  if (!fault.origin.empty() && fault.origin != "account" && fault.origin != "identity" &&
      fault.origin != "payment") {
    error = "\"origin\" must be account, identity or payment";
    return false;
  }
  fault.remaining = static_cast<int>(Int64Or(json, "count", 1));
  fault.status = static_cast<int>(Int64Or(json, "status", 0));
  if (Member(json, "body").isString()) fault.body = StringOr(json, "body");
  fault.content_type = StringOr(json, "content_type", "text/plain");
  fault.delay_ms = static_cast<int>(Int64Or(json, "delay_ms", 0));
  fault.trickle_ms = static_cast<int>(Int64Or(json, "trickle_ms", 0));
  fault.drop = BoolOr(json, "drop", false);
  fault.after_processing = BoolOr(json, "after_processing", false);
  if (fault.remaining < 1 || fault.delay_ms < 0 || fault.delay_ms > 600000 ||
      fault.trickle_ms < 0 || fault.trickle_ms > 60000 ||
      (fault.status != 0 && (fault.status < 100 || fault.status > 599))) {
    error = "count must be >= 1, delay_ms 0..600000, trickle_ms 0..60000, status 100..599";
    return false;
  }
  if (!fault.drop && fault.status == 0 && !fault.body && fault.delay_ms == 0 &&
      fault.trickle_ms == 0) {
    error = "a fault needs at least one of status, body, delay_ms, trickle_ms, drop";
    return false;
  }
  return true;
}

Json::Value FaultToJson(const Fault &fault) {
  Json::Value j;
  j["path"] = fault.path;
  j["origin"] = fault.origin;
  j["count"] = fault.remaining;
  j["status"] = fault.status;
  if (fault.body) j["body"] = *fault.body;
  j["content_type"] = fault.content_type;
  j["delay_ms"] = fault.delay_ms;
  j["trickle_ms"] = fault.trickle_ms;
  j["drop"] = fault.drop;
  j["after_processing"] = fault.after_processing;
  return j;
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
    if (--it->remaining <= 0) faults_.erase(it);
    return hit;
  }
  return std::nullopt;
}

Json::Value FaultQueue::ToJson() const {
  std::lock_guard<std::mutex> guard(mutex_);
  Json::Value list(Json::arrayValue);
  for (const auto &fault : faults_) list.append(FaultToJson(fault));
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
