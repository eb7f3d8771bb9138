/* The cron job manager and the legacy scheduler. */
#ifndef VEXO_PLATFORM_VEXO_SCHEDULER_H_
#define VEXO_PLATFORM_VEXO_SCHEDULER_H_

#ifdef __cplusplus
extern "C" {
#endif

/* Removes the legacy scheduler's task running exactly `command_line`; nothing when there
 * is none. 0 on success, < 0 on failure. */
int VEXOScheduleRemove(const char *command_line);

/* The second of the minute, 0 to 59, at which this device's scheduled jobs begin their
 * work: cron starts every job at its minute's first second, so a job that talks to the
 * cloud waits this long first. Drawn from the device's identity the way the cron job
 * manager draws a "~" minute and hour: the same device gets the same second on every
 * call, and devices spread evenly over the minute. < 0 when the platform has none to
 * give; the job then begins at once. */
int VEXOCrondSpreadSecond(void);

#ifdef __cplusplus
}

#include <json/value.h>

#include <memory>
#include <string>

namespace VEXO {
namespace VEXOCrond {

// The jobs of one group. A job is an object with "name", "period" ("crontab"),
// "crontab" (five fields of digits, '*', ',', '/', '-', '~'), "user" and "cmd_list".
class ConfigManager {
 public:
  // `group` names the job list; `reload` asks the cron daemon to reload at once.
  ConfigManager(const std::string &group, bool reload);
  virtual ~ConfigManager();
  ConfigManager(const ConfigManager &) = delete;
  ConfigManager &operator=(const ConfigManager &) = delete;

  // Replaces the group's job list. Non-zero when stored, 0 when refused or on failure.
  int Save(const Json::Value &jobs);
  // Removes the group's jobs. Non-zero on success (also when there were none), 0 on
  // failure.
  int Remove();
  // The group's job list as the manager holds it now: what the last accepted Save stored,
  // an empty list when there is none. A refused Save leaves the list before it. Non-zero
  // when read, 0 on failure.
  int Load(Json::Value &jobs);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace VEXOCrond
}  // namespace VEXO
#endif
#endif /* VEXO_PLATFORM_VEXO_SCHEDULER_H_ */
