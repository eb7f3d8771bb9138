// The cron job manager's five-field schedule notation and its rendering for cron.
//
// Fields: minute (0-59), hour (0-23), day of month (1-31), month (1-12), day of week
// (0-7). Each field is a comma list of items; an item is "*", "N", "A-B", "*/S", "A-B/S",
// or one of the manager's "~" forms, which spread devices over time:
//   minute, hour:        "~"   one value of the field's range, "A~B" one value of A..B,
//                        drawn once per device from a hash of its serial (no step);
//   day, month, weekday: "~"   every value ("*"), "A~B" the whole range A..B ("A-B"),
//                        a step may follow.
// So "~ 9~16 * * 1~5" runs once every weekday at one device-specific time from 9:00 to
// 16:59. Anything else (other characters, another field count, values out of range) is
// refused. Cron starts a job at the minute's first second; the second within the minute
// at which a job begins its work is drawn the same way, as a sixth field.
#ifndef VEXO_PLATFORM_LINUX_CRON_SCHEDULE_H_
#define VEXO_PLATFORM_LINUX_CRON_SCHEDULE_H_

#include <string>

namespace vexo_platform {

// Renders `schedule` as the five fields of a cron line, drawing the device-specific
// values from `device_salt` (the serial number). False, with the reason in `why`, when
// the schedule is refused.
bool RenderCronSchedule(const std::string &schedule, const std::string &device_salt,
                        std::string &rendered, std::string &why);

// The second of the minute, 0 to 59, at which this device's jobs begin their work: drawn
// from `device_salt` like a "~" minute, but apart from every field's own draw.
int DrawSpreadSecond(const std::string &device_salt);

}  // namespace vexo_platform

#endif  // VEXO_PLATFORM_LINUX_CRON_SCHEDULE_H_
