// JSON reading and writing for answers, token files and configuration. Nothing a server
// sends or a file holds may crash the process, and JsonCpp throws on type mismatches, so
// every read of a member goes through the non-throwing accessors below, in which a
// member of the wrong type counts as absent.
#ifndef VEXOZEPH_INTERNAL_JSON_UTILS_H_
#define VEXOZEPH_INTERNAL_JSON_UTILS_H_

#include <json/json.h>

#include <cstdint>
#include <string>

namespace vexozeph {
namespace json {

// Parses the file at `path` (already rooted by the caller). False when the file cannot be
// read or is not JSON.
bool FromFile(const std::string &path, Json::Value &out);

// Parses `text`. False on a parse failure, which is logged
// "%s:%d Failed to parse json: %s".
bool FromString(const std::string &text, Json::Value &out);

// Writes `value` to `path` atomically (temporary file 0600, fsync, rename). On failure
// logs "%s:%d Failed to save json: %s" and throws ZephException with code 2.
void ToFile(const Json::Value &value, const std::string &path);

// Compact one-line rendering.
std::string ToCompactString(const Json::Value &value);

// True when `value` is an object holding `key`.
bool Has(const Json::Value &value, const char *key);

// The member `key` when `value` is an object holding it, else a null value.
const Json::Value &Member(const Json::Value &value, const char *key);

// Typed reads: true and `out` set when the member exists with the right type.
bool GetString(const Json::Value &value, const char *key, std::string &out);
bool GetBool(const Json::Value &value, const char *key, bool &out);
bool GetInt64(const Json::Value &value, const char *key, int64_t &out);

// The member as text when it is a string, else `fallback`.
std::string StringOr(const Json::Value &value, const char *key, const std::string &fallback = "");

}  // namespace json
}  // namespace vexozeph

#endif  // VEXOZEPH_INTERNAL_JSON_UTILS_H_
