// The generic-Linux cron job manager: what it renders for cron, what it refuses, and the
// legacy scheduler's task removal.
#include <gtest/gtest.h>
#include <json/json.h>
#include <unistd.h>

#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "cron_schedule.h"
#include "support/appliance_files.h"
#include "support/temp_root.h"
#include "vexo_platform/vexo_scheduler.h"

namespace {

using VEXO::VEXOCrond::ConfigManager;
using vexozeph::testing::kCronFile;
using vexozeph::testing::kCronJobs;
using vexozeph::testing::TempRoot;

Json::Value ReportJobs(const std::string &schedule) {
  Json::Value job(Json::objectValue);
  job["name"] = "job";
  job["period"] = "crontab";
  job["crontab"] = schedule;
  job["user"] = "root";
  job["cmd_list"].append("/usr/vexo/bin/vexozeph");
  job["cmd_list"].append("--report_info");
  Json::Value jobs(Json::arrayValue);
  jobs.append(job);
  return jobs;
}

// The job lines of a rendered cron file, split into words.
std::vector<std::vector<std::string>> JobLines(const std::string &cron) {
  std::vector<std::vector<std::string>> lines;
  std::istringstream in(cron);
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#' || line.find('=') != std::string::npos) continue;
    std::istringstream words(line);
    std::vector<std::string> split;
    for (std::string word; words >> word;) split.push_back(word);
    lines.push_back(split);
  }
  return lines;
}

std::vector<std::string> SaveAndRead(TempRoot &root, const std::string &schedule) {
  ConfigManager manager("zeph", false);
  EXPECT_NE(manager.Save(ReportJobs(schedule)), 0) << schedule;
  auto lines = JobLines(root.ReadFile(kCronFile));
  EXPECT_EQ(lines.size(), 1u);
  return lines.empty() ? std::vector<std::string>() : lines[0];
}

TEST(PlatformCron, SpreadsTheDefaultScheduleOverTheWorkdayPerDevice) {
  TempRoot root;
  root.WriteFile("/etc/vexozeph/serial", "SERIAL0001\n");
  std::vector<std::string> line = SaveAndRead(root, "~ 9~16 * * 1~5");
  ASSERT_EQ(line.size(), 8u);
  EXPECT_TRUE(std::stoi(line[0]) >= 0 && std::stoi(line[0]) <= 59) << line[0];
  EXPECT_TRUE(std::stoi(line[1]) >= 9 && std::stoi(line[1]) <= 16) << line[1];
  EXPECT_EQ(std::vector<std::string>(line.begin() + 2, line.end()),
            (std::vector<std::string>{"*", "*", "1-5", "root", "/usr/vexo/bin/vexozeph",
                                      "--report_info"}));
  EXPECT_EQ(SaveAndRead(root, "~ 9~16 * * 1~5"), line) << "one device keeps its time";

  // Different devices do not all land on the same minute.
  std::set<std::string> times;
  for (int i = 0; i < 8; ++i) {
    root.WriteFile("/etc/vexozeph/serial", "SERIAL000" + std::to_string(i) + "\n");
    std::vector<std::string> other = SaveAndRead(root, "~ 9~16 * * 1~5");
    if (other.size() > 1) times.insert(other[0] + ":" + other[1]);
  }
  EXPECT_GT(times.size(), 1u);

  // The job list itself is kept as given.
  Json::Value stored;
  std::istringstream json(root.ReadFile(kCronJobs));
  ASSERT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), json, &stored, nullptr));
  EXPECT_EQ(stored, ReportJobs("~ 9~16 * * 1~5"));
}

TEST(PlatformCron, EachDeviceKeepsItsSecondOfTheMinuteAndDevicesSpreadEvenlyOverIt) {
  TempRoot root;
  root.WriteFile("/etc/vexozeph/serial", "SERIAL0001\n");
  const int second = VEXOCrondSpreadSecond();
  EXPECT_TRUE(second >= 0 && second < 60) << second;
  EXPECT_EQ(VEXOCrondSpreadSecond(), second) << "one device keeps its second";
  EXPECT_EQ(second, vexo_platform::DrawSpreadSecond("SERIAL0001")) << "drawn from the serial";

  // 60,000 consecutive serials: each second gets 1,000 give or take chance (about 32),
  // and the second is not the device's "~" minute drawn again.
  std::vector<int> per_second(60, 0);
  int second_is_minute = 0;
  for (int i = 0; i < 60000; ++i) {
    const std::string serial = "2214ABN" + std::to_string(100000 + i);
    const int drawn = vexo_platform::DrawSpreadSecond(serial);
    ASSERT_TRUE(drawn >= 0 && drawn < 60) << serial << " " << drawn;
    ++per_second[drawn];
    std::string minute;
    std::string why;
    ASSERT_TRUE(vexo_platform::RenderCronSchedule("~ * * * *", serial, minute, why)) << why;
    second_is_minute += std::stoi(minute) == drawn;
  }
  for (int s = 0; s < 60; ++s) EXPECT_NEAR(per_second[s], 1000, 150) << "second " << s;
  EXPECT_NEAR(second_is_minute, 1000, 150);

  ::unlink(root.Path("/etc/vexozeph/serial").c_str());
  const int without_serial = VEXOCrondSpreadSecond();
  EXPECT_TRUE(without_serial >= 0 && without_serial < 60) << "a fixed draw, still a second";
}

TEST(PlatformCron, RendersPlainAndTildeFieldsWithinTheirRanges) {
  TempRoot root;
  root.WriteFile("/etc/vexozeph/serial", "SERIAL0002\n");
  std::vector<std::string> plain = SaveAndRead(root, "5 3 * * *");
  EXPECT_EQ(std::vector<std::string>(plain.begin(), plain.begin() + 5),
            (std::vector<std::string>{"5", "3", "*", "*", "*"}));

  std::vector<std::string> spread = SaveAndRead(root, "~ ~ ~ ~ ~");
  ASSERT_GE(spread.size(), 5u);
  EXPECT_TRUE(std::stoi(spread[0]) <= 59 && std::stoi(spread[1]) <= 23);
  EXPECT_EQ(std::vector<std::string>(spread.begin() + 2, spread.begin() + 5),
            (std::vector<std::string>{"*", "*", "*"}));

  std::vector<std::string> lists = SaveAndRead(root, "0,30 */2 1~15/2 1-6 0,6");
  EXPECT_EQ(std::vector<std::string>(lists.begin(), lists.begin() + 5),
            (std::vector<std::string>{"0,30", "*/2", "1-15/2", "1-6", "0,6"}));
}

TEST(PlatformCron, RefusesHostileSchedulesAndCommandsAndKeepsThePreviousJobs) {
  TempRoot root;
  root.WriteFile("/etc/vexozeph/serial", "SERIAL0003\n");
  ConfigManager manager("zeph", false);
  ASSERT_NE(manager.Save(ReportJobs("5 3 * * *")), 0);
  const std::string before = root.ReadFile(kCronFile);

  for (const char *schedule :
       {"* * * * * ; rm -rf /", "* * * * * *", "* * * *", "* * * * *\n* * * * * root evil",
        "60 * * * *", "* 24 * * *", "* * 0 * *", "* * * 13 *", "* * * * 8", "*/0 * * * *",
        "5~3 * * * *", "~/5 * * * *", "1/5 * * * *", "1,,2 * * * *", "-1 * * * *", ""}) {
    EXPECT_EQ(manager.Save(ReportJobs(schedule)), 0) << schedule;
  }
  // Cron would cut a command at '%'; a line break or a blank would forge lines or words.
  const std::pair<const char *, Json::Value> bad[] = {
      {"cmd_list", "50%"}, {"cmd_list", "a\nb"}, {"user", "root cat"}, {"cmd_list", 7}};
  for (const auto &b : bad) {
    Json::Value jobs = ReportJobs("5 3 * * *");
    Json::Value &member = jobs[0][b.first];
    if (member.isArray() && b.second.isString()) {
      member.append(b.second);
    } else {
      member = b.second;
    }
    EXPECT_EQ(manager.Save(jobs), 0) << b.second;
  }
  EXPECT_EQ(manager.Save(Json::Value("not a list")), 0);
  EXPECT_EQ(root.ReadFile(kCronFile), before);

  // Words the shell would split or expand reach the program as they are.
  Json::Value jobs = ReportJobs("5 3 * * *");
  jobs[0]["cmd_list"].append("it's $(reboot)");
  ASSERT_NE(manager.Save(jobs), 0);
  EXPECT_NE(root.ReadFile(kCronFile).find(" --report_info 'it'\\''s $(reboot)'\n"),
            std::string::npos)
      << root.ReadFile(kCronFile);

  ConfigManager escape("../../etc/passwd", false);
  EXPECT_EQ(escape.Save(ReportJobs("5 3 * * *")), 0);
  EXPECT_EQ(escape.Remove(), 0);
}

TEST(PlatformCron, RemoveDeletesBothFilesAndSucceedsWhenNothingIsLeft) {
  TempRoot root;
  root.WriteFile("/etc/vexozeph/serial", "SERIAL0004\n");
  ConfigManager manager("zeph", true);
  ASSERT_NE(manager.Save(ReportJobs("~ 9~16 * * 1~5")), 0);
  ConfigManager other("other", false);
  ASSERT_NE(other.Save(ReportJobs("1 1 * * *")), 0);
  EXPECT_NE(manager.Remove(), 0);
  EXPECT_FALSE(root.Exists(kCronFile));
  EXPECT_FALSE(root.Exists(kCronJobs));
  EXPECT_TRUE(root.Exists("/etc/cron.d/vexozeph-other"));
  EXPECT_NE(manager.Remove(), 0);
}

TEST(PlatformLegacyScheduler, RemovesExactlyTheTasksRunningTheCommand) {
  TempRoot root;
  EXPECT_EQ(VEXOScheduleRemove("/usr/vexo/bin/vexozeph --report_info"), 0) << "no file at all";
  root.WriteFile("/usr/vexo/etc/scheduler/tasks",
                 "# tasks\n"
                 "0 9 * * 1-5 root /usr/vexo/bin/vexozeph --report_info\n"
                 "0 9 * * 1-5 root /usr/vexo/bin/vexozeph --report_info --verbose\n"
                 "30  2 * * *\troot   /usr/vexo/bin/vexozeph  --report_info  \n"
                 "15 4 * * * root /usr/bin/other\n");
  EXPECT_EQ(VEXOScheduleRemove("/usr/vexo/bin/vexozeph --report_info"), 0);
  EXPECT_EQ(root.ReadFile("/usr/vexo/etc/scheduler/tasks"),
            "# tasks\n"
            "0 9 * * 1-5 root /usr/vexo/bin/vexozeph --report_info --verbose\n"
            "15 4 * * * root /usr/bin/other\n");
}

}  // namespace
