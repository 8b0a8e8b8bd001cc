// Reading the service file into sections, and the schedule a section's keys give.
#include <gtest/gtest.h>

#include "contracts/ole_date.h"
#include "section_schedule.h"
#include "service_file.h"
#include "support/memory_file_system.h"

namespace korad::agent {
namespace {

using namespace std::chrono_literals;
using korad::testing::ScopedFileSystem;
using Properties = std::vector<std::pair<std::string, std::string>>;

TEST(ServiceFile, SectionsWithAClassSplitIntoHostKeysAndProperties) {
  ScopedFileSystem files;
  files->CreateDirectories("/agent/BIN");
  files->WriteFileAtomic(ServiceFilePath("/agent"),
                 "[Logging]\n"
                 "Level=7\n"
                 "[Disk Monitor]\n"
                 "ConfigurationSource=C:\\Agent\\ModuleConfigs\\Disk Monitor.INI\n"
                 "classid = KORADevServices.MonitorManager\n"
                 "InitializeMethod=Init\n"
                 "; a comment the writer kept\n"
                 "MyMonitorID=Plugins.DiskMonitor\n"
                 "ConnectorID=mvRouterQ\n"
                 "Moniker=Disk Monitor\n"
                 "EXECUTEMETHOD=Monitor\n"
                 "Start=08:30\n"
                 "Units=minutes\n"
                 "Frequency=5\n"
                 "moniker=ignored, the first key wins\n"
                 "Quoted=\"a value with = inside\"\n"
                 "[MvRouter]\n"
                 "ClassID=MvConnect.Router\n"
                 "InitializeMethod=Initialize\n"
                 "PollFrequency=60\n"
                 "[disk monitor]\n"
                 "ClassID=Another.Class\n");

  const std::vector<SectionConfig> sections = ReadServiceFile(ServiceFilePath("/agent"));
  ASSERT_EQ(sections.size(), 2u) << "Logging has no class; the second 'disk monitor' is never read";

  const SectionConfig& monitor = sections[0];
  EXPECT_EQ(monitor.name, "Disk Monitor");
  EXPECT_EQ(monitor.classId, "KORADevServices.MonitorManager");
  EXPECT_EQ(monitor.initializeMethod, "Init");
  EXPECT_EQ(monitor.executeMethod, "Monitor");
  EXPECT_EQ(monitor.frequency, "5");
  EXPECT_EQ(monitor.units, "minutes");
  EXPECT_EQ(monitor.start, "08:30");
  EXPECT_EQ(monitor.properties, (Properties{{"ConfigurationSource", "C:\\Agent\\ModuleConfigs\\Disk Monitor.INI"},
                                            {"MyMonitorID", "Plugins.DiskMonitor"},
                                            {"ConnectorID", "mvRouterQ"},
                                            {"Moniker", "Disk Monitor"},
                                            {"Quoted", "a value with = inside"}}));

  const SectionConfig& router = sections[1];
  EXPECT_EQ(router.name, "MvRouter");
  EXPECT_EQ(router.initializeMethod, "Initialize");
  EXPECT_EQ(router.executeMethod, "");
  EXPECT_EQ(router.properties, (Properties{{"PollFrequency", "60"}}));

  EXPECT_TRUE(IsHostKey("units"));
  EXPECT_FALSE(IsHostKey("PollFrequency"));
  EXPECT_TRUE(ReadServiceFile("/agent/BIN/missing.ini").empty());
}

TEST(ServiceFile, AChangeOfAnyKeyMakesADifferentSection) {
  const SectionConfig a = ParseSection("A", {"ClassID=X", "Frequency=5", "Color=red"});
  EXPECT_EQ(a, ParseSection("A", {"ClassID=X", "Frequency=5", "Color=red", "; only a comment more"}));
  EXPECT_NE(a, ParseSection("A", {"ClassID=X", "Frequency=6", "Color=red"}));
  EXPECT_NE(a, ParseSection("A", {"ClassID=X", "Frequency=5", "Color=blue"}));
  EXPECT_NE(a, ParseSection("A", {"ClassID=X", "Frequency=5", "Color=red", "Size=2"}));
}

SectionConfig Timed(std::string frequency, std::string units, std::string start = "") {
  SectionConfig section;
  section.frequency = std::move(frequency);
  section.units = std::move(units);
  section.start = std::move(start);
  return section;
}

TEST(SectionSchedule, FrequencyInUnits) {
  EXPECT_EQ(ScheduleOf(Timed("5", "seconds")).interval, 5s);
  EXPECT_EQ(ScheduleOf(Timed("5", "Minutes")).interval, 5min);
  EXPECT_EQ(ScheduleOf(Timed("2", "hours")).interval, 2h);
  EXPECT_EQ(ScheduleOf(Timed("1", "DAYS")).interval, 24h);
  EXPECT_EQ(ScheduleOf(Timed("0.25", "seconds")).interval, 250ms);
  EXPECT_EQ(ScheduleOf(Timed("3", "")).interval, 3s);
  EXPECT_EQ(ScheduleOf(Timed("", "minutes")).interval, 30min) << "the server's default frequency";
  EXPECT_TRUE(ScheduleOf(Timed("5", "minutes", "08:30")).warnings.empty());
}

TEST(SectionSchedule, BadValuesFallBackAndSaySo) {
  SectionSchedule schedule = ScheduleOf(Timed("often", "fortnights"));
  EXPECT_EQ(schedule.interval, 30s);
  ASSERT_EQ(schedule.warnings.size(), 2u);
  EXPECT_EQ(schedule.warnings[0], "Frequency 'often' is not a positive number; using 30");
  EXPECT_EQ(schedule.warnings[1], "Units 'fortnights' is not seconds, minutes, hours or days; using seconds");

  schedule = ScheduleOf(Timed("-5", "seconds", "half past eight"));
  EXPECT_EQ(schedule.interval, 30s);
  EXPECT_FALSE(schedule.startOfDay);
  ASSERT_EQ(schedule.warnings.size(), 2u);
  EXPECT_EQ(schedule.warnings[1], "Start 'half past eight' is not a time of day; running at once");
}

OleDate LocalAt(int hour, int minute, int second = 0) { return *OleDate::FromCivil(2026, 3, 14, hour, minute, second); }

TEST(SectionSchedule, StartPutsTheRunsOnAGridOfTheDay) {
  const SectionSchedule every15 = ScheduleOf(Timed("15", "minutes", "08:00"));
  ASSERT_TRUE(every15.startOfDay);
  EXPECT_EQ(*every15.startOfDay, 8h);
  EXPECT_EQ(DelayToFirstRun(every15, LocalAt(10, 7)), 8min);
  EXPECT_EQ(DelayToFirstRun(every15, LocalAt(10, 15)), 0ms) << "on the grid: at once";
  EXPECT_EQ(DelayToFirstRun(every15, LocalAt(7, 59, 30)), 30s) << "the grid runs through the night";

  const SectionSchedule daily = ScheduleOf(Timed("1", "days", "2:00 AM"));
  EXPECT_EQ(DelayToFirstRun(daily, LocalAt(1, 0)), 1h);
  EXPECT_EQ(DelayToFirstRun(daily, LocalAt(10, 0)), 16h);

  const SectionSchedule weekly = ScheduleOf(Timed("7", "days", "2026-01-01 23:00:00"));
  EXPECT_EQ(DelayToFirstRun(weekly, LocalAt(22, 0)), 1h) << "the next start time of day, not a week away";

  EXPECT_EQ(DelayToFirstRun(ScheduleOf(Timed("15", "minutes")), LocalAt(10, 7)), 0ms) << "no start: at once";
}

}  // namespace
}  // namespace korad::agent
