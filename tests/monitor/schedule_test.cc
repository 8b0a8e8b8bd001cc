// When a configuration runs: frequencies and their defaults, the local time window, the
// display values of the waits, and schedule scripts through the real evaluator, both as a
// pass runs them and as the four functions the engine writes for them behave.
#include <string>
#include <vector>

#include "foundation/global_functions.h"
#include "monitor/monitor_fixture.h"
#include "monitor/schedule_script_functions.h"
#include "platform/vbscript/script_control_class.h"
#include "platform/vbscript/vbscript_control.h"
#include "support/scoped_time_zone.h"

namespace korad::testing {
namespace {

OleDate At(int hour, int minute = 0, int day = 15, int second = 0) {
  return *OleDate::FromCivil(2024, 1, day, hour, minute, second);
}

class ScheduleTest : public MonitorTest {
 protected:
  static void SetUpTestSuite() {
    MonitorTest::SetUpTestSuite();
    RegisterScriptControl(ClassRegistry::Global());
  }
  const TestMonitorScript::Call& LastCallOf(const std::string& moniker) {
    for (auto it = Script().calls.rbegin(); it != Script().calls.rend(); ++it) {
      if (it->moniker == moniker) return *it;
    }
    throw std::runtime_error("no call of " + moniker);
  }
  // A new evaluator holding the engine's functions, as one evaluation gets them.
  void NewHost(const std::string& lastMonitorTime, bool open = false, const std::string& frequency = "60") {
    m_host = std::make_unique<VbScriptControl>();
    for (const std::string& code : ScheduleScriptFunctions(frequency, lastMonitorTime, open)) m_host->AddCode(code);
  }
  bool Decide(OleDate utcNow, const std::string& script) {
    m_host->ExecuteStatement("UTCNow = #" + FormatDate(utcNow) + "#");
    return m_host->Eval(script).ToBoolean();
  }
  Error Failure(const std::string& script) {
    try {
      m_host->Eval(script).ToBoolean();
    } catch (const Error& e) {
      return e;
    }
    ADD_FAILURE() << script << " raised nothing";
    return Error(0, "", "");
  }

  std::unique_ptr<VbScriptControl> m_host;
};

TEST_F(ScheduleTest, FrequencyUnitsDefaultsAndTheNextRun) {
  WriteIni(
      "[Five]\r\nmvFrequency=5\r\n"
      "[Default]\r\nThreshold=1\r\n"
      "[Minutes]\r\nmvFrequency=1.5\r\nmvFrequencyUnits=minutes\r\n"
      "[Daily]\r\nmvFrequency=1\r\nmvFrequencyUnits=DAYS\r\n"
      "[Odd]\r\nmvFrequency=7\r\nmvFrequencyUnits=fortnights\r\n");
  auto manager = MakeManager();
  manager->Monitor();
  ASSERT_EQ(Script().calls.size(), 5u) << "a configuration that never ran runs at once";
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
  EXPECT_EQ(FormatDate(manager->NextRunTime()), "2024-01-15 12:00:07") << "Odd counts with its own next run";
  Advance(7);  // 12:00:12: the next run counts from when the run started, so a late tick drifts it
  manager->Monitor();
  EXPECT_EQ(Script().CallsFor("Five"), 3u);
  EXPECT_EQ(Script().CallsFor("Odd"), 2u);
  EXPECT_EQ(FormatDate(manager->NextRunTime()), "2024-01-15 12:00:17");
}

TEST_F(ScheduleTest, WindowIsLocalTimeThroughThePlatformClock) {
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

TEST_F(ScheduleTest, WaitsAreShownInTheUnitsOfTheFrequency) {
  WriteIni(
      "[Shown]\r\nmvFrequency=5\r\nmvFrequencyUnits=MINUTES\r\nmvWaitAlert=3\r\nmvWaitResolve=0\r\n"
      "[NoUnits]\r\nmvFrequency=5\r\nmvWaitAlert=2\r\n");
  MakeManager()->Monitor();
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

TEST_F(ScheduleTest, AScriptGetsItsMacrosAndTheLibraryFile) {
  WriteIni(
      "[CPU]\r\nmvFrequency=60\r\n"
      "mvScheduleScript=  Slow_Poll(5) Or %monitor.OPEN% And %Monitor.Frequency% > %MONITOR.LastMonitorTime%  \r\n");
  Script().For("CPU").reports = {{"Server1", "CpuHigh"}};
  auto manager = MakeManager();
  manager->Monitor();
  EXPECT_EQ(Matching("Processing schedule script Slow_Poll(5) Or False And 60 > DateValue(\"00:00:00\")").size(), 1u);
  EXPECT_EQ(Script().CallsFor("CPU"), 1u);

  // The second run: a form is open, the last measurement has a date, a library exists.
  WriteWholeFile(GetSharedProgramFolder() + "/Modules/mvScripts.mvs",
                 "function Weekend()\nWeekend = False\r\nend function");
  WriteIni("[CPU]\r\nmvFrequency=60\r\nmvScheduleScript=Weekend() Or Slow_Poll_While_Closed(100000) And "
           "%Monitor.Open% And %Monitor.LastMonitorTime% > 0\r\n");
  Advance(60);
  manager->Monitor();
  EXPECT_EQ(
      Matching("Additional script functions are function Weekend()\r\nWeekend = False\r\nend function\r\n").size(),
      1u);
  EXPECT_EQ(Matching("Processing schedule script Weekend() Or Slow_Poll_While_Closed(100000) And True And "
                     "DateValue(\"2024-01-15 12:00:00\") > 0")
                .size(),
            1u);
  EXPECT_EQ(Script().CallsFor("CPU"), 2u);
  EXPECT_TRUE(ErrorLines().empty());
}

TEST_F(ScheduleTest, AFalseSkipsGetIncidentButTheRunGoesOnAndAFailureRunsTheMonitor) {
  // True at the first run, then False until the day after the last measurement.
  WriteIni("[CPU]\r\nmvFrequency=60\r\nmvScheduleScript=Slow_Poll(1440)\r\n"
           "[Broken]\r\nmvFrequency=60\r\nmvScheduleScript=%Monitor.Frequency% + \"x\"\r\n"
           "[Vague]\r\nmvFrequency=60\r\nmvScheduleScript=\"maybe\"\r\n");
  auto manager = MakeManager();
  manager->Monitor();
  ASSERT_EQ(Script().CallsFor("CPU"), 1u);
  Advance(60);
  manager->Monitor();
  EXPECT_EQ(Script().CallsFor("CPU"), 1u);
  EXPECT_EQ(Matching("Monitor (CPU): Skipped calling GetIncident due to a script that returned 'false'").size(), 1u);
  EXPECT_EQ(Matching("Monitor (CPU): Setting IncidentState LastRuntime to 2024-01-15 12:01:00").size(), 1u);
  EXPECT_TRUE(Matching("Monitor (CPU): Setting IncidentState LastMonitorTime to 2024-01-15 12:01:00").empty());
  m_clock->SetUtcNow(At(0, 0, 16, 30));
  manager->Monitor();
  ASSERT_EQ(Script().CallsFor("CPU"), 2u);
  EXPECT_EQ(LastCallOf("CPU").lastRunTime, FakeClock::DefaultStart()) << "the plug-in sees its last real measurement";

  // A broken script never stops monitoring: each run of them is reported, and runs.
  EXPECT_EQ(Script().CallsFor("Broken"), 3u);
  EXPECT_EQ(Script().CallsFor("Vague"), 3u);
  ASSERT_EQ(ErrorLines().size(), 6u);
  EXPECT_EQ(ErrorLines()[0].text.rfind("ERROR: MonitorManager.ProcessScheduleScript: There was a problem processing "
                                       "the script '60 + \"x\"'. The error was: Type mismatch",
                                       0),
            0u)
      << ErrorLines()[0].text;
  EXPECT_TRUE(ErrorLines()[0].text.ends_with(".  The monitor will be run as scheduled."));
  EXPECT_EQ(ErrorLines()[0].category, kModule);
}

TEST_F(ScheduleTest, SlowPollCountsFromMidnightOfTheLastMeasurementsDay) {
  // Measured at 00:02 and at 10:30: either way the base is midnight, so five polls of
  // 60 s hold only until 00:05 of that day.
  for (const char* last : {"2024-01-15 00:02:00", "2024-01-15 10:30:00"}) {
    SCOPED_TRACE(last);
    NewHost(last);
    EXPECT_FALSE(Decide(At(0, 0), "Slow_Poll(5)"));
    EXPECT_FALSE(Decide(At(0, 4, 15, 59), "Slow_Poll(5)"));
    EXPECT_TRUE(Decide(At(0, 5), "Slow_Poll(5)"));
    EXPECT_TRUE(Decide(At(10, 31), "Slow_Poll(5)"));
    EXPECT_TRUE(Decide(At(0, 0, 16, 1), "Slow_Poll(5)"));
    // A longer multiplier reaches further into the day: 60 * 700 s is 11:40.
    EXPECT_FALSE(Decide(At(11, 39, 15, 59), "Slow_Poll(700)"));
    EXPECT_TRUE(Decide(At(11, 40), "slow_poll(700)"));
  }
  NewHost("2024-01-15 10:30:00", /*open=*/true, "3600");
  EXPECT_TRUE(Decide(At(0, 0, 15, 1), "Slow_Poll_While_Closed(24)")) << "true while a form is open";
  NewHost("2024-01-15 10:30:00", /*open=*/false, "3600");
  EXPECT_FALSE(Decide(At(23, 59, 15, 59), "Slow_Poll_While_Closed(24)"));
  EXPECT_TRUE(Decide(At(0, 0, 16), "Slow_Poll_While_Closed(24)"));
}

TEST_F(ScheduleTest, DaysOfTheWeekIsLocalAndOnlyBetweenSpecifiedTimesIsUtc) {
  NewHost("2024-01-15 10:30:00");
  const OleDate utc = At(12);  // a Monday
  EXPECT_TRUE(Decide(utc, "Days_Of_The_Week(\"Y\",\"Y\",\"Y\",\"Y\",\"Y\",\"N\",\"N\")"));
  EXPECT_TRUE(Decide(utc, "Days_Of_The_Week(\"yes\",\"n\",\"n\",\"n\",\"n\",\"n\",\"n\")"));
  EXPECT_FALSE(Decide(utc, "Days_Of_The_Week(\"No\",\"Y\",\"Y\",\"Y\",\"Y\",\"Y\",\"Y\")"));
  EXPECT_FALSE(Decide(utc, "Days_Of_The_Week(\"\",\"Y\",\"Y\",\"Y\",\"Y\",\"Y\",\"Y\")"));
  // Saturday and Sunday by the local clock: five minutes west of a Monday's midnight it
  // is still Sunday there.
  m_clock->SetUtcNow(At(12, 0, 20));
  EXPECT_FALSE(Decide(utc, "Days_Of_The_Week(\"Y\",\"Y\",\"Y\",\"Y\",\"Y\",\"N\",\"N\")"));
  EXPECT_TRUE(Decide(utc, "Days_Of_The_Week(\"N\",\"N\",\"N\",\"N\",\"N\",\"y\",\"N\")"));
  m_clock->SetUtcNow(At(0, 3, 22));
  m_clock->SetUtcOffsetMinutes(-5);
  EXPECT_TRUE(Decide(utc, "Days_Of_The_Week(\"N\",\"N\",\"N\",\"N\",\"N\",\"N\",\"Y\")"));
  m_clock->SetUtcOffsetMinutes(0);
  EXPECT_FALSE(Decide(utc, "Days_Of_The_Week(\"N\",\"N\",\"N\",\"N\",\"N\",\"N\",\"Y\")"));

  const std::string night = "Only_Between_Specified_Times(\"22:00\",\"06:00\")";
  EXPECT_TRUE(Decide(At(23), night));
  EXPECT_TRUE(Decide(At(22), night));
  EXPECT_TRUE(Decide(At(6), night));
  EXPECT_FALSE(Decide(At(6, 0, 15, 1), night));
  EXPECT_FALSE(Decide(At(12), night));
  const std::string day = "Only_Between_Specified_Times(\"9:00 AM\",\"17:30\")";
  EXPECT_TRUE(Decide(At(12), day));
  EXPECT_FALSE(Decide(At(17, 30, 15, 1), day));
  EXPECT_FALSE(Decide(At(8, 59, 15, 59), day));
  // An invalid time makes the function False, whatever the hour.
  EXPECT_FALSE(Decide(At(12), "Only_Between_Specified_Times(\"25:00\",\"06:00\")"));
  EXPECT_FALSE(Decide(At(12), "Only_Between_Specified_Times(\"noon\",\"18:00\")"));

  m_clock->SetUtcNow(At(12));  // Monday
  EXPECT_TRUE(Decide(At(23), "Slow_Poll(5) And Days_Of_The_Week(\"Y\",\"Y\",\"Y\",\"Y\",\"Y\",\"Y\",\"Y\")"));
  EXPECT_FALSE(Decide(At(23), "Slow_Poll(5) And Not " + night));
  EXPECT_TRUE(Decide(At(23), "Slow_Poll(5000) Or " + night));
}

TEST_F(ScheduleTest, ScriptsThatFailEndInTheEnginesErrors) {
  NewHost("2024-01-15 10:30:00");
  m_host->ExecuteStatement("UTCNow = #2024-01-15 12:00:00#");
  EXPECT_EQ(m_host->Eval("WeekdayName(2)").ToText(), "Monday");
  EXPECT_EQ(Failure("WeekdayName(2)").Number(), kErrTypeMismatch) << "a value that isn't a Boolean";
  EXPECT_EQ(Failure("Slow_Poll(5").Number(), 1006);
  EXPECT_EQ(Failure("Slow_Poll(5").Description(), "Expected ')'");
  EXPECT_EQ(Failure("Fast_Poll(5)").Description(), "Type mismatch: 'Fast_Poll'");
  EXPECT_EQ(Failure("Slow_Poll(5, 6)").Number(), 450);
  EXPECT_EQ(Failure("Slow_Poll(5, 6)").Description(),
            "Wrong number of arguments or invalid property assignment: 'Slow_Poll'");
  // A script library that loops for ever is stopped, and the host still works after it.
  m_host->AddCode("Function Spin()\r\nDo While True\r\nLoop\r\nEnd Function");
  EXPECT_EQ(Failure("Spin()").Description(), "Script exceeded its run-time limit of 1000000 steps");
  EXPECT_TRUE(Decide(At(23), "Slow_Poll(5)"));
  NewHost("");  // an empty last monitor time can't be a date
  m_host->ExecuteStatement("UTCNow = #2024-01-15 12:00:00#");
  EXPECT_EQ(Failure("Slow_Poll(5)").Description(), "Type mismatch");
}

}  // namespace
}  // namespace korad::testing
