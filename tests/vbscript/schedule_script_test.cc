// The four library functions of schedule scripts, added as the monitor writes them, and
// evaluated as the monitor does: UTCNow set by statement, then one expression.
#include <string>

#include "contracts/class_registry.h"
#include "platform/vbscript/script_control_class.h"
#include "support/error_number.h"
#include "vbscript/script_fixture.h"

namespace korad::vbscript_test {
namespace {

// F: frequency in seconds, L: the last monitor time, O: "True" or "False".
std::string SlowPollWhileClosed(const std::string& f, const std::string& l, const std::string& o) {
  return Lines({"function Slow_Poll_While_Closed(Multiplier)",
                "Slow_Poll_While_Closed = " + o + " OR (UTCNow >= DateAdd(\"s\"," + f +
                    "*Multiplier,DateValue(\"" + l + "\")))",
                "end function"});
}

std::string SlowPoll(const std::string& f, const std::string& l) {
  return Lines({"function Slow_Poll(Multiplier)",
                "Slow_Poll = (UTCNow >= DateAdd(\"s\"," + f + "*Multiplier,DateValue(\"" + l + "\")))",
                "end function"});
}

std::string DaysOfTheWeek() {
  return Lines({"function Days_Of_The_Week(Monday,Tuesday,Wednesday,Thursday,Friday,Saturday,Sunday)",
                "sWeekDayName = WeekDayName(WeekDay(Date()),True)",
                "Select Case sWeekDayName",
                "   Case \"Mon\": Days_Of_The_Week = Left(UCase(Monday),1) = \"Y\"",
                "   Case \"Tue\": Days_Of_The_Week = Left(UCase(Tuesday),1) = \"Y\"",
                "   Case \"Wed\": Days_Of_The_Week = Left(UCase(Wednesday),1) = \"Y\"",
                "   Case \"Thu\": Days_Of_The_Week = Left(UCase(Thursday),1) = \"Y\"",
                "   Case \"Fri\": Days_Of_The_Week = Left(UCase(Friday),1) = \"Y\"",
                "   Case \"Sat\": Days_Of_The_Week = Left(UCase(Saturday),1) = \"Y\"",
                "   Case \"Sun\": Days_Of_The_Week = Left(UCase(Sunday),1) = \"Y\"",
                "End Select",
                "end function"});
}

std::string OnlyBetweenSpecifiedTimes() {
  return Lines({"function Only_Between_Specified_Times(StartTime,EndTime)",
                "Dim bResult",
                "Dim tmNow",
                "bResult = False",
                "If IsDate(StartTime) And IsDate(EndTime) Then",
                "    tmNow = TimeValue(UTCNow)",
                "    If TimeValue(EndTime) > TimeValue(StartTime) Then",
                "        bResult = ((tmNow >= TimeValue(StartTime)) And (tmNow <= TimeValue(EndTime)))",
                "    Else",
                "        bResult = ((tmNow <= TimeValue(EndTime)) Or (tmNow >= TimeValue(StartTime)))",
                "    End If",
                "End If",
                "Only_Between_Specified_Times = bResult",
                "end function"});
}

class ScheduleScriptTest : public ScriptTest {
 protected:
  // A new host with the library for one evaluation, as the monitor builds it.
  void NewHost(const std::string& lastMonitorTime, bool open = false, const std::string& frequency = "60") {
    m_host = std::make_unique<VbScriptControl>();
    m_host->SetAllowUI(false);
    m_host->SetLanguage("VBScript");
    m_host->AddCode(SlowPollWhileClosed(frequency, lastMonitorTime, open ? "True" : "False"));
    m_host->AddCode(SlowPoll(frequency, lastMonitorTime));
    m_host->AddCode(DaysOfTheWeek());
    m_host->AddCode(OnlyBetweenSpecifiedTimes());
  }
  bool Decide(OleDate utcNow, const std::string& script) {
    m_host->ExecuteStatement("UTCNow = #" + FormatDate(utcNow) + "#");
    return m_host->Eval(script).ToBoolean();
  }
};

TEST_F(ScheduleScriptTest, SlowPollCountsFromMidnightOfTheLastMeasurementsDay) {
  // Measured at 00:02 and at 10:30: either way the base is midnight, so five polls of
  // 60 s hold only until 00:05 of that day.
  for (const char* last : {"2024-01-15 00:02:00", "2024-01-15 10:30:00"}) {
    SCOPED_TRACE(last);
    NewHost(last);
    EXPECT_FALSE(Decide(At(2024, 1, 15, 0, 0, 0), "Slow_Poll(5)"));
    EXPECT_FALSE(Decide(At(2024, 1, 15, 0, 4, 59), "Slow_Poll(5)"));
    EXPECT_TRUE(Decide(At(2024, 1, 15, 0, 5, 0), "Slow_Poll(5)"));
    EXPECT_TRUE(Decide(At(2024, 1, 15, 10, 31, 0), "Slow_Poll(5)"));
    EXPECT_TRUE(Decide(At(2024, 1, 16, 0, 0, 1), "Slow_Poll(5)"));
    // A longer multiplier reaches further into the day: 60 * 700 s is 11:40.
    EXPECT_FALSE(Decide(At(2024, 1, 15, 11, 39, 59), "Slow_Poll(700)"));
    EXPECT_TRUE(Decide(At(2024, 1, 15, 11, 40, 0), "slow_poll(700)"));
  }
}

TEST_F(ScheduleScriptTest, SlowPollWhileClosedIsTrueWhileAFormIsOpen) {
  NewHost("2024-01-15 10:30:00", /*open=*/true, "3600");
  EXPECT_TRUE(Decide(At(2024, 1, 15, 0, 0, 1), "Slow_Poll_While_Closed(24)"));
  NewHost("2024-01-15 10:30:00", /*open=*/false, "3600");
  EXPECT_FALSE(Decide(At(2024, 1, 15, 23, 59, 59), "Slow_Poll_While_Closed(24)"));
  EXPECT_TRUE(Decide(At(2024, 1, 16, 0, 0, 0), "Slow_Poll_While_Closed(24)"));
}

TEST_F(ScheduleScriptTest, DaysOfTheWeekLooksAtTheFirstLetterOfTheLocalDaysArgument) {
  NewHost("2024-01-15 10:30:00");
  const OleDate utc = At(2024, 1, 15, 12, 0, 0);  // a Monday
  m_clock->SetUtcNow(utc);
  EXPECT_TRUE(Decide(utc, "Days_Of_The_Week(\"Y\",\"Y\",\"Y\",\"Y\",\"Y\",\"N\",\"N\")"));
  EXPECT_TRUE(Decide(utc, "Days_Of_The_Week(\"yes\",\"n\",\"n\",\"n\",\"n\",\"n\",\"n\")"));
  EXPECT_FALSE(Decide(utc, "Days_Of_The_Week(\"No\",\"Y\",\"Y\",\"Y\",\"Y\",\"Y\",\"Y\")"));
  EXPECT_FALSE(Decide(utc, "Days_Of_The_Week(\"\",\"Y\",\"Y\",\"Y\",\"Y\",\"Y\",\"Y\")"));

  // Saturday and Sunday by the local clock: five minutes west of a Monday's midnight
  // it is still Sunday there.
  m_clock->SetUtcNow(At(2024, 1, 20, 12, 0, 0));
  EXPECT_FALSE(Decide(utc, "Days_Of_The_Week(\"Y\",\"Y\",\"Y\",\"Y\",\"Y\",\"N\",\"N\")"));
  EXPECT_TRUE(Decide(utc, "Days_Of_The_Week(\"N\",\"N\",\"N\",\"N\",\"N\",\"y\",\"N\")"));
  m_clock->SetUtcNow(At(2024, 1, 22, 0, 3, 0));
  m_clock->SetUtcOffsetMinutes(-5);
  EXPECT_TRUE(Decide(utc, "Days_Of_The_Week(\"N\",\"N\",\"N\",\"N\",\"N\",\"N\",\"Y\")"));
  m_clock->SetUtcOffsetMinutes(0);
  EXPECT_FALSE(Decide(utc, "Days_Of_The_Week(\"N\",\"N\",\"N\",\"N\",\"N\",\"N\",\"Y\")"));
}

TEST_F(ScheduleScriptTest, OnlyBetweenSpecifiedTimesLooksAtUtcAndWrapsOverMidnight) {
  NewHost("2024-01-15 10:30:00");
  const std::string night = "Only_Between_Specified_Times(\"22:00\",\"06:00\")";
  EXPECT_TRUE(Decide(At(2024, 1, 15, 23, 0, 0), night));
  EXPECT_TRUE(Decide(At(2024, 1, 15, 22, 0, 0), night));
  EXPECT_TRUE(Decide(At(2024, 1, 15, 6, 0, 0), night));
  EXPECT_FALSE(Decide(At(2024, 1, 15, 6, 0, 1), night));
  EXPECT_FALSE(Decide(At(2024, 1, 15, 12, 0, 0), night));

  const std::string day = "Only_Between_Specified_Times(\"9:00 AM\",\"17:30\")";
  EXPECT_TRUE(Decide(At(2024, 1, 15, 12, 0, 0), day));
  EXPECT_FALSE(Decide(At(2024, 1, 15, 17, 30, 1), day));
  EXPECT_FALSE(Decide(At(2024, 1, 15, 8, 59, 59), day));

  // An invalid time makes the function False, whatever the hour.
  EXPECT_FALSE(Decide(At(2024, 1, 15, 12, 0, 0), "Only_Between_Specified_Times(\"25:00\",\"06:00\")"));
  EXPECT_FALSE(Decide(At(2024, 1, 15, 12, 0, 0), "Only_Between_Specified_Times(\"noon\",\"18:00\")"));
}

TEST_F(ScheduleScriptTest, FunctionsCombineInOneExpression) {
  NewHost("2024-01-15 10:30:00");
  m_clock->SetUtcNow(At(2024, 1, 15, 12, 0, 0));  // Monday
  const OleDate utc = At(2024, 1, 15, 23, 0, 0);
  EXPECT_TRUE(Decide(utc, "Slow_Poll(5) And Days_Of_The_Week(\"Y\",\"Y\",\"Y\",\"Y\",\"Y\",\"Y\",\"Y\")"));
  EXPECT_FALSE(Decide(utc, "Slow_Poll(5) And Not Only_Between_Specified_Times(\"22:00\",\"06:00\")"));
  EXPECT_TRUE(Decide(utc, "Slow_Poll(5000) Or Only_Between_Specified_Times(\"22:00\",\"06:00\")"));
}

TEST_F(ScheduleScriptTest, ScriptsThatFailEndInTheEnginesErrors) {
  NewHost("2024-01-15 10:30:00");
  m_host->ExecuteStatement("UTCNow = #2024-01-15 12:00:00#");

  // Not Boolean: Eval gives the value, and the caller's conversion is what fails.
  const Value text = Eval("WeekdayName(2)");
  EXPECT_EQ(text.ToText(), "Monday");
  EXPECT_EQ(testing::NumberOf([&] { text.ToBoolean(); }), kErrTypeMismatch);

  Error e = EvalFailure("Slow_Poll(5");
  EXPECT_EQ(e.Number(), 1006);
  EXPECT_EQ(e.Description(), "Expected ')'");

  e = EvalFailure("Fast_Poll(5)");
  EXPECT_EQ(e.Number(), kErrTypeMismatch);
  EXPECT_EQ(e.Description(), "Type mismatch: 'Fast_Poll'");

  e = EvalFailure("Slow_Poll(5, 6)");
  EXPECT_EQ(e.Number(), 450);
  EXPECT_EQ(e.Description(), "Wrong number of arguments or invalid property assignment: 'Slow_Poll'");

  // A script library that loops for ever is stopped, and the host still works after it.
  m_host->AddCode(Lines({"Function Spin()", "Do While True", "Loop", "End Function"}));
  e = EvalFailure("Spin()");
  EXPECT_EQ(e.Description(), "Script exceeded its run-time limit of 1000000 steps");
  EXPECT_TRUE(Decide(At(2024, 1, 15, 23, 0, 0), "Slow_Poll(5)"));

  // An empty last monitor time can't be a date.
  NewHost("");
  m_host->ExecuteStatement("UTCNow = #2024-01-15 12:00:00#");
  EXPECT_EQ(EvalFailure("Slow_Poll(5)").Description(), "Type mismatch");
}

TEST(ScriptControlClass, IsCreatedByItsClassId) {
  ClassRegistry registry;
  RegisterScriptControl(registry);
  auto host = std::dynamic_pointer_cast<ScriptControl>(registry.TryCreate("msscriptcontrol.scriptcontrol"));
  ASSERT_NE(host, nullptr);
  EXPECT_TRUE(host->AllowUI());
  host->SetAllowUI(false);
  EXPECT_FALSE(host->AllowUI());
  host->SetLanguage("vbscript");
  EXPECT_EQ(host->Language(), "VBScript");
  EXPECT_EQ(testing::NumberOf([&] { host->SetLanguage("JScript"); }), kErrInvalidCall);
  host->AddCode("Function Twice(x)\r\nTwice = 2 * x\r\nEnd Function");
  EXPECT_EQ(host->Eval("Twice(21)").ToLong(), 42);
}

}  // namespace
}  // namespace korad::vbscript_test
