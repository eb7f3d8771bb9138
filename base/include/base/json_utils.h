// JSON reading and writing for answers, token files and configuration. Nothing a server
// sends or a file holds may crash the process, and JsonCpp throws on type mismatches, so
// every read of a member goes through the non-throwing accessors below, in which a
// member of the wrong type counts as absent.
#ifndef VEXOZEPH_BASE_JSON_UTILS_H_
#define VEXOZEPH_BASE_JSON_UTILS_H_

#include <json/json.h>
#include <sys/types.h>

#include <cstdint>
#include <string>

namespace vexozeph {
namespace json {

// How deep a document may nest. The answers and files of this system are a few levels
// deep; a parser following a hostile document much deeper would exhaust the stack.
const int kMaxDepth = 64;

// Parses `text` (comments allowed). False when it is not JSON, which includes nesting
// deeper than kMaxDepth. Never throws and never logs: every JSON file and every server
// answer is parsed through here.
bool Parse(const std::string &text, Json::Value &out);

// The largest JSON file read: configurations and token files are a few KiB, and a file
// planted to exhaust memory must count as unreadable, not be loaded.
const size_t kMaxFileBytes = 4u * 1024u * 1024u;

// Parses the file at `path` (already rooted by the caller). False when the file cannot be
// read, is larger than kMaxFileBytes, or is not JSON.
bool FromFile(const std::string &path, Json::Value &out);

// Parses `text`. False on a parse failure, which is logged
// "%s:%d Failed to parse json: %s" with the text (its first 2048 bytes and "..." when
// longer).
bool FromString(const std::string &text, Json::Value &out);

// Writes `value`, indented, to `path` through WriteFileAtomically (temporary file with
// `mode`, fsync, rename). False on failure, which is logged "%s:%d Failed to save json: %s".
bool WriteFileAtomically(const Json::Value &value, const std::string &path, mode_t mode = 0600);

// Compact one-line rendering.
std::string ToCompactString(const Json::Value &value);

// True when `value` is an object holding `key`.
bool Has(const Json::Value &value, const char *key);

// The member `key` when `value` is an object holding it, else a null value.
const Json::Value &Member(const Json::Value &value, const char *key);

// The member when it is an array, else an empty array.
const Json::Value &ArrayMember(const Json::Value &value, const char *key);

// Typed read: true and `out` set when the member exists and is a string.
bool GetString(const Json::Value &value, const char *key, std::string &out);

// The member when it exists with the right type, else `fallback`.
std::string StringOr(const Json::Value &value, const char *key, const std::string &fallback = "");
bool BoolOr(const Json::Value &value, const char *key, bool fallback);
int64_t Int64Or(const Json::Value &value, const char *key, int64_t fallback);

// The result word of a server answer, to be mapped to an error code. A string is the word
// as it stands; a number or a boolean is taken by its JSON text, which no known word
// matches. False when the answer has no word: the member is absent, null, an array or an
// object.
bool ResultWord(const Json::Value &answer, std::string &word, const char *key = "code");

}  // namespace json
}  // namespace vexozeph

#endif  // VEXOZEPH_BASE_JSON_UTILS_H_
