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
namespace {

constexpr double kMegabyte = 1024.0 * 1024.0;

double Percent(uint64_t part, uint64_t whole) {
  return whole == 0 ? 0.0 : static_cast<double>(part) * 100.0 / static_cast<double>(whole);
}

}  // namespace

void MemoryMonitor::SetValidationRules(const std::shared_ptr<ValidationRules>& validationRules) {
  AddNumberRule(*validationRules, "MinFreeMemoryPercent", "10",
                "Share of memory available to programs below which to alert; blank: no check", "0", "100");
  AddNumberRule(*validationRules, "MinAvailableMB", "",
                "Megabytes available to programs below which to alert; blank: no check");
  AddNumberRule(*validationRules, "MinFreeSwapPercent", "", "Share of swap free below which to alert; blank: no check",
                "0", "100");
  AddReportUpdatesRule(*validationRules);
}

void MemoryMonitor::GetIncident(std::shared_ptr<IncidentForms>& incidentForms,
                                std::shared_ptr<IncidentState>& incidentState,
                                const std::shared_ptr<Configurations>& configurations, LogManagerRef& logManager) {
  const MonitorKeys keys(*configurations, kClassId);
  const std::optional<double> minPercent = keys.OptionalNumber("MinFreeMemoryPercent");
  const std::optional<double> minAvailableMB = keys.OptionalNumber("MinAvailableMB");
  const std::optional<double> minSwapPercent = keys.OptionalNumber("MinFreeSwapPercent");
  const bool reportUpdates = keys.Boolean(kReportUpdatesKey, false);
  if (!minPercent && !minAvailableMB && !minSwapPercent) return;

  const MemoryFacts memory = Platform::Current().GetSystemFacts().ReadMemory();
  const double freePercent = Percent(memory.available, memory.total);
  const double availableMB = static_cast<double>(memory.available) / kMegabyte;
  TraceMonitor(logManager, kClassId,
               "Memory available " + MegabytesText(memory.available) + " MB of " + MegabytesText(memory.total) +
                   " MB (" + NumberText(freePercent) + "%)");

  if (minPercent || minAvailableMB) {
    const bool low = (minPercent && freePercent < *minPercent) || (minAvailableMB && availableMB < *minAvailableMB);
    std::vector<Value> attributes = {FormAttribute("FreeMemoryPercent", NumberText(freePercent)),
                                     FormAttribute("AvailableMB", MegabytesText(memory.available)),
                                     FormAttribute("TotalMB", MegabytesText(memory.total))};
    if (minPercent) attributes.push_back(FormAttribute("MinFreeMemoryPercent", NumberText(*minPercent)));
    if (minAvailableMB) attributes.push_back(FormAttribute("MinAvailableMB", NumberText(*minAvailableMB)));
    ReportCondition(*incidentForms, low, "Memory", "LowMemory", std::move(attributes), reportUpdates);
  }

  if (minSwapPercent && memory.swapTotal > 0) {
    const double swapPercent = Percent(memory.swapFree, memory.swapTotal);
    ReportCondition(*incidentForms, swapPercent < *minSwapPercent, "Swap", "LowSwap",
                    {FormAttribute("FreeSwapPercent", NumberText(swapPercent)),
                     FormAttribute("FreeSwapMB", MegabytesText(memory.swapFree)),
                     FormAttribute("SwapTotalMB", MegabytesText(memory.swapTotal)),
                     FormAttribute("MinFreeSwapPercent", NumberText(*minSwapPercent))},
                    reportUpdates);
  }
}

}  // namespace korad
