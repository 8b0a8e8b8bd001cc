// What every Linux monitor shares: the object shape the engine creates by class id, the
// reading of typed configuration keys, and the adding of a form for a problem seen now.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "contracts/interfaces.h"
#include "contracts/object.h"
#include "contracts/value.h"

namespace korad {

class Configurations;
class IncidentForm;
class IncidentForms;
class ValidationRules;

// A monitor object: late binding has nothing to offer beyond the class id.
template <class Derived>
class LinuxMonitor : public Dispatchable<Derived>, public IMonitor {
 public:
  std::string_view ClassId() const noexcept override { return Derived::kClassId; }
  static const DispatchTable<Derived>& Dispatch() {
    static const DispatchTable<Derived> table;
    return table;
  }
};

// The key that lets the changing numbers of an open incident go out as updates.
inline constexpr std::string_view kReportUpdatesKey = "ReportUpdates";
// On every form: "True" when the problem holds, "False" when it doesn't.
inline constexpr std::string_view kConditionHoldsAttribute = "ConditionHolds";

// Typed reads of the current configuration. Validation has filled the defaults; a key
// that is still missing or blank reads as its fallback. A value of the wrong kind raises
// "<monitor>: <Key> = '<value>' is not <what>", which the engine records as the
// configuration's error.
class MonitorKeys {
 public:
  MonitorKeys(const Configurations& configurations, std::string_view monitorId)
      : m_configurations(configurations), m_monitorId(monitorId) {}

  // Trimmed.
  std::string Text(std::string_view key, std::string_view fallback = {}) const;
  // nullopt for a missing or blank key: the check it governs is off.
  std::optional<double> OptionalNumber(std::string_view key) const;
  double Number(std::string_view key, double fallback) const;
  // True, False, Yes, No, 1, 0 in any case.
  bool Boolean(std::string_view key, bool fallback) const;
  // Comma-separated, each item trimmed, empty items dropped.
  std::vector<std::string> List(std::string_view key) const;
  // Raises the configuration error above.
  [[noreturn]] void Invalid(std::string_view key, std::string_view value, std::string_view what) const;
  // TimeoutSeconds (positive) as the process launcher's milliseconds.
  int32_t TimeoutMilliseconds(double fallbackSeconds) const;

 private:
  const Configurations& m_configurations;
  std::string m_monitorId;
};

// A number as attribute text: at most `decimals` decimals, no trailing zeros.
std::string NumberText(double value, int decimals = 1);
// Bytes as whole megabytes, rounded down.
std::string MegabytesText(uint64_t bytes);
// "name:=value", the form IncidentForms.Add takes.
Value FormAttribute(std::string_view name, std::string_view value);

// Says whether a problem the monitor watches holds now. The engine keeps an incident open
// from a report that it holds (AlertOn) to a report that it no longer does (AlertOff) of
// the same resource, condition and key attributes, and counts its alert and resolve
// delays in such reports: so a watched problem is stated on every run, either way.
// Numbers that move on every run would make every run an "(Updated)" incident, so they
// count as updates only when the configuration asks for them; ConditionHolds always
// counts, so a problem that comes back while its resolve waits cancels the wait. `keyAttributes`
// names the attributes that tell apart the forms of one configuration. Null when the
// collection refused the form (it has logged why).
std::shared_ptr<IncidentForm> ReportCondition(IncidentForms& forms, bool holds, std::string_view resource,
                                              std::string_view condition, std::vector<Value> attributes,
                                              bool reportUpdates, std::string_view keyAttributes = {});
// ReportCondition of a problem that holds.
std::shared_ptr<IncidentForm> ReportProblem(IncidentForms& forms, std::string_view resource,
                                            std::string_view condition, std::vector<Value> attributes,
                                            bool reportUpdates, std::string_view keyAttributes = {});

// Declares ReportUpdates, False by default.
void AddReportUpdatesRule(ValidationRules& rules);
// Declares an optional number key; a blank default turns its check off.
void AddNumberRule(ValidationRules& rules, std::string_view key, std::string_view defaultValue,
                   std::string_view description, std::string_view minimum = "0", std::string_view maximum = {});

// A trace line for the monitor when there is a log manager.
void TraceMonitor(const LogManagerRef& logManager, std::string_view monitorId, std::string_view text);

}  // namespace korad
