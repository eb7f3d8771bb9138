#include "tzif_zone.h"

#include <cctype>
#include <cstddef>
#include <vector>

namespace vexo_platform {
namespace {

constexpr size_t kHeaderSize = 44;
constexpr int64_t kDaySeconds = 86400;

struct Header {
  char version = 0;
  uint32_t isutcnt = 0, isstdcnt = 0, leapcnt = 0, timecnt = 0, typecnt = 0, charcnt = 0;
};

uint64_t BigEndian(const std::string &data, size_t at, size_t bytes) {
  uint64_t value = 0;
  for (size_t i = 0; i < bytes; ++i)
    value = (value << 8) | static_cast<unsigned char>(data[at + i]);
  return value;
}

bool ReadHeader(const std::string &data, size_t at, Header &header) {
  if (data.size() < at + kHeaderSize || data.compare(at, 4, "TZif") != 0) return false;
  header.version = data[at + 4];
  uint32_t *counts[] = {&header.isutcnt, &header.isstdcnt, &header.leapcnt,
                        &header.timecnt, &header.typecnt,  &header.charcnt};
  for (size_t i = 0; i < 6; ++i) {
    *counts[i] = static_cast<uint32_t>(BigEndian(data, at + 20 + 4 * i, 4));
  }
  return header.typecnt > 0 && header.charcnt > 0;
}

uint64_t BlockSize(const Header &h, size_t time_size) {
  return uint64_t{h.timecnt} * (time_size + 1) + uint64_t{h.typecnt} * 6 + h.charcnt +
         uint64_t{h.leapcnt} * (time_size + 4) + h.isstdcnt + h.isutcnt;
}

// ---- The closing rule: a POSIX TZ string such as "CET-1CEST,M3.5.0,M10.5.0/3" ----------

struct Change {
  char kind = 'M';  // 'J': day 1..365 without Feb 29; 'D': day 0..365; 'M': month.week.day
  int day = 0, week = 0, month = 0;
  long time = 7200;  // local seconds into the day
};

struct PosixRule {
  std::string std_name, dst_name;
  long std_offset = 0, dst_offset = 0;  // seconds east of UTC
  bool has_dst = false;
  Change start, end;
};

class RuleParser {
 public:
  explicit RuleParser(const std::string &text) : text_(text) {}

  bool Parse(PosixRule &rule) {
    if (!Name(rule.std_name) || !Offset(rule.std_offset)) return false;
    rule.std_offset = -rule.std_offset;  // POSIX counts west of Greenwich as positive
    if (AtEnd()) return true;
    rule.has_dst = true;
    if (!Name(rule.dst_name)) return false;
    rule.dst_offset = rule.std_offset + 3600;
    if (!AtEnd() && Peek() != ',') {
      if (!Offset(rule.dst_offset)) return false;
      rule.dst_offset = -rule.dst_offset;
    }
    if (AtEnd()) {  // the historical default: the United States' rules
      rule.start = Change{'M', 0, 2, 3, 7200};
      rule.end = Change{'M', 0, 1, 11, 7200};
      return true;
    }
    return Take(',') && When(rule.start) && Take(',') && When(rule.end) && AtEnd();
  }

 private:
  bool AtEnd() const { return at_ >= text_.size(); }
  char Peek() const { return AtEnd() ? '\0' : text_[at_]; }
  bool Take(char c) {
    if (Peek() != c) return false;
    ++at_;
    return true;
  }

  bool Name(std::string &name) {
    if (Take('<')) {
      const size_t close = text_.find('>', at_);
      if (close == std::string::npos) return false;
      name = text_.substr(at_, close - at_);
      at_ = close + 1;
    } else {
      const size_t from = at_;
      while (std::isalpha(static_cast<unsigned char>(Peek()))) ++at_;
      name = text_.substr(from, at_ - from);
    }
    return name.size() >= 3;
  }

  bool Number(long &value, long max) {
    if (!std::isdigit(static_cast<unsigned char>(Peek()))) return false;
    value = 0;
    while (std::isdigit(static_cast<unsigned char>(Peek()))) {
      value = value * 10 + (text_[at_++] - '0');
      if (value > max) return false;
    }
    return true;
  }

  // [+-]hh[:mm[:ss]], up to 167 hours as the newer rule strings allow.
  bool Offset(long &seconds) {
    const bool negative = Take('-');
    if (!negative) Take('+');
    long hours = 0, minutes = 0, secs = 0;
    if (!Number(hours, 167)) return false;
    if (Take(':')) {
      if (!Number(minutes, 59)) return false;
      if (Take(':') && !Number(secs, 59)) return false;
    }
    seconds = hours * 3600 + minutes * 60 + secs;
    if (negative) seconds = -seconds;
    return true;
  }

  bool When(Change &change) {
    long a = 0, b = 0, c = 0;
    if (Take('J')) {
      if (!Number(a, 365) || a < 1) return false;
      change = Change{'J', static_cast<int>(a), 0, 0, 7200};
    } else if (Take('M')) {
      if (!Number(a, 12) || a < 1 || !Take('.') || !Number(b, 5) || b < 1 || !Take('.') ||
          !Number(c, 6)) {
        return false;
      }
      change = Change{'M', static_cast<int>(c), static_cast<int>(b), static_cast<int>(a), 7200};
    } else {
      if (!Number(a, 365)) return false;
      change = Change{'D', static_cast<int>(a), 0, 0, 7200};
    }
    return Take('/') ? Offset(change.time) : true;
  }

  const std::string &text_;
  size_t at_ = 0;
};

bool IsLeap(int64_t year) {
  return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

// Days from 1970-01-01 to the given date of the proleptic Gregorian calendar.
int64_t DaysFromCivil(int64_t year, int month, int day) {
  year -= month <= 2;
  const int64_t era = (year >= 0 ? year : year - 399) / 400;
  const int64_t year_of_era = year - era * 400;
  const int64_t day_of_year = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  const int64_t day_of_era = year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
  return era * 146097 + day_of_era - 719468;
}

int64_t YearOf(int64_t seconds) {
  int64_t days = seconds / kDaySeconds - (seconds % kDaySeconds < 0);
  int64_t year = 1970 + days / 366;
  while (DaysFromCivil(year + 1, 1, 1) <= days) ++year;
  while (DaysFromCivil(year, 1, 1) > days) --year;
  return year;
}

// The instant, in local seconds since the epoch, at which `change` happens in `year`.
int64_t LocalInstant(const Change &change, int64_t year) {
  static const int kMonthDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  int64_t day = DaysFromCivil(year, 1, 1);
  if (change.kind == 'J') {
    day += change.day - 1 + (IsLeap(year) && change.day >= 60);
  } else if (change.kind == 'D') {
    day += change.day;
  } else {
    const int64_t first = DaysFromCivil(year, change.month, 1);
    const int64_t first_weekday = ((first + 4) % 7 + 7) % 7;  // 1970-01-01 was a Thursday
    const int length = kMonthDays[change.month - 1] + (change.month == 2 && IsLeap(year));
    int64_t date = 1 + (change.day - first_weekday + 7) % 7 + (change.week - 1) * 7;
    while (date > length) date -= 7;
    day = first + date - 1;
  }
  return day * kDaySeconds + change.time;
}

void ApplyRule(const PosixRule &rule, int64_t when, ZoneState &state) {
  bool dst = false;
  if (rule.has_dst) {
    const int64_t year = YearOf(when + rule.std_offset);
    // The start is given in standard time, the end in daylight time.
    const int64_t start = LocalInstant(rule.start, year) - rule.std_offset;
    const int64_t end = LocalInstant(rule.end, year) - rule.dst_offset;
    dst = start < end ? (start <= when && when < end) : !(end <= when && when < start);
  }
  state.dst = dst;
  state.offset = dst ? rule.dst_offset : rule.std_offset;
  state.abbreviation = dst ? rule.dst_name : rule.std_name;
}

}  // namespace

bool ZoneStateAt(const std::string &data, int64_t when, ZoneState &state) {
  Header header;
  if (!ReadHeader(data, 0, header)) return false;
  size_t block = kHeaderSize;
  size_t time_size = 4;
  if (header.version >= '2') {
    // The second, 64-bit block follows the first and is the one to trust.
    const uint64_t second = kHeaderSize + BlockSize(header, 4);
    if (second > data.size() || !ReadHeader(data, static_cast<size_t>(second), header)) {
      return false;
    }
    block = static_cast<size_t>(second) + kHeaderSize;
    time_size = 8;
  }
  const uint64_t block_end = block + BlockSize(header, time_size);
  if (block_end > data.size()) return false;

  const size_t types_at = block + header.timecnt * time_size;
  const size_t infos_at = types_at + header.timecnt;
  const size_t chars_at = infos_at + header.typecnt * 6;
  std::vector<int64_t> times(header.timecnt);
  for (size_t i = 0; i < header.timecnt; ++i) {
    const uint64_t raw = BigEndian(data, block + i * time_size, time_size);
    times[i] = time_size == 8 ? static_cast<int64_t>(raw)
                              : static_cast<int64_t>(static_cast<int32_t>(raw));
  }

  std::string footer;
  if (time_size == 8 && block_end < data.size() && data[block_end] == '\n') {
    const size_t close = data.find('\n', block_end + 1);
    if (close != std::string::npos) footer = data.substr(block_end + 1, close - block_end - 1);
  }
  const bool past_last = header.timecnt == 0 || when >= times.back();
  PosixRule rule;
  if (past_last && !footer.empty() && RuleParser(footer).Parse(rule)) {
    ApplyRule(rule, when, state);
    return true;
  }

  size_t type = 0;  // before the first transition: the first type
  for (size_t i = header.timecnt; i > 0; --i) {
    if (times[i - 1] <= when) {
      type = static_cast<unsigned char>(data[types_at + i - 1]);
      break;
    }
  }
  if (type >= header.typecnt) return false;
  const size_t info = infos_at + type * 6;
  const size_t name_at = static_cast<unsigned char>(data[info + 5]);
  if (name_at >= header.charcnt) return false;
  state.offset = static_cast<long>(static_cast<int32_t>(BigEndian(data, info, 4)));
  state.dst = data[info + 4] != 0;
  const std::string names = data.substr(chars_at, header.charcnt);
  state.abbreviation = names.substr(name_at, names.find('\0', name_at) - name_at);
  return true;
}

}  // namespace vexo_platform
