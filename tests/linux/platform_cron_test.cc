// The generic-Linux cron job manager: what it renders for cron, what it refuses, and the
// legacy scheduler's task removal.
#include <gtest/gtest.h>
#include <json/json.h>

#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/temp_root.h"
#include "vexo_platform/vexo_scheduler.h"

namespace {

using VEXO::VEXOCrond::ConfigManager;
using vexozeph::testing::TempRoot;

const char kCronFile[] = "/etc/cron.d/vexozeph-zeph";

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
  int minute = std::stoi(line[0]);
  int hour = std::stoi(line[1]);
  EXPECT_GE(minute, 0);
  EXPECT_LE(minute, 59);
  EXPECT_GE(hour, 9);
  EXPECT_LE(hour, 16);
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
  std::istringstream json(root.ReadFile("/usr/vexo/etc/crond/zeph.json"));
  ASSERT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), json, &stored, nullptr));
  EXPECT_EQ(stored, ReportJobs("~ 9~16 * * 1~5"));
}

TEST(PlatformCron, RendersPlainAndTildeFieldsWithinTheirRanges) {
  TempRoot root;
  root.WriteFile("/etc/vexozeph/serial", "SERIAL0002\n");
  std::vector<std::string> plain = SaveAndRead(root, "5 3 * * *");
  EXPECT_EQ(std::vector<std::string>(plain.begin(), plain.begin() + 5),
            (std::vector<std::string>{"5", "3", "*", "*", "*"}));

  std::vector<std::string> spread = SaveAndRead(root, "~ ~ ~ ~ ~");
  ASSERT_GE(spread.size(), 5u);
  EXPECT_LE(std::stoi(spread[0]), 59);
  EXPECT_LE(std::stoi(spread[1]), 23);
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
  Json::Value jobs = ReportJobs("5 3 * * *");
  jobs[0]["cmd_list"].append("50%");  // cron would cut the command at '%'
  EXPECT_EQ(manager.Save(jobs), 0);
  jobs = ReportJobs("5 3 * * *");
  jobs[0]["cmd_list"].append("a\nb");
  EXPECT_EQ(manager.Save(jobs), 0);
  jobs = ReportJobs("5 3 * * *");
  jobs[0]["user"] = "root cat";
  EXPECT_EQ(manager.Save(jobs), 0);
  jobs = ReportJobs("5 3 * * *");
  jobs[0]["cmd_list"] = 7;
  EXPECT_EQ(manager.Save(jobs), 0);
  EXPECT_EQ(manager.Save(Json::Value("not a list")), 0);
  EXPECT_EQ(root.ReadFile(kCronFile), before);

  // Words the shell would split or expand reach the program as they are.
  jobs = ReportJobs("5 3 * * *");
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
  EXPECT_FALSE(root.Exists("/usr/vexo/etc/crond/zeph.json"));
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
