#include "monitor/schedule_script_functions.h"

namespace korad {
namespace {

constexpr std::string_view kCrLf = "\r\n";

std::string JoinLines(const std::vector<std::string>& lines) {
  std::string code;
  for (size_t i = 0; i < lines.size(); ++i) {
    if (i > 0) code += kCrLf;
    code += lines[i];
  }
  return code;
}

std::string SlowPollWhileClosed(const std::string& frequency, const std::string& lastTime, const std::string& open) {
  return JoinLines({"function Slow_Poll_While_Closed(Multiplier)",
                    "Slow_Poll_While_Closed = " + open + " OR (UTCNow >= DateAdd(\"s\"," + frequency +
                        "*Multiplier,DateValue(\"" + lastTime + "\")))",
                    "end function"});
}

std::string SlowPoll(const std::string& frequency, const std::string& lastTime) {
  return JoinLines({"function Slow_Poll(Multiplier)",
                    "Slow_Poll = (UTCNow >= DateAdd(\"s\"," + frequency + "*Multiplier,DateValue(\"" + lastTime +
                        "\")))",
                    "end function"});
}

std::string DaysOfTheWeek() {
  std::vector<std::string> lines = {
      "function Days_Of_The_Week(Monday,Tuesday,Wednesday,Thursday,Friday,Saturday,Sunday)",
      "sWeekDayName = WeekDayName(WeekDay(Date()),True)", "Select Case sWeekDayName"};
  static constexpr std::string_view kDays[][2] = {{"Mon", "Monday"},   {"Tue", "Tuesday"}, {"Wed", "Wednesday"},
                                                  {"Thu", "Thursday"}, {"Fri", "Friday"},  {"Sat", "Saturday"},
                                                  {"Sun", "Sunday"}};
  for (const auto& day : kDays) {
    lines.push_back("   Case \"" + std::string(day[0]) + "\": Days_Of_The_Week = Left(UCase(" + std::string(day[1]) +
                    "),1) = \"Y\"");
  }
  lines.push_back("End Select");
  lines.push_back("end function");
  return JoinLines(lines);
}

std::string OnlyBetweenSpecifiedTimes() {
  return JoinLines({"function Only_Between_Specified_Times(StartTime,EndTime)",
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

}  // namespace

std::vector<std::string> ScheduleScriptFunctions(const std::string& frequency, const std::string& lastMonitorTime,
                                                 bool formsOpen) {
  const std::string open = formsOpen ? "True" : "False";
  return {SlowPollWhileClosed(frequency, lastMonitorTime, open), SlowPoll(frequency, lastMonitorTime),
          DaysOfTheWeek(), OnlyBetweenSpecifiedTimes()};
}

}  // namespace korad
