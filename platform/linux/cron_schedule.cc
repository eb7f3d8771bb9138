#include "cron_schedule.h"

#include <openssl/evp.h>

#include <cstdint>
#include <sstream>
#include <vector>

namespace vexo_platform {
namespace {

struct FieldRule {
  const char *name;
  int low;
  int high;
  bool draws_one;  // "~" picks one device-specific value rather than meaning a range
};

// The draw of the second within the minute takes the place after the five fields.
const int kSecondField = 5;

const FieldRule kFields[5] = {
    {"minute", 0, 59, true}, {"hour", 0, 23, true},        {"day of month", 1, 31, false},
    {"month", 1, 12, false}, {"day of week", 0, 7, false},
};

std::vector<std::string> Split(const std::string &text, char separator) {
  std::vector<std::string> parts;
  size_t start = 0;
  for (;;) {
    size_t end = text.find(separator, start);
    parts.push_back(text.substr(start, end == std::string::npos ? std::string::npos : end - start));
    if (end == std::string::npos) return parts;
    start = end + 1;
  }
}

// A small decimal number; anything longer than three digits is out of every range anyway.
bool Number(const std::string &text, int &value) {
  if (text.empty() || text.size() > 3) return false;
  value = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    value = value * 10 + (c - '0');
  }
  return true;
}

// A value of low..high fixed for this device, field and item.
int Draw(const std::string &salt, int field, int item, int low, int high) {
  std::string input = salt + "\n" + std::to_string(field) + "\n" + std::to_string(item);
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  uint64_t number = 0;
  if (EVP_Digest(input.data(), input.size(), digest, &length, EVP_sha256(), nullptr) == 1) {
    for (int i = 0; i < 8; ++i) number = (number << 8) | digest[i];
  }
  return low + static_cast<int>(number % static_cast<uint64_t>(high - low + 1));
}

bool RenderItem(const std::string &item, const FieldRule &rule, int field, int index,
                const std::string &salt, std::string &out, std::string &why) {
  std::vector<std::string> step_parts = Split(item, '/');
  if (step_parts.size() > 2) return why = "more than one step", false;
  const std::string &base = step_parts[0];
  std::string step;
  if (step_parts.size() == 2) {
    int value = 0;
    if (!Number(step_parts[1], value) || value < 1 || value > rule.high) {
      return why = "bad step", false;
    }
    step = "/" + std::to_string(value);
  }

  auto in_range = [&](int value) { return value >= rule.low && value <= rule.high; };
  int a = 0;
  int b = 0;
  if (base == "*") {
    out = "*" + step;
    return true;
  }
  if (base == "~") {
    if (!rule.draws_one) {
      out = "*" + step;
      return true;
    }
    if (!step.empty()) return why = "a drawn value takes no step", false;
    out = std::to_string(Draw(salt, field, index, rule.low, rule.high));
    return true;
  }
  for (char separator : {'~', '-'}) {
    std::vector<std::string> ends = Split(base, separator);
    if (ends.size() != 2) continue;
    if (!Number(ends[0], a) || !Number(ends[1], b) || !in_range(a) || !in_range(b) || a > b) {
      return why = "bad range", false;
    }
    if (separator == '~' && rule.draws_one) {
      if (!step.empty()) return why = "a drawn value takes no step", false;
      out = std::to_string(Draw(salt, field, index, a, b));
    } else {
      out = std::to_string(a) + "-" + std::to_string(b) + step;
    }
    return true;
  }
  if (!Number(base, a) || !in_range(a)) return why = "bad value", false;
  if (!step.empty()) return why = "a step needs a range", false;
  out = std::to_string(a);
  return true;
}

}  // namespace

int DrawSpreadSecond(const std::string &device_salt) {
  return Draw(device_salt, kSecondField, 0, 0, 59);
}

bool RenderCronSchedule(const std::string &schedule, const std::string &device_salt,
                        std::string &rendered, std::string &why) {
  for (char c : schedule) {
    if (!((c >= '0' && c <= '9') || c == '*' || c == ',' || c == '/' || c == '-' || c == '~' ||
          c == ' ' || c == '\t')) {
      why = "character not allowed in a schedule";
      return false;
    }
  }
  std::istringstream words(schedule);
  std::vector<std::string> fields;
  for (std::string word; words >> word;) fields.push_back(word);
  if (fields.size() != 5) {
    why = "a schedule has five fields";
    return false;
  }
  rendered.clear();
  for (int f = 0; f < 5; ++f) {
    std::vector<std::string> items = Split(fields[f], ',');
    std::string field_text;
    for (size_t i = 0; i < items.size(); ++i) {
      std::string item_text;
      if (!RenderItem(items[i], kFields[f], f, static_cast<int>(i), device_salt, item_text, why)) {
        why = std::string(kFields[f].name) + ": " + why + " in \"" + fields[f] + "\"";
        return false;
      }
      field_text += (i > 0 ? "," : "") + item_text;
    }
    rendered += (f > 0 ? " " : "") + field_text;
  }
  return true;
}

}  // namespace vexo_platform
