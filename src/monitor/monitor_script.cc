// ProcessScheduleScript: evaluates a configuration's mvScheduleScript in a new script
// host with a small library of functions generated for this one evaluation. A broken
// script never stops monitoring: any failure reads as True, and the log says why.
#include <string>
#include <vector>

#include "contracts/class_registry.h"
#include "contracts/error.h"
#include "foundation/global_functions.h"
#include "incident/incident_forms.h"
#include "incident/incident_state.h"
#include "monitor/file_lines.h"
#include "monitor/monitor_manager.h"
#include "platform/file_system.h"
#include "platform/platform.h"
#include "platform/script_control.h"

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

// The file as code: its lines, each ended by CR LF.
std::string ScriptLibraryText(const std::string& content) {
  std::string code;
  for (const std::string_view line : FileLines(content)) code.append(line).append(kCrLf);
  return code;
}

}  // namespace

void MonitorManager::ProcessScheduleScript(std::string_view scriptText, const std::vector<std::string>& frequencyList,
                                           bool& result) {
  TrapErrors(
      "MonitorManager.ProcessScheduleScript: ",
      [&] {
        const std::shared_ptr<ScriptControl> host = CreateObjectAs<ScriptControl>(kScriptControlClassId);

        const std::string frequency = frequencyList.empty() ? std::string() : frequencyList.front();
        const std::string open = m_incidentForms && m_incidentForms->Count() >= 1 ? "True" : "False";
        const std::string lastTime =
            m_incidentState ? m_incidentState->Item("mvLastMonitorTime").ToText() : std::string();
        std::string script(scriptText);
        script = ReplaceTextNoCase(script, "%Monitor.Open%", open);
        script = ReplaceTextNoCase(script, "%Monitor.LastMonitorTime%", "DateValue(\"" + lastTime + "\")");
        script = ReplaceTextNoCase(script, "%Monitor.Frequency%", frequency);

        host->SetAllowUI(false);
        host->SetLanguage("VBScript");
        host->AddCode(SlowPollWhileClosed(frequency, lastTime, open));
        host->AddCode(SlowPoll(frequency, lastTime));
        host->AddCode(DaysOfTheWeek());
        host->AddCode(OnlyBetweenSpecifiedTimes());

        Trace("Checking for additional script functions");
        const std::string libraryPath = m_sharedProgramFolder + "/Modules/mvScripts.mvs";
        if (FileExists(libraryPath)) {
          Trace("Additional script functions exist");
          const std::string code = ScriptLibraryText(Platform::Current().GetFileSystem().ReadFile(libraryPath));
          Trace("Additional script functions are " + code);
          host->AddCode(code);
        }

        Trace("Processing schedule script " + script);
        std::string failure;
        bool failed = false;
        try {
          host->ExecuteStatement("UTCNow = #" + Value(UTCNow()).ToText() + "#");
          result = host->Eval(script).ToBoolean();
        } catch (...) {
          failed = true;
          failure = CurrentExceptionAsError().Description();
        }
        if (failed) {
          RaiseLibraryError("There was a problem processing the script '" + script + "'. The error was: " + failure +
                            ".  The monitor will be run as scheduled.");
        }
      },
      [&](const std::string& description, int32_t number) {
        result = true;  // a broken script never stops monitoring
        ReportError(description, number);
      });
}

}  // namespace korad
