// The load a fleet puts on the cloud through the report schedule. Every device renders
// the schedule with the generic-Linux cron manager's own code, its serial number drawing
// the "~" values, exactly as the device itself does when the report job is installed, and
// draws the second of the minute its report waits for with the platform's own code too;
// this program counts how many devices land on each minute of the day and on each second.
//
//   fleet_schedule [--devices N] [--schedule "~ 9~16 * * 1~5"] [--minutes FILE]
//                  [--seconds FILE]
//
// Prints the spread on stdout. With --minutes, writes one line per minute of the window
// ("H:MM count"); with --seconds, one line per second of the minute ("S fleet busiest"):
// the devices of the whole fleet that start their report at that second of their minute,
// and those of the busiest minute. Both are for plotting. The last lines are for
// bench/run-bench:
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
const double kSecondBudget = 1.20;

// About how far above `mean` the busiest of `cells` counts lands when devices fall on them
// by a fair draw alone: a multinomial's busiest cell is about sqrt(2 ln cells) standard
// deviations above the mean.
double ChancePeak(double mean, long cells) {
  return mean + std::sqrt(mean * (1.0 - 1.0 / cells)) *
                    std::sqrt(2.0 * std::log(static_cast<double>(cells)));
}

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
  std::string seconds_file;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--devices") == 0 && i + 1 < argc) {
      devices = std::atol(argv[++i]);
    } else if (std::strcmp(argv[i], "--schedule") == 0 && i + 1 < argc) {
      schedule = argv[++i];
    } else if (std::strcmp(argv[i], "--minutes") == 0 && i + 1 < argc) {
      minutes_file = argv[++i];
    } else if (std::strcmp(argv[i], "--seconds") == 0 && i + 1 < argc) {
      seconds_file = argv[++i];
    } else {
      std::fprintf(stderr,
                   "usage: %s [--devices N] [--schedule S] [--minutes FILE] [--seconds FILE]\n",
                   argv[0]);
      return 2;
    }
  }
  if (devices < 1) return std::fprintf(stderr, "--devices must be positive\n"), 2;

  // Devices per second of the day: minute of the day times 60 plus the second waited.
  std::vector<long> per_second_of_day(24 * 60 * 60, 0);
  for (long d = 0; d < devices; ++d) {
    const std::string serial = SerialNumber(d);
    int minute_of_day = 0;
    std::string why;
    if (!MinuteOfDay(schedule, serial, minute_of_day, why)) {
      std::fprintf(stderr, "schedule \"%s\" refused: %s\n", schedule.c_str(), why.c_str());
      return 1;
    }
    ++per_second_of_day[minute_of_day * 60 + vexo_platform::DrawSpreadSecond(serial)];
  }
  std::vector<long> per_minute(24 * 60, 0);
  std::vector<long> per_second_of_minute(60, 0);
  for (size_t s = 0; s < per_second_of_day.size(); ++s) {
    per_minute[s / 60] += per_second_of_day[s];
    per_second_of_minute[s % 60] += per_second_of_day[s];
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

  // The seconds of the minute, over the whole fleet: how evenly the wait spreads devices.
  const double mean_per_second_of_minute = devices / 60.0;
  long busiest_second_of_minute = 0;
  int busiest_second_of_minute_at = 0;
  for (int s = 0; s < 60; ++s) {
    if (per_second_of_minute[s] > busiest_second_of_minute) {
      busiest_second_of_minute = per_second_of_minute[s], busiest_second_of_minute_at = s;
    }
  }
  const double second_of_minute_ratio = busiest_second_of_minute / mean_per_second_of_minute;

  // What the cloud sees: each second of the window on its own.
  const long window_seconds = window * 60L;
  const double mean_per_second = static_cast<double>(devices) / window_seconds;
  long busiest_second = 0;
  long busiest_second_at = first * 60L;
  for (long s = first * 60L; s < (last + 1) * 60L; ++s) {
    if (per_second_of_day[s] > busiest_second)
      busiest_second = per_second_of_day[s], busiest_second_at = s;
  }
  const double second_ratio = busiest_second / mean_per_second;
  // Without the wait cron starts every job at second 0 of its minute and appliances keep
  // their clocks by NTP: each minute's devices arrive in the same second.
  const double unspread_ratio = busiest / mean_per_second;

  std::printf("schedule            \"%s\"\n", schedule.c_str());
  std::printf("devices             %ld\n", devices);
  std::printf("window              %d:%02d to %d:%02d, %d minutes\n", first / 60, first % 60,
              last / 60, last % 60, window);
  std::printf("mean per minute     %.1f\n", mean);
  std::printf("busiest minute      %ld at %d:%02d (%.3f x mean; chance alone: about %.3f x)\n",
              busiest, busiest_at / 60, busiest_at % 60, minute_ratio,
              ChancePeak(mean, window) / mean);
  std::printf("quietest minute     %ld (%.3f x mean)\n", quietest, quietest / mean);
  std::printf(
      "second of minute    mean %.1f, busiest %ld at :%02d (%.3f x mean; chance alone: about %.3f "
      "x)\n",
      mean_per_second_of_minute, busiest_second_of_minute, busiest_second_of_minute_at,
      second_of_minute_ratio,
      ChancePeak(mean_per_second_of_minute, 60) / mean_per_second_of_minute);
  std::printf("mean per second     %.1f\n", mean_per_second);
  std::printf(
      "busiest second      %ld at %ld:%02ld:%02ld (%.2f x mean; chance alone: about %.2f x)\n",
      busiest_second, busiest_second_at / 3600, busiest_second_at / 60 % 60, busiest_second_at % 60,
      second_ratio, ChancePeak(mean_per_second, window_seconds) / mean_per_second);
  std::printf(
      "without the wait    %ld in one second (%.1f x mean), every device of a minute at :00\n",
      busiest, unspread_ratio);

  if (!minutes_file.empty()) {
    std::FILE *out = std::fopen(minutes_file.c_str(), "w");
    if (out == nullptr) return std::perror(minutes_file.c_str()), 1;
    std::fprintf(out, "# minute of day (h:mm), devices whose report starts then; mean %.1f\n",
                 mean);
    for (int m = first; m <= last; ++m)
      std::fprintf(out, "%d:%02d %ld\n", m / 60, m % 60, per_minute[m]);
    std::fclose(out);
  }
  if (!seconds_file.empty()) {
    std::FILE *out = std::fopen(seconds_file.c_str(), "w");
    if (out == nullptr) return std::perror(seconds_file.c_str()), 1;
    std::fprintf(out,
                 "# second of the minute, devices of the fleet whose report starts then (mean "
                 "%.1f), those of the busiest minute %d:%02d (mean %.1f)\n",
                 mean_per_second_of_minute, busiest_at / 60, busiest_at % 60, busiest / 60.0);
    for (int s = 0; s < 60; ++s) {
      std::fprintf(out, "%d %ld %ld\n", s, per_second_of_minute[s],
                   per_second_of_day[busiest_at * 60 + s]);
    }
    std::fclose(out);
  }

  std::printf("fleet\tbusiest report minute / mean, %ld serials\t%.3f\t%.2f\t%s\n", devices,
              minute_ratio, kMinuteBudget, minute_ratio <= kMinuteBudget ? "met" : "missed");
  std::printf("fleet\tbusiest second of the minute / mean, %ld serials\t%.3f\t%.2f\t%s\n", devices,
              second_of_minute_ratio, kSecondBudget,
              second_of_minute_ratio <= kSecondBudget ? "met" : "missed");
  std::printf(
      "fleet\tbusiest single second of the window / mean (chance alone: %.2f)\t%.2f\t-\tinfo\n",
      ChancePeak(mean_per_second, window_seconds) / mean_per_second, second_ratio);
  std::printf("fleet\tbusiest second / mean without the wait, every device at :00\t%.1f\t-\tinfo\n",
              unspread_ratio);
  return 0;
}
