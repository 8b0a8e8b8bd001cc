// Run scheduling as the plug-in and the tick see it: frequencies and their defaults, the
// local time window, and the display values of the waits.
#include <string>

#include "monitor/monitor_fixture.h"
#include "support/scoped_time_zone.h"

namespace korad::testing {
namespace {

class MonitorSchedulingTest : public MonitorTest {
 protected:
  const TestMonitorScript::Call& LastCallOf(const std::string& moniker) {
    for (auto it = Script().calls.rbegin(); it != Script().calls.rend(); ++it) {
      if (it->moniker == moniker) return *it;
    }
    throw std::runtime_error("no call of " + moniker);
  }
  OleDate At(int hour, int minute = 0, int day = 15) { return *OleDate::FromCivil(2024, 1, day, hour, minute, 0); }
};

TEST_F(MonitorSchedulingTest, FrequencyUnitsDefaultsAndTheNextRun) {
  WriteIni(
      "[Five]\r\nmvFrequency=5\r\n"
      "[Default]\r\nThreshold=1\r\n"
      "[Minutes]\r\nmvFrequency=1.5\r\nmvFrequencyUnits=minutes\r\n"
      "[Daily]\r\nmvFrequency=1\r\nmvFrequencyUnits=DAYS\r\n"
      "[Odd]\r\nmvFrequency=7\r\nmvFrequencyUnits=fortnights\r\n");
  auto manager = MakeManager();
  manager->Monitor();
  // A configuration that never ran runs at once, on any frequency.
  ASSERT_EQ(Script().calls.size(), 5u);
  EXPECT_EQ(LastCallOf("Five").frequency, 5) << "a number without units is seconds";
  EXPECT_EQ(LastCallOf("Default").frequency, 60);
  EXPECT_EQ(LastCallOf("Minutes").frequency, 90);
  EXPECT_EQ(LastCallOf("Daily").frequency, 86400);
  EXPECT_EQ(LastCallOf("Odd").frequency, 7) << "an unknown unit is seconds";
  EXPECT_EQ(Matching("No frequency set for 'Default' on monitor 'TestModule' - Default is 1 minute").size(), 1u);
  EXPECT_EQ(FormatDate(manager->NextRunTime()), "2024-01-15 12:00:05");

  Advance(4);
  manager->Monitor();
  EXPECT_EQ(Script().calls.size(), 5u);
  Advance(1);
  manager->Monitor();
  EXPECT_EQ(Script().CallsFor("Five"), 2u);
  EXPECT_EQ(Script().CallsFor("Odd"), 1u);
  EXPECT_EQ(Script().CallsFor("Default"), 1u);
  // Odd didn't run, and still counts with its own next run.
  EXPECT_EQ(FormatDate(manager->NextRunTime()), "2024-01-15 12:00:07");

  // The next run counts from when the run started, so a late tick drifts the schedule.
  Advance(7);  // 12:00:12
  manager->Monitor();
  EXPECT_EQ(Script().CallsFor("Five"), 3u);
  EXPECT_EQ(Script().CallsFor("Odd"), 2u);
  EXPECT_EQ(FormatDate(manager->NextRunTime()), "2024-01-15 12:00:17");
}

TEST_F(MonitorSchedulingTest, WindowIsLocalTimeThroughThePlatformClock) {
  // The process's zone is nine hours east; the agent's clock says five hours west. Only
  // the platform clock's conversion may count.
  ScopedTimeZone zone("JST-9");
  m_clock->SetUtcOffsetMinutes(-300);
  WriteIni(
      "[Night]\r\nmvStartTime=22:00:00\r\nmvEndTime=06:00:00\r\n"
      "[Lone]\r\nmvStartTime=22:00:00\r\n"
      "[Equal]\r\nmvStartTime=8:00 AM\r\nmvEndTime=2024-03-01 08:00:00\r\n"
      "[Day]\r\nmvStartTime=09:00:00\r\nmvEndTime=17:00:00\r\n"
      "[Midnight]\r\nmvStartTime=00:00:00\r\nmvEndTime=01:00:00\r\n");
  auto manager = MakeManager();

  m_clock->SetLocalNow(At(12));
  manager->Monitor();
  EXPECT_EQ(Script().CallsFor("Night"), 0u);
  EXPECT_EQ(Script().CallsFor("Lone"), 1u) << "a lone start time is no window";
  EXPECT_EQ(Script().CallsFor("Equal"), 1u) << "equal bounds are an overnight window open all day";
  EXPECT_EQ(Script().CallsFor("Day"), 1u);
  EXPECT_EQ(Script().CallsFor("Midnight"), 1u) << "a bound at exactly midnight is no window";
  EXPECT_EQ(Matching("Start time of 22:00:00/End time of 06:00:00 (2) was provided for 'Night' on monitor "
                     "'TestModule': 12:00:00/06:00:00. Can run yet = False")
                .size(),
            1u);

  m_clock->SetLocalNow(At(23));
  manager->Monitor();
  EXPECT_EQ(Script().CallsFor("Night"), 1u);
  EXPECT_EQ(Script().CallsFor("Day"), 1u);

  m_clock->SetLocalNow(At(5, 0, 16));
  manager->Monitor();
  EXPECT_EQ(Script().CallsFor("Night"), 2u);

  m_clock->SetLocalNow(At(6, 30, 16));
  manager->Monitor();
  EXPECT_EQ(Script().CallsFor("Night"), 2u);
  EXPECT_EQ(Script().CallsFor("Equal"), 4u);
  // Outside the window the configuration is looked at again each frequency period.
  EXPECT_EQ(FormatDate(manager->NextRunTime()), "2024-01-16 11:31:00");  // 06:30 local + 60 s, in UTC
}

TEST_F(MonitorSchedulingTest, WaitsAreShownInTheUnitsOfTheFrequency) {
  WriteIni(
      "[Shown]\r\nmvFrequency=5\r\nmvFrequencyUnits=MINUTES\r\nmvWaitAlert=3\r\nmvWaitResolve=0\r\n"
      "[NoUnits]\r\nmvFrequency=5\r\nmvWaitAlert=2\r\n");
  auto manager = MakeManager();
  manager->Monitor();
  const TestMonitorScript::Call& shown = LastCallOf("Shown");
  EXPECT_EQ(shown.waitAlert, 15);
  EXPECT_EQ(shown.waitAlertUnits, "MINUTES");
  EXPECT_EQ(shown.frequency, 300) << "the delay itself is three passes, whatever the display says";
  EXPECT_EQ(Matching("Set WaitAlert (for display) to 15 MINUTES").size(), 1u);
  EXPECT_TRUE(Matching("Set WaitResolve").empty());

  // A wait without mvFrequencyUnits fails the display, after the decision was made.
  EXPECT_EQ(Script().CallsFor("NoUnits"), 1u);
  EXPECT_EQ(LastCallOf("NoUnits").waitAlert, 0);
  EXPECT_EQ(Matching("ERROR: MonitorManager.ConfigurationScheduledToRun: ").size(), 1u);
}

}  // namespace
}  // namespace korad::testing
