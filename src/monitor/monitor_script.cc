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
#include "monitor/engine_text.h"
#include "monitor/file_lines.h"
#include "monitor/monitor_manager.h"
#include "monitor/schedule_script_functions.h"
#include "platform/file_system.h"
#include "platform/platform.h"
#include "platform/script_control.h"

namespace korad {
namespace {

constexpr std::string_view kCrLf = "\r\n";

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
        for (const std::string& code : ScheduleScriptFunctions(frequency, lastTime, open == "True")) {
          host->AddCode(code);
        }

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
          host->ExecuteStatement("UTCNow = #" + DateText(UTCNow()) + "#");
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
