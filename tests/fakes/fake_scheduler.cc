// The cron job manager and the legacy scheduler: job lists kept in memory per group.
#include <string>

#include <json/writer.h>

#include "fake_state.h"
#include "vexo_platform/vexo_scheduler.h"

namespace {

using vexozeph::fake::internal::Enter;
using vexozeph::fake::internal::Get;
using vexozeph::fake::internal::Mutex;
using vexozeph::fake::internal::Text;

std::string Compact(const Json::Value &value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, value);
}

}  // namespace

namespace VEXO {
namespace VEXOCrond {

struct ConfigManager::Impl {
  std::string group;
};

ConfigManager::ConfigManager(const std::string &group, bool reload) : impl_(new Impl{group}) {
  Enter("ConfigManager::ConfigManager", {group, reload ? "true" : "false"});
}

ConfigManager::~ConfigManager() = default;

int ConfigManager::Save(const Json::Value &jobs) {
  if (Enter("ConfigManager::Save", {impl_->group, Compact(jobs)})) return 0;
  std::lock_guard<std::mutex> guard(Mutex());
  Get().cron_saves.push_back({impl_->group, jobs});
  Get().cron_jobs[impl_->group] = jobs;
  return 1;
}

int ConfigManager::Remove() {
  if (Enter("ConfigManager::Remove", {impl_->group})) return 0;
  std::lock_guard<std::mutex> guard(Mutex());
  Get().cron_removals.push_back(impl_->group);
  Get().cron_jobs.erase(impl_->group);
  return 1;
}

int ConfigManager::Load(Json::Value &jobs) {
  if (Enter("ConfigManager::Load", {impl_->group})) return 0;
  std::lock_guard<std::mutex> guard(Mutex());
  const auto held = Get().cron_jobs.find(impl_->group);
  jobs = held != Get().cron_jobs.end() ? held->second : Json::Value(Json::arrayValue);
  return 1;
}

}  // namespace VEXOCrond
}  // namespace VEXO

extern "C" int VEXOScheduleRemove(const char *command_line) {
  if (Enter(__func__, {Text(command_line)})) return -1;
  std::lock_guard<std::mutex> guard(Mutex());
  Get().schedule_removals.push_back(Text(command_line));
  return 0;
}
