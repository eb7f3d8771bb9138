// System notifications and the system event log on a generic Linux host. Each is one JSON
// line appended to a file that the host's own notifier or log shipper can follow:
//   notifications: <root>/var/spool/vexozeph/notifications.jsonl
//     {"time": <seconds>, "tag": "<tag>", "variables": {"%NAME%": "value", ...}}
//   events:        <root>/var/log/vexozeph/events.jsonl
//     {"time": <seconds>, "type": n, "level": n, "event": "0x13A00001", "args": [4 texts]}
// Both files are created 0600 (they carry account e-mail addresses).
#include <errno.h>

#include <cstdio>
#include <string>

#include "base/clock.h"
#include "base/log.h"
#include "base/root_path.h"
#include "json_line_log.h"
#include "platform_error.h"
#include "sz_containers.h"
#include "vexo_platform/vexo_notify.h"

namespace vexo_platform {
namespace {

Json::Value VariablesOf(PVLIBSZHASH hash) {
  Json::Value variables(Json::objectValue);
  if (hash == nullptr) return variables;
  PVLIBSZLIST keys = ListAlloc(1 << 16);
  if (keys != nullptr && HashEnumKeys(hash, keys) >= 0) {
    for (int i = 0; i < ListSize(keys); ++i) {
      const char *key = ListGet(keys, i);
      variables[key] = HashGet(hash, key);
    }
  }
  ListFree(keys);
  return variables;
}

}  // namespace
}  // namespace vexo_platform

extern "C" {

int VEXOSysNotifySendNotifiction(const char *tag, PVLIBSZHASH variables) {
  using namespace vexo_platform;
  if (tag == nullptr || tag[0] == '\0') {
    SET_PLATFORM_ERROR(EINVAL);
    return -1;
  }
  return GuardPlatformCall(ENOMEM, -1, [&] {
    Json::Value record(Json::objectValue);
    record["time"] = static_cast<Json::Int64>(vexozeph::clock::Now());
    record["tag"] = tag;
    record["variables"] = VariablesOf(variables);
    if (!AppendJsonLine(vexozeph::RootedPath("/var/spool/vexozeph/notifications.jsonl"), record)) {
      SET_PLATFORM_ERROR(errno);
      return -1;
    }
    ZLOG_AT(LOG_NOTICE, "notification %s posted with %u variables", tag,
            record["variables"].size());
    return 0;
  });
}

int VEXOLogSet1(int type, int level, unsigned int event, const char *arg1, const char *arg2,
                const char *arg3, const char *arg4) {
  using namespace vexo_platform;
  return GuardPlatformCall(ENOMEM, -1, [&] {
    Json::Value record(Json::objectValue);
    record["time"] = static_cast<Json::Int64>(vexozeph::clock::Now());
    record["type"] = type;
    record["level"] = level;
    char code[16];
    std::snprintf(code, sizeof(code), "0x%08X", event);
    record["event"] = code;
    Json::Value &args = record["args"] = Json::Value(Json::arrayValue);
    for (const char *arg : {arg1, arg2, arg3, arg4}) args.append(arg != nullptr ? arg : "");
    if (!AppendJsonLine(vexozeph::RootedPath("/var/log/vexozeph/events.jsonl"), record)) {
      SET_PLATFORM_ERROR(errno);
      return -1;
    }
    return 0;
  });
}

}  // extern "C"
