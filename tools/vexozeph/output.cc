#include "output.h"

#include <json/writer.h>

#include <algorithm>
#include <ctime>
#include <iostream>
#include <memory>
#include <utility>

#include "exit_status.h"
#include "vexozeph/vexozeph.h"

namespace vexozeph {
namespace cli {
namespace {

void WriteJson(const Json::Value &value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "  ";
  builder["emitUTF8"] = true;
  std::unique_ptr<Json::StreamWriter> writer(builder.newStreamWriter());
  writer->write(value, &std::cout);
  std::cout << '\n';
}

// What a code means, for the codes whose message is the generic "System error": a person
// at a shell should not have to look the number up (docs/error-codes.md).
const char *Meaning(unsigned int code) {
  switch (code) {
    case VEXOZEPH_ERR_SYSTEM:
      return "a system call or the server failed";
    case VEXOZEPH_ERR_SERIAL:
      return "the serial number is unreadable";
    case VEXOZEPH_ERR_NETWORK:
      return "network failure";
    case VEXOZEPH_ERR_ACCOUNT_IN_USE:
      return "the account is already in use";
    case VEXOZEPH_ERR_SERIAL_MAX_ACCOUNTS:
      return "this device has registered the most accounts it may";
    case VEXOZEPH_ERR_ACCOUNT_UNVERIFIED:
      return "the account is not verified";
    case VEXOZEPH_ERR_ACCOUNT_WRITE:
      return "the account file could not be written";
    case VEXOZEPH_ERR_MAC:
      return "the MAC address is unreadable";
    case VEXOZEPH_ERR_TOKEN_STATE:
      return "token file, lock or token answer";
    case VEXOZEPH_ERR_SERVER_CONFIG:
      return "the server configuration is unreadable";
    case VEXOZEPH_ERR_UNKNOWN:
      return "unknown answer";
    case VEXOZEPH_ERR_ACCOUNT_NOT_FOUND:
      return "the account does not exist";
    case VEXOZEPH_ERR_APIKEY_NOT_FOUND:
      return "the device's API key is unknown to the service";
    case VEXOZEPH_ERR_APIKEY_EXPIRED:
      return "the device's API key has expired";
    default:
      return nullptr;
  }
}

}  // namespace

std::string StringMember(const Json::Value &object, const char *key) {
  if (!object.isObject()) return "";
  const Json::Value &member = object[key];
  return member.isString() ? member.asString() : "";
}

bool BoolMember(const Json::Value &object, const char *key) {
  if (!object.isObject()) return false;
  const Json::Value &member = object[key];
  return member.isBool() && member.asBool();
}

std::string TextOf(const Json::Value &value) {
  if (value.isBool()) return value.asBool() ? "yes" : "no";
  if (value.isString()) return value.asString();
  if (value.isNull()) return "";
  if (value.isNumeric()) return value.asString();
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, value);
}

std::string Visible(const std::string &text) {
  static const char kHex[] = "0123456789abcdef";
  std::string shown;
  shown.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    const unsigned char next = i + 1 < text.size() ? static_cast<unsigned char>(text[i + 1]) : 0;
    if (c == '\\') {
      shown += "\\\\";
    } else if (c == '\n') {
      shown += "\\n";
    } else if (c == '\t') {
      shown += "\\t";
    } else if (c == '\r') {
      shown += "\\r";
    } else if (c < 0x20 || c == 0x7f) {
      shown += std::string("\\x") + kHex[c >> 4] + kHex[c & 15];
    } else if (c == 0xc2 && next >= 0x80 && next <= 0x9f) {
      // A C1 control in UTF-8: terminals take U+009B as the escape that starts a command.
      shown += std::string("\\u00") + kHex[next >> 4] + kHex[next & 15];
      ++i;
    } else {
      shown += static_cast<char>(c);
    }
  }
  return shown;
}

std::string UtcTime(int64_t seconds) {
  if (seconds <= 0) return "never";
  const time_t t = static_cast<time_t>(seconds);
  struct tm parts;
  char text[32];
  if (gmtime_r(&t, &parts) == nullptr ||
      strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S UTC", &parts) == 0) {
    return std::to_string(seconds);
  }
  return text;
}

Output::Output(bool json, std::string command) : json_(json), command_(std::move(command)) {}

void Output::Record(const std::vector<Field> &fields) const {
  if (json_) {
    Json::Value object(Json::objectValue);
    for (const Field &field : fields) object[field.key] = field.value;
    WriteJson(object);
    return;
  }
  size_t width = 0;
  for (const Field &field : fields) width = std::max(width, field.label.size());
  for (const Field &field : fields) {
    const std::string text = TextOf(field.value);
    std::cout << field.label << std::string(width - field.label.size() + 2, ' ')
              << (text.empty() ? "-" : text) << '\n';
  }
}

void Output::Document(const Json::Value &value, const std::string &text) const {
  if (json_) {
    WriteJson(value);
  } else {
    std::cout << text;
    if (!text.empty() && text.back() != '\n') std::cout << '\n';
  }
}

int Output::LibraryFailure(unsigned int code) const {
  if (code == 0) {
    return Fail(kExitNoCode, 0,
                "the library failed without an error code; the system log says why");
  }
  const char *meaning = Meaning(code);
  return Fail(ExitStatusForCode(code), code,
              std::string(GetZephErrorMsg(code)) + " (error " + std::to_string(code) +
                  (meaning != nullptr ? std::string(": ") + meaning : "") + ")");
}

int Output::LastLibraryFailure() const {
  return LibraryFailure(static_cast<unsigned int>(VEXOZEPHErrGet()));
}

int Output::Usage(const std::string &message) const {
  // Usage problems are the caller's to fix by hand: stderr only, even with --json.
  std::cerr << Prefix() << message << '\n';
  return kExitUsage;
}

int Output::Unavailable(const std::string &what) const {
  return Fail(kExitUnavailable, 0, what + " is not available in this build");
}

int Output::Internal(const std::string &message) const {
  return Fail(kExitNoCode, 0, message);
}

int Output::ToolFailure(int status, const std::string &message) const {
  return Fail(status, 0, message);
}

int Output::Fail(int status, unsigned int code, const std::string &message) const {
  std::cerr << Prefix() << message << '\n';
  if (json_) {
    Json::Value error(Json::objectValue);
    error["code"] = code;
    error["message"] = code != 0 ? GetZephErrorMsg(code) : message;
    error["exit_status"] = status;
    Json::Value document(Json::objectValue);
    document["error"] = error;
    WriteJson(document);
  }
  return status;
}

std::string Output::Prefix() const {
  return command_.empty() ? "vexozeph: " : "vexozeph " + command_ + ": ";
}

}  // namespace cli
}  // namespace vexozeph
