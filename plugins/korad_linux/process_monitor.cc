#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include "foundation/configurations.h"
#include "foundation/validation_rules.h"
#include "incident/incident_forms.h"
#include "korad_linux/monitors.h"
#include "platform/platform.h"
#include "platform/system_facts.h"

namespace korad {

void ProcessMonitor::SetValidationRules(const std::shared_ptr<ValidationRules>& validationRules) {
  validationRules->AddEx("ProcessName", true, {}, {}, "The process name, as ps shows it", "String");
  AddNumberRule(*validationRules, "MinCount", "1", "Fewest processes of the name that must run");
  AddNumberRule(*validationRules, "MaxCount", "", "Most processes of the name that may run; blank: no check");
  AddReportUpdatesRule(*validationRules);
}

void ProcessMonitor::GetIncident(std::shared_ptr<IncidentForms>& incidentForms,
                                 std::shared_ptr<IncidentState>& incidentState,
                                 const std::shared_ptr<Configurations>& configurations, LogManagerRef& logManager) {
  const MonitorKeys keys(*configurations, kClassId);
  const std::string name = keys.Text("ProcessName");
  if (name.empty()) keys.Invalid("ProcessName", name, "a process name");
  const double minCount = keys.Number("MinCount", 1);
  const std::optional<double> maxCount = keys.OptionalNumber("MaxCount");
  const bool reportUpdates = keys.Boolean(kReportUpdatesKey, false);

  int32_t count = 0;
  for (const ProcessEntry& process : Platform::Current().GetSystemFacts().ReadProcesses()) {
    if (ProcessHasName(process, name)) ++count;
  }
  TraceMonitor(logManager, kClassId, std::to_string(count) + " processes named " + name);

  std::string condition;
  if (count < minCount) {
    condition = count == 0 ? "ProcessNotRunning" : "TooFewProcesses";
  } else if (maxCount && count > *maxCount) {
    condition = "TooManyProcesses";
  }
  std::vector<Value> attributes = {FormAttribute("ProcessName", name),
                                   FormAttribute("ProcessCount", std::to_string(count)),
                                   FormAttribute("MinCount", NumberText(minCount))};
  if (maxCount) attributes.push_back(FormAttribute("MaxCount", NumberText(*maxCount)));
  for (const std::string_view watched : {"ProcessNotRunning", "TooFewProcesses", "TooManyProcesses"}) {
    ReportCondition(*incidentForms, watched == condition, name, watched, attributes, reportUpdates, "ProcessName");
  }
}

}  // namespace korad
