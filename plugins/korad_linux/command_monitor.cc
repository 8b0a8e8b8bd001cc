#include <algorithm>
#include <climits>
#include <set>
#include <string>
#include <vector>

#include "contracts/error.h"
#include "contracts/text.h"
#include "foundation/configurations.h"
#include "foundation/validation_rules.h"
#include "incident/incident_forms.h"
#include "korad_linux/check_output.h"
#include "korad_linux/monitors.h"
#include "platform/platform.h"
#include "platform/process.h"

namespace korad {
namespace {

// Enough for any check's text and performance data; more is dropped.
constexpr size_t kOutputLimit = 64 * 1024;

// The exit convention of the common checks; everything else is UNKNOWN.
std::string_view ConditionOfExit(int32_t exitCode, int32_t signal) {
  if (signal != 0) return "UNKNOWN";
  switch (exitCode) {
    case 0: return "OK";
    case 1: return "WARNING";
    case 2: return "CRITICAL";
    default: return "UNKNOWN";
  }
}

// The program's file name, whichever separator the line used.
std::string ProgramName(const std::string& program) {
  const size_t slash = program.find_last_of("/\\");
  return slash == std::string::npos ? program : program.substr(slash + 1);
}

// A label as an attribute name: letters, digits, "_", "." and "-"; anything else is "_".
std::string AttributeName(std::string_view label) {
  std::string name = "Perf_";
  for (char c : label) {
    const bool plain = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
                       c == '.' || c == '-';
    name += plain ? c : '_';
  }
  return name;
}

void AddPerfAttributes(const std::vector<PerfDatum>& perf, std::vector<Value>& attributes) {
  std::set<std::string, std::less<>> seen;
  for (const PerfDatum& datum : perf) {
    const std::string name = AttributeName(datum.label);
    if (!seen.insert(NormalizeKey(name)).second) continue;  // the first of a repeated label counts
    attributes.push_back(FormAttribute(name, datum.value));
    const std::pair<std::string_view, const std::string*> parts[] = {
        {"_UOM", &datum.unit}, {"_Warn", &datum.warn}, {"_Crit", &datum.crit}, {"_Min", &datum.min}, {"_Max", &datum.max}};
    for (const auto& [suffix, value] : parts) {
      if (!value->empty()) attributes.push_back(FormAttribute(name + std::string(suffix), *value));
    }
  }
}

std::string FirstLine(std::string_view text) {
  return std::string(TrimBlanks(text.substr(0, text.find('\n'))));
}

}  // namespace

void CommandMonitor::SetValidationRules(const std::shared_ptr<ValidationRules>& validationRules) {
  validationRules->AddEx("Command", true, {}, {},
                         "The check program and its arguments; quote an argument that holds blanks", "String");
  AddNumberRule(*validationRules, "TimeoutSeconds", "30", "Seconds after which the check is killed and UNKNOWN", "1");
  validationRules->AddEx("Resource", false, {}, {}, "The resource of the incidents; blank: the program's file name",
                         "String");
  AddReportUpdatesRule(*validationRules);
}

void CommandMonitor::GetIncident(std::shared_ptr<IncidentForms>& incidentForms,
                                 std::shared_ptr<IncidentState>& incidentState,
                                 const std::shared_ptr<Configurations>& configurations, LogManagerRef& logManager) {
  const MonitorKeys keys(*configurations, kClassId);
  const std::string command = keys.Text("Command");
  // Written as for a shell, and split by its word rules; no shell runs it.
  std::vector<std::string> arguments;
  try {
    arguments = SplitShellWords(command);
  } catch (const Error& failure) {
    keys.Invalid("Command", command, "a command line (" + failure.Description() + ")");
  }
  if (arguments.empty() || arguments[0].empty()) keys.Invalid("Command", command, "a command line");
  const int32_t timeoutMilliseconds = keys.TimeoutMilliseconds(30);
  std::string resource = keys.Text("Resource");
  if (resource.empty()) resource = ProgramName(arguments[0]);
  const bool reportUpdates = keys.Boolean(kReportUpdatesKey, false);

  ProcessRunOptions options;
  options.timeoutMilliseconds = timeoutMilliseconds;
  options.outputLimit = kOutputLimit;

  std::vector<Value> attributes = {FormAttribute("Command", command)};
  std::string condition;
  CheckOutput output;
  try {
    const ProcessOutcome outcome = Platform::Current().GetProcessLauncher().Run(arguments, options);
    output = ParseCheckOutput(outcome.output);
    if (output.text.empty()) output.text = FirstLine(outcome.errorOutput);
    if (outcome.timedOut) {
      condition = "UNKNOWN";
      output.text = "Timed out after " + NumberText(timeoutMilliseconds / 1000.0, 1) + " seconds";
      attributes.push_back(FormAttribute("TimedOut", "True"));
    } else {
      condition = ConditionOfExit(outcome.exitCode, outcome.signal);
      attributes.push_back(FormAttribute("ExitCode", std::to_string(outcome.exitCode)));
    }
  } catch (const Error& failure) {
    condition = "UNKNOWN";
    output = {};
    output.text = "Could not run " + arguments[0] + ": " + failure.Description();
  }
  TraceMonitor(logManager, kClassId, command + ": " + condition + ": " + output.text);

  attributes.push_back(FormAttribute("Output", output.text));
  if (!output.longText.empty()) attributes.push_back(FormAttribute("LongOutput", output.longText));
  if (!output.perfData.empty()) attributes.push_back(FormAttribute("PerfData", output.perfData));
  AddPerfAttributes(output.perf, attributes);
  // One state at a time: the one the check gave holds, the others don't.
  for (const std::string_view state : {"WARNING", "CRITICAL", "UNKNOWN"}) {
    ReportCondition(*incidentForms, state == condition, resource, state, attributes, reportUpdates, "Command");
  }
}

}  // namespace korad
