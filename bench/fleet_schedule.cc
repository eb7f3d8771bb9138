// The load a fleet puts on the cloud through the report schedule. Every device renders
// the schedule with the generic-Linux cron manager's own code, its serial number drawing
// the "~" values, exactly as the device itself does when the report job is installed;
// this program counts how many devices land on each minute of the day.
//
//   fleet_schedule [--devices N] [--schedule "~ 9~16 * * 1~5"] [--minutes FILE]
//
// Prints the spread on stdout and, with --minutes, writes one line per minute of the
// day ("H:MM count") for plotting. The last lines are for bench/run-bench:
//   fleet<TAB>what<TAB>value<TAB>budget<TAB>met|missed|info
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "cron_schedule.h"

namespace {

const double kMinuteBudget = 1.10;

// Serial numbers as a factory hands them out: a production run (year and week), a model
// code, then a sequence number counting up within the run. Consecutive numbers are the
// hard case for a spreading rule, so the fleet is made of long consecutive runs.
std::string SerialNumber(long index) {
  static const char *const kModels[] = {"ABN", "CDR", "FKX", "HQT"};
  const long per_run = 20000;
  const long run = index / per_run;
  const int year = 18 + static_cast<int>(run / 52) % 10;
  const int week = 1 + static_cast<int>(run % 52);
  char serial[32];
  std::snprintf(serial, sizeof(serial), "%02d%02d%s%06ld", year, week, kModels[run % 4],
                index % per_run);
  return serial;
}

// The rendered minute and hour of one device, or false when the schedule does not
// draw a single value for both.
bool MinuteOfDay(const std::string &schedule, const std::string &serial, int &minute_of_day,
                 std::string &why) {
  std::string rendered;
  if (!vexo_platform::RenderCronSchedule(schedule, serial, rendered, why)) return false;
  std::istringstream fields(rendered);
  std::string minute;
  std::string hour;
  fields >> minute >> hour;
  char *end = nullptr;
  const long m = std::strtol(minute.c_str(), &end, 10);
  if (*end != '\0') return why = "the minute is not one value: " + minute, false;
  const long h = std::strtol(hour.c_str(), &end, 10);
  if (*end != '\0') return why = "the hour is not one value: " + hour, false;
  minute_of_day = static_cast<int>(h * 60 + m);
  return true;
}

}  // namespace

int main(int argc, char **argv) {
  long devices = 1000000;
  std::string schedule = "~ 9~16 * * 1~5";
  std::string minutes_file;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--devices") == 0 && i + 1 < argc) {
      devices = std::atol(argv[++i]);
    } else if (std::strcmp(argv[i], "--schedule") == 0 && i + 1 < argc) {
      schedule = argv[++i];
    } else if (std::strcmp(argv[i], "--minutes") == 0 && i + 1 < argc) {
      minutes_file = argv[++i];
    } else {
      std::fprintf(stderr, "usage: %s [--devices N] [--schedule S] [--minutes FILE]\n", argv[0]);
      return 2;
    }
  }
  if (devices < 1) return std::fprintf(stderr, "--devices must be positive\n"), 2;

  std::vector<long> per_minute(24 * 60, 0);
  for (long d = 0; d < devices; ++d) {
    int minute_of_day = 0;
    std::string why;
    if (!MinuteOfDay(schedule, SerialNumber(d), minute_of_day, why)) {
      std::fprintf(stderr, "schedule \"%s\" refused: %s\n", schedule.c_str(), why.c_str());
      return 1;
    }
    ++per_minute[minute_of_day];
  }

  // The window: from the first to the last minute any device was given. The "~" range
  // of the default schedule is drawn whole, so this is 9:00 to 16:59.
  int first = 0;
  while (per_minute[first] == 0) ++first;
  int last = 24 * 60 - 1;
  while (per_minute[last] == 0) --last;
  const int window = last - first + 1;
  long busiest = 0;
  long quietest = devices;
  int busiest_at = first;
  for (int m = first; m <= last; ++m) {
    if (per_minute[m] > busiest) busiest = per_minute[m], busiest_at = m;
    if (per_minute[m] < quietest) quietest = per_minute[m];
  }
  const double mean = static_cast<double>(devices) / window;
  const double minute_ratio = busiest / mean;
  // What chance alone gives: a fair draw spreads devices over the window's minutes as a
  // multinomial, whose busiest of `window` minutes is about sqrt(2 ln window) standard
  // deviations above the mean.
  const double expected_peak = mean + std::sqrt(mean * (1.0 - 1.0 / window)) *
                                          std::sqrt(2.0 * std::log(static_cast<double>(window)));

  // Cron starts a job at second 0 of its minute, and appliances keep their clocks by NTP,
  // so each minute's devices arrive in the same second.
  const double mean_per_second = static_cast<double>(devices) / (window * 60.0);
  const double second_ratio = busiest / mean_per_second;

  std::printf("schedule            \"%s\"\n", schedule.c_str());
  std::printf("devices             %ld\n", devices);
  std::printf("window              %d:%02d to %d:%02d, %d minutes\n", first / 60, first % 60,
              last / 60, last % 60, window);
  std::printf("mean per minute     %.1f\n", mean);
  std::printf("busiest minute      %ld at %d:%02d (%.3f x mean; chance alone: about %.3f x)\n",
              busiest, busiest_at / 60, busiest_at % 60, minute_ratio, expected_peak / mean);
  std::printf("quietest minute     %ld (%.3f x mean)\n", quietest, quietest / mean);
  std::printf("mean per second     %.1f\n", mean_per_second);
  std::printf("busiest second      %ld (%.1f x mean), every device of a minute at :00\n", busiest,
              second_ratio);

  if (!minutes_file.empty()) {
    std::FILE *out = std::fopen(minutes_file.c_str(), "w");
    if (out == nullptr) return std::perror(minutes_file.c_str()), 1;
    std::fprintf(out, "# minute of day (h:mm), devices whose report starts then; mean %.1f\n",
                 mean);
    for (int m = first; m <= last; ++m)
      std::fprintf(out, "%d:%02d %ld\n", m / 60, m % 60, per_minute[m]);
    std::fclose(out);
  }

  std::printf("fleet\tbusiest report minute / mean, %ld serials\t%.3f\t%.2f\t%s\n", devices,
              minute_ratio, kMinuteBudget, minute_ratio <= kMinuteBudget ? "met" : "missed");
  std::printf("fleet\tbusiest second / mean, clocks firing on the minute\t%.1f\t-\tinfo\n",
              second_ratio);
  return 0;
}
