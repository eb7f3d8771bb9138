// The cron job manager on a generic Linux host. A group's job list is kept as JSON in
//   <root>/usr/vexo/etc/crond/<group>.json
// and rendered for the system's cron daemon into
//   <root>/etc/cron.d/vexozeph-<group>
// one line per job: "<five fields> <user> <command words>", the words shell-quoted. The
// schedule notation is the manager's own (see cron_schedule.h); device-specific values
// are drawn from the serial number. Both files are replaced atomically (mode 0644, as
// cron wants for cron.d). A save replaces the group's whole list; the reload flag is not
// needed because cron notices changed files in cron.d by itself. Command paths are written
// as given: the cron daemon runs them on the real system, not under a test's root. The
// second within the minute at which a job begins its work (VEXOCrondSpreadSecond) is drawn
// from the same serial.
#include <errno.h>
#include <json/writer.h>
#include <unistd.h>

#include <cctype>
#include <cstring>
#include <string>

#include "atomic_replace.h"
#include "base/directories.h"
#include "base/log.h"
#include "base/root_path.h"
#include "base/string_utils.h"
#include "cron_schedule.h"
#include "platform_error.h"
#include "vexo_platform/vexo_scheduler.h"
#include "vexo_platform/vlib_device.h"

namespace vexo_platform {
namespace {

constexpr const char *kStoreDir = "/usr/vexo/etc/crond";
constexpr const char *kCronDir = "/etc/cron.d";

bool ValidGroup(const std::string &group) {
  if (group.empty() || group.size() > 64) return false;
  for (char c : group) {
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '_' && c != '-') return false;
  }
  return true;
}

bool ValidUser(const std::string &user) {
  if (user.empty() || user.size() > 32 || user[0] == '-') return false;
  for (char c : user) {
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '_' && c != '-' && c != '.') {
      return false;
    }
  }
  return true;
}

// A command word for the cron line. Control characters would end or split the line, and
// cron itself turns '%' into a line break before the shell sees the command, so neither
// is accepted. Anything beyond a plain set of characters is single-quoted.
bool CommandWord(const Json::Value &word, std::string &out) {
  if (!word.isString()) return false;
  const std::string text = word.asString();
  if (text.empty()) {
    out = "''";
    return true;
  }
  bool plain = true;
  for (unsigned char c : text) {
    if (c < 0x20 || c == 0x7f || c == '%') return false;
    plain = plain && (std::isalnum(c) || std::strchr("_./:=@+,-", c) != nullptr);
  }
  if (plain) {
    out = text;
    return true;
  }
  out = vexozeph::QuoteForShell(text);
  return true;
}

std::string DeviceSalt() {
  char serial[64] = {0};
  if (VLIBGetSerialNumber(serial, sizeof(serial)) < 0) {
    // Without an identity every such device lands on the same draw; still a valid job.
    ZLOG("no serial number to spread the schedule; using a fixed draw");
    return std::string();
  }
  return serial;
}

// One cron line for `job`, or false with the reason.
bool RenderJob(const Json::Value &job, const std::string &salt, std::string &line,
               std::string &why) {
  if (!job.isObject()) return why = "a job is not an object", false;
  const Json::Value &period = job["period"];
  if (!period.isNull() && !(period.isString() && period.asString() == "crontab")) {
    return why = "only \"crontab\" periods are supported", false;
  }
  const Json::Value &schedule = job["crontab"];
  const Json::Value &user = job["user"];
  const Json::Value &commands = job["cmd_list"];
  if (!schedule.isString()) return why = "no \"crontab\" schedule", false;
  if (!user.isString() || !ValidUser(user.asString())) return why = "bad \"user\"", false;
  if (!commands.isArray() || commands.empty()) return why = "no \"cmd_list\"", false;
  std::string fields;
  if (!RenderCronSchedule(schedule.asString(), salt, fields, why)) return false;
  line = fields + " " + user.asString();
  for (const Json::Value &word : commands) {
    std::string quoted;
    if (!CommandWord(word, quoted)) return why = "bad command word", false;
    line += " " + quoted;
  }
  line += "\n";
  return true;
}

std::string Styled(const Json::Value &value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "  ";
  return Json::writeString(builder, value) + "\n";
}

// Removes `path`; an absent file counts as removed.
bool RemoveFile(const std::string &path) {
  return unlink(path.c_str()) == 0 || errno == ENOENT;
}

}  // namespace
}  // namespace vexo_platform

namespace VEXO {
namespace VEXOCrond {

struct ConfigManager::Impl {
  std::string group;
  bool valid = false;

  std::string StorePath() const {
    return vexozeph::RootedPath(std::string(vexo_platform::kStoreDir) + "/" + group + ".json");
  }
  std::string CronPath() const {
    return vexozeph::RootedPath(std::string(vexo_platform::kCronDir) + "/vexozeph-" + group);
  }
};

ConfigManager::ConfigManager(const std::string &group, bool) : impl_(new Impl) {
  impl_->group = group;
  impl_->valid = vexo_platform::ValidGroup(group);
}

ConfigManager::~ConfigManager() = default;

int ConfigManager::Save(const Json::Value &jobs) {
  using namespace vexo_platform;
  return GuardPlatformCall(EINVAL, 0, [&] {
    if (!impl_->valid) {
      ZLOG("refusing cron job group name \"%s\"", impl_->group.c_str());
      SET_PLATFORM_ERROR(EINVAL);
      return 0;
    }
    if (!jobs.isArray()) {
      ZLOG("cron jobs of group %s are not a list", impl_->group.c_str());
      SET_PLATFORM_ERROR(EINVAL);
      return 0;
    }
    // Everything is rendered before anything is written: a refused job leaves the group's
    // previous jobs in force.
    const std::string salt = DeviceSalt();
    std::string cron = "# Jobs of the group \"" + impl_->group +
                       "\" of the vexozeph cron job manager; rewritten on every save.\n"
                       "SHELL=/bin/sh\n"
                       "PATH=/usr/local/sbin:/usr/local/bin:/sbin:/bin:/usr/sbin:/usr/bin\n";
    for (Json::ArrayIndex i = 0; i < jobs.size(); ++i) {
      std::string line;
      std::string why;
      if (!RenderJob(jobs[i], salt, line, why)) {
        ZLOG("refusing cron job %u of group %s: %s", i, impl_->group.c_str(), why.c_str());
        SET_PLATFORM_ERROR(EINVAL);
        return 0;
      }
      cron += line;
    }

    const std::string store_dir = DirectoryOf(impl_->StorePath());
    const std::string cron_dir = DirectoryOf(impl_->CronPath());
    if (!vexozeph::MakeDirectories(store_dir, 0755) || !vexozeph::MakeDirectories(cron_dir, 0755)) {
      SET_PLATFORM_ERROR(errno);
      return 0;
    }
    // Always the store first, then cron.d, so two managers never wait on each other.
    DirectoryLock store_lock(store_dir);
    if (!store_lock.Held()) {
      SET_PLATFORM_ERROR(errno);
      return 0;
    }
    DirectoryLock cron_lock(cron_dir);
    // The report saves the same jobs on every run: a file that already holds them is left
    // as it is, which spares the disk two flushes per file.
    const auto store = [](const DirectoryLock &lock, const std::string &path,
                          const std::string &text) {
      return FileHolds(path, text, 0644) || ReplaceFile(lock, path, text, 0644);
    };
    if (!cron_lock.Held() || !store(store_lock, impl_->StorePath(), Styled(jobs)) ||
        !store(cron_lock, impl_->CronPath(), cron)) {
      SET_PLATFORM_ERROR(errno);
      ZLOG("failed to store cron jobs of group %s", impl_->group.c_str());
      return 0;
    }
    return 1;
  });
}

int ConfigManager::Remove() {
  using namespace vexo_platform;
  if (!impl_->valid) {
    SET_PLATFORM_ERROR(EINVAL);
    return 0;
  }
  return GuardPlatformCall(ENOMEM, 0, [&] {
    bool removed = RemoveFile(impl_->CronPath());
    removed = RemoveFile(impl_->StorePath()) && removed;
    if (!removed) {
      SET_PLATFORM_ERROR(errno);
      return 0;
    }
    return 1;
  });
}

}  // namespace VEXOCrond
}  // namespace VEXO

extern "C" int VEXOCrondSpreadSecond(void) {
  using namespace vexo_platform;
  return GuardPlatformCall(ENOMEM, -1, [] { return DrawSpreadSecond(DeviceSalt()); });
}
