#include <optional>
#include <string>
#include <vector>

#include "foundation/configurations.h"
#include "foundation/validation_rules.h"
#include "incident/incident_forms.h"
#include "incident/incident_state.h"
#include "korad_linux/monitors.h"
#include "platform/platform.h"
#include "platform/system_facts.h"

namespace korad {
namespace {

// The counters of the previous run, kept in the configuration's state.
constexpr std::string_view kBusyTicksKey = "CpuBusyTicks";
constexpr std::string_view kTotalTicksKey = "CpuTotalTicks";

std::optional<CpuTimes> PreviousSample(IncidentState& state) {
  if (!state.Exists(kBusyTicksKey) || !state.Exists(kTotalTicksKey)) return std::nullopt;
  const Value busy = state.Item(kBusyTicksKey);
  const Value total = state.Item(kTotalTicksKey);
  if (!IsNumeric(busy) || !IsNumeric(total)) return std::nullopt;
  CpuTimes sample;
  sample.user = static_cast<uint64_t>(busy.ToDouble());
  const uint64_t all = static_cast<uint64_t>(total.ToDouble());
  sample.idle = all > sample.user ? all - sample.user : 0;
  return sample;
}

// The busy share since the previous run; the newest counters go into the state either
// way. Without a usable previous sample (a first run, a reboot since) there is no share
// to tell: a short sample of its own would mostly see the agent's own start.
std::optional<double> MeasureCpuPercent(SystemFacts& facts, IncidentState& state) {
  const CpuTimes now = facts.ReadCpuTimes();
  std::optional<double> percent;
  if (std::optional<CpuTimes> previous = PreviousSample(state)) percent = CpuBusyPercent(*previous, now);
  state.Add(kBusyTicksKey, Value(static_cast<double>(now.Busy())));
  state.Add(kTotalTicksKey, Value(static_cast<double>(now.Total())));
  return percent;
}

}  // namespace

void CpuMonitor::SetValidationRules(const std::shared_ptr<ValidationRules>& validationRules) {
  AddNumberRule(*validationRules, "MaxCpuPercent", "90", "Busy share of processor time above which to alert; blank: no check",
                "0", "100");
  AddNumberRule(*validationRules, "MaxLoad1", "", "One-minute load average above which to alert; blank: no check");
  AddNumberRule(*validationRules, "MaxLoad5", "", "Five-minute load average above which to alert; blank: no check");
  AddNumberRule(*validationRules, "MaxLoad15", "", "Fifteen-minute load average above which to alert; blank: no check");
  AddReportUpdatesRule(*validationRules);
}

void CpuMonitor::GetIncident(std::shared_ptr<IncidentForms>& incidentForms,
                             std::shared_ptr<IncidentState>& incidentState,
                             const std::shared_ptr<Configurations>& configurations, LogManagerRef& logManager) {
  const MonitorKeys keys(*configurations, kClassId);
  const std::optional<double> maxCpu = keys.OptionalNumber("MaxCpuPercent");
  const std::optional<double> maxLoad[] = {keys.OptionalNumber("MaxLoad1"), keys.OptionalNumber("MaxLoad5"),
                                           keys.OptionalNumber("MaxLoad15")};
  const bool reportUpdates = keys.Boolean(kReportUpdatesKey, false);
  SystemFacts& facts = Platform::Current().GetSystemFacts();

  if (maxCpu) {
    // Nothing is said of the busy share until there is one: an open incident stays as it is.
    if (const std::optional<double> percent = MeasureCpuPercent(facts, *incidentState)) {
      TraceMonitor(logManager, kClassId,
                   "CPU busy " + NumberText(*percent) + "% (maximum " + NumberText(*maxCpu) + "%)");
      ReportCondition(*incidentForms, *percent > *maxCpu, "CPU", "HighCpuUtilisation",
                      {FormAttribute("CpuPercent", NumberText(*percent)),
                       FormAttribute("MaxCpuPercent", NumberText(*maxCpu))},
                      reportUpdates);
    } else {
      TraceMonitor(logManager, kClassId, "CPU counters sampled; the busy share is measured from the next run");
    }
  }

  if (maxLoad[0] || maxLoad[1] || maxLoad[2]) {
    const LoadAverage load = facts.ReadLoadAverage();
    const double values[] = {load.load1, load.load5, load.load15};
    static constexpr std::string_view kLoadNames[] = {"Load1", "Load5", "Load15"};
    TraceMonitor(logManager, kClassId,
                 "Load " + NumberText(load.load1, 2) + " " + NumberText(load.load5, 2) + " " + NumberText(load.load15, 2));
    bool high = false;
    std::vector<Value> attributes;
    for (size_t i = 0; i < 3; ++i) {
      attributes.push_back(FormAttribute(kLoadNames[i], NumberText(values[i], 2)));
      if (maxLoad[i]) {
        attributes.push_back(FormAttribute("Max" + std::string(kLoadNames[i]), NumberText(*maxLoad[i], 2)));
        high = high || values[i] > *maxLoad[i];
      }
    }
    ReportCondition(*incidentForms, high, "CPU", "HighLoad", std::move(attributes), reportUpdates);
  }
}

}  // namespace korad
