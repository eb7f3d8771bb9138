// What vexozeph prints. With --json every command writes exactly one JSON document on
// stdout (its result, or {"error": {"code", "message"}}); otherwise text for a person.
// Failures also put one line on stderr in both modes, so a script that ignores stdout
// still sees why. Nothing printed here is a secret: commands hand over only what may be
// shown.
#ifndef VEXOZEPH_TOOLS_VEXOZEPH_OUTPUT_H_
#define VEXOZEPH_TOOLS_VEXOZEPH_OUTPUT_H_

#include <json/value.h>

#include <cstdint>
#include <string>
#include <vector>

namespace vexozeph {
namespace cli {

// One named value of a result: `key` in JSON, `label` in text.
struct Field {
  std::string key;
  std::string label;
  Json::Value value;
};

class Output {
 public:
  // `command` names the subcommand in messages ("login"); empty for the tool itself.
  Output(bool json, std::string command);

  bool json() const { return json_; }

  // A result made of fields: a JSON object in their order's keys, or aligned
  // "label  value" lines in their order.
  void Record(const std::vector<Field> &fields) const;
  // A result with a text form of its own: `value` with --json, else `text` as it is.
  void Document(const Json::Value &value, const std::string &text) const;

  // A failure of the library with `code` (VEXOZEPHErrGet, ZephException::GetCode):
  // reports it and returns the exit status to end with.
  int LibraryFailure(unsigned int code) const;
  // LibraryFailure with the library's last error.
  int LastLibraryFailure() const;
  // A wrong command line or an unreadable secret: kExitUsage.
  int Usage(const std::string &message) const;
  // An operation this build does not have: kExitUnavailable.
  int Unavailable(const std::string &what) const;
  // Something other than a library error (kExitNoCode).
  int Internal(const std::string &message) const;
  // A failure of the tool's own with `status` (exit_status.h), reported like the others.
  int ToolFailure(int status, const std::string &message) const;

 private:
  int Fail(int status, unsigned int code, const std::string &message) const;
  std::string Prefix() const;

  bool json_;
  std::string command_;
};

// The text of `object`[key]; "" when `object` is not an object or the member is no text
// (a server's answer of the wrong type reads as absent).
std::string StringMember(const Json::Value &object, const char *key);
// The boolean `object`[key]; false when absent or of another type.
bool BoolMember(const Json::Value &object, const char *key);

// A JSON value as one line of text for a person: texts as they are, booleans as yes/no.
std::string TextOf(const Json::Value &value);

// Text that came from outside (a server, a file) made safe for a terminal: control
// characters, C0 and DEL and C1 in UTF-8, are shown as escapes ("\n", "\x1b", "\u009b"),
// and a backslash as "\\", so that nothing a server sends can move the cursor, retitle
// the window or pass for something else. For text output only; --json stays exact.
std::string Visible(const std::string &text);

// Seconds since the epoch as "YYYY-MM-DD HH:MM:SS UTC"; "never" for 0 or less.
std::string UtcTime(int64_t seconds);

}  // namespace cli
}  // namespace vexozeph

#endif  // VEXOZEPH_TOOLS_VEXOZEPH_OUTPUT_H_
