// Misbehaviour on request: faults queued for the next N requests to a path, and result
// words forced onto the answers of a path.
#ifndef ZEPH_CLOUD_FAULTS_H_
#define ZEPH_CLOUD_FAULTS_H_

#include <json/json.h>

#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "records.h"

namespace zeph_cloud {

// One-line description of a fault for the request log.
std::string Describe(const Fault &fault);

// "/x" for "x" and "/x"; what the form API paths look like on the wire.
std::string NormalizePath(const std::string &path);

// Reads a fault from the admin API's JSON (the record's own form) and checks that it is
// one the emulator can carry out; false with `error` set when it is not.
bool FaultFromJson(const Json::Value &json, Fault &fault, std::string &error);

class FaultQueue {
 public:
  void Add(const Fault &fault);
  // Takes one hit of the first fault queued for this origin and path, if any.
  std::optional<Fault> Take(const std::string &origin, const std::string &path);
  Json::Value ToJson() const;
  void Clear();

 private:
  mutable std::mutex mutex_;
  std::deque<Fault> faults_;
};

// Result words forced onto a path's answers: for the next `count` requests, or until
// cleared when the count is 0.
class AnswerOverrides {
 public:
  struct Answer {
    std::string word;
    Json::Value extra;  // members added to a JSON answer (object or null)
  };
  void Set(const std::string &path, const std::string &word, int count, const Json::Value &extra);
  std::optional<Answer> Take(const std::string &path);
  Json::Value ToJson() const;
  void Clear();

 private:
  struct Entry {
    Answer answer;
    int remaining;  // 0: until cleared
  };
  mutable std::mutex mutex_;
  std::map<std::string, Entry> entries_;
};

}  // namespace zeph_cloud

#endif  // ZEPH_CLOUD_FAULTS_H_
