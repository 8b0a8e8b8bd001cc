// Schedule scripts through the script host's stand-in: the macros, the code handed to the
// host in order, the library file, and what a False or a failure does to the run.
#include <filesystem>
#include <string>

#include "foundation/global_functions.h"
#include "monitor/monitor_fixture.h"

namespace korad::testing {
namespace {

class MonitorScriptTest : public MonitorTest {
 protected:
  void SetUp() override {
    MonitorTest::SetUp();
    ASSERT_TRUE(std::dynamic_pointer_cast<FakeScriptControl>(ClassRegistry::Global().TryCreate(kScriptControlClassId)))
        << "another script host was registered before the stand-in";
    ScriptHost().Reset();
  }
  std::string LibraryPath() { return GetSharedProgramFolder() + "/Modules/mvScripts.mvs"; }
};

constexpr const char* kSlowPollWhileClosed =
    "function Slow_Poll_While_Closed(Multiplier)\r\n"
    "Slow_Poll_While_Closed = False OR (UTCNow >= DateAdd(\"s\",60*Multiplier,DateValue(\"00:00:00\")))\r\n"
    "end function";
constexpr const char* kSlowPoll =
    "function Slow_Poll(Multiplier)\r\n"
    "Slow_Poll = (UTCNow >= DateAdd(\"s\",60*Multiplier,DateValue(\"00:00:00\")))\r\n"
    "end function";
constexpr const char* kDaysOfTheWeek =
    "function Days_Of_The_Week(Monday,Tuesday,Wednesday,Thursday,Friday,Saturday,Sunday)\r\n"
    "sWeekDayName = WeekDayName(WeekDay(Date()),True)\r\n"
    "Select Case sWeekDayName\r\n"
    "   Case \"Mon\": Days_Of_The_Week = Left(UCase(Monday),1) = \"Y\"\r\n"
    "   Case \"Tue\": Days_Of_The_Week = Left(UCase(Tuesday),1) = \"Y\"\r\n"
    "   Case \"Wed\": Days_Of_The_Week = Left(UCase(Wednesday),1) = \"Y\"\r\n"
    "   Case \"Thu\": Days_Of_The_Week = Left(UCase(Thursday),1) = \"Y\"\r\n"
    "   Case \"Fri\": Days_Of_The_Week = Left(UCase(Friday),1) = \"Y\"\r\n"
    "   Case \"Sat\": Days_Of_The_Week = Left(UCase(Saturday),1) = \"Y\"\r\n"
    "   Case \"Sun\": Days_Of_The_Week = Left(UCase(Sunday),1) = \"Y\"\r\n"
    "End Select\r\n"
    "end function";
constexpr const char* kOnlyBetween =
    "function Only_Between_Specified_Times(StartTime,EndTime)\r\n"
    "Dim bResult\r\n"
    "Dim tmNow\r\n"
    "bResult = False\r\n"
    "If IsDate(StartTime) And IsDate(EndTime) Then\r\n"
    "    tmNow = TimeValue(UTCNow)\r\n"
    "    If TimeValue(EndTime) > TimeValue(StartTime) Then\r\n"
    "        bResult = ((tmNow >= TimeValue(StartTime)) And (tmNow <= TimeValue(EndTime)))\r\n"
    "    Else\r\n"
    "        bResult = ((tmNow <= TimeValue(EndTime)) Or (tmNow >= TimeValue(StartTime)))\r\n"
    "    End If\r\n"
    "End If\r\n"
    "Only_Between_Specified_Times = bResult\r\n"
    "end function";

TEST_F(MonitorScriptTest, MacrosCodeBlocksAndLibraryReachTheHost) {
  WriteIni(
      "[CPU]\r\nmvFrequency=60\r\n"
      "mvScheduleScript=  Slow_Poll(5) Or %monitor.OPEN% And %Monitor.Frequency% > %MONITOR.LastMonitorTime%  \r\n");
  Script().For("CPU").reports = {{"Server1", "CpuHigh"}};
  auto manager = MakeManager();
  manager->Monitor();

  FakeScriptHost& host = ScriptHost();
  EXPECT_EQ(host.hostsCreated, 1);
  EXPECT_FALSE(host.allowUI);
  EXPECT_EQ(host.language, "VBScript");
  ASSERT_EQ(host.code.size(), 4u) << "no library file yet";
  EXPECT_EQ(host.code[0], kSlowPollWhileClosed);
  EXPECT_EQ(host.code[1], kSlowPoll);
  EXPECT_EQ(host.code[2], kDaysOfTheWeek);
  EXPECT_EQ(host.code[3], kOnlyBetween);
  ASSERT_EQ(host.statements.size(), 1u);
  EXPECT_EQ(host.statements[0], "UTCNow = #2024-01-15 12:00:00#");
  ASSERT_EQ(host.evaluated.size(), 1u);
  EXPECT_EQ(host.evaluated[0], "Slow_Poll(5) Or False And 60 > DateValue(\"00:00:00\")");
  EXPECT_EQ(Script().CallsFor("CPU"), 1u);

  // The second run: a form is open, the last measurement has a date, a library exists.
  WriteWholeFile(LibraryPath(), "function Weekend()\nWeekend = False\r\nend function");
  host.Reset();
  Advance(60);
  manager->Monitor();
  ASSERT_EQ(host.code.size(), 5u);
  EXPECT_EQ(host.code[4], "function Weekend()\r\nWeekend = False\r\nend function\r\n");
  EXPECT_EQ(host.code[0].find("Slow_Poll_While_Closed = True OR"), host.code[0].find('\n') + 1);
  ASSERT_EQ(host.evaluated.size(), 1u);
  EXPECT_EQ(host.evaluated[0], "Slow_Poll(5) Or True And 60 > DateValue(\"2024-01-15 12:00:00\")");
  EXPECT_EQ(Matching("Additional script functions exist").size(), 1u);
}

TEST_F(MonitorScriptTest, FalseSkipsGetIncidentButTheRunGoesOn) {
  WriteIni("[CPU]\r\nmvFrequency=60\r\nmvScheduleScript=Days_Of_The_Week(\"Y\",\"N\",\"N\",\"N\",\"N\",\"N\",\"N\")\r\n");
  auto manager = MakeManager();
  manager->Monitor();
  ASSERT_EQ(Script().CallsFor("CPU"), 1u);

  ScriptHost().eval = [](std::string_view) { return Value(false); };
  Advance(60);
  manager->Monitor();
  EXPECT_EQ(Script().CallsFor("CPU"), 1u);
  EXPECT_EQ(Matching("Monitor (CPU): Skipped calling GetIncident due to a script that returned 'false'").size(), 1u);
  EXPECT_EQ(Matching("Setting IncidentState LastRuntime to 2024-01-15 12:01:00").size(), 1u);
  EXPECT_TRUE(Matching("Setting IncidentState LastMonitorTime to 2024-01-15 12:01:00").empty());

  // The plug-in sees its last real measurement, not the last schedule tick.
  ScriptHost().eval = [](std::string_view) { return Value(true); };
  Advance(60);
  manager->Monitor();
  ASSERT_EQ(Script().CallsFor("CPU"), 2u);
  EXPECT_EQ(Script().calls.back().lastRunTime, FakeClock::DefaultStart());
  EXPECT_TRUE(ErrorLines().empty());
}

TEST_F(MonitorScriptTest, FailingScriptIsReportedAndTheMonitorRuns) {
  WriteIni("[CPU]\r\nmvFrequency=60\r\nmvScheduleScript=%Monitor.Frequency% + \"x\"\r\n");
  ScriptHost().eval = [](std::string_view) -> Value { throw Error(13, "", "Type mismatch"); };
  auto manager = MakeManager();
  manager->Monitor();
  EXPECT_EQ(Script().CallsFor("CPU"), 1u);
  ASSERT_EQ(ErrorLines().size(), 1u);
  EXPECT_EQ(ErrorLines()[0].text,
            "ERROR: MonitorManager.ProcessScheduleScript: There was a problem processing the script '60 + \"x\"'. "
            "The error was: Type mismatch.  The monitor will be run as scheduled.");
  EXPECT_EQ(ErrorLines()[0].category, kModule);

  // A result that isn't a Boolean fails the same way.
  ScriptHost().eval = [](std::string_view) { return Value("maybe"); };
  Advance(60);
  manager->Monitor();
  EXPECT_EQ(Script().CallsFor("CPU"), 2u);
  EXPECT_EQ(ErrorLines().size(), 2u);
}

}  // namespace
}  // namespace korad::testing
