#include "korad_linux/monitor_support.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include "contracts/error.h"
#include "contracts/text.h"
#include "foundation/attributes.h"
#include "foundation/configurations.h"
#include "foundation/validation_rules.h"
#include "incident/incident_forms.h"

namespace korad {

std::string MonitorKeys::Text(std::string_view key, std::string_view fallback) const {
  if (!m_configurations.Exists(key)) return std::string(fallback);
  const std::string_view value = TrimBlanks(m_configurations.Item(key)->Value());
  return std::string(value.empty() ? fallback : value);
}

std::optional<double> MonitorKeys::OptionalNumber(std::string_view key) const {
  const std::string text = Text(key);
  if (text.empty()) return std::nullopt;
  const std::optional<double> number = ParseNumber(text);
  if (!number || !std::isfinite(*number)) Invalid(key, text, "a number");
  return number;
}

double MonitorKeys::Number(std::string_view key, double fallback) const {
  return OptionalNumber(key).value_or(fallback);
}

bool MonitorKeys::Boolean(std::string_view key, bool fallback) const {
  const std::string text = NormalizeKey(Text(key));
  if (text.empty()) return fallback;
  if (text == "TRUE" || text == "YES" || text == "1") return true;
  if (text == "FALSE" || text == "NO" || text == "0") return false;
  Invalid(key, Text(key), "True or False");
}

std::vector<std::string> MonitorKeys::List(std::string_view key) const {
  std::vector<std::string> items;
  const std::string text = Text(key);
  for (std::string_view item : SplitNonEmpty(text, ',')) {
    const std::string_view trimmed = TrimBlanks(item);
    if (!trimmed.empty()) items.emplace_back(trimmed);
  }
  return items;
}

int32_t MonitorKeys::TimeoutMilliseconds(double fallbackSeconds) const {
  const double seconds = Number("TimeoutSeconds", fallbackSeconds);
  if (!(seconds > 0)) Invalid("TimeoutSeconds", Text("TimeoutSeconds"), "a positive number");
  return static_cast<int32_t>(std::min(seconds * 1000.0, static_cast<double>(INT32_MAX)));
}

void MonitorKeys::Invalid(std::string_view key, std::string_view value, std::string_view what) const {
  RaiseLibraryError(m_monitorId + ": " + std::string(key) + " = '" + std::string(value) + "' is not " +
                    std::string(what));
}

std::string NumberText(double value, int decimals) {
  const double scale = std::pow(10.0, decimals);
  return FormatDouble(std::round(value * scale) / scale);
}

std::string MegabytesText(uint64_t bytes) { return std::to_string(bytes / (1024 * 1024)); }

Value FormAttribute(std::string_view name, std::string_view value) {
  std::string text(name);
  text.append(":=").append(value);
  return Value(std::move(text));
}

std::shared_ptr<IncidentForm> ReportCondition(IncidentForms& forms, bool holds, std::string_view resource,
                                              std::string_view condition, std::vector<Value> attributes,
                                              bool reportUpdates, std::string_view keyAttributes) {
  std::vector<std::string> measured;
  if (reportUpdates) {
    for (const Value& attribute : attributes) {
      const std::string text = attribute.ToText();
      measured.push_back(text.substr(0, text.find(":=")));
    }
  }
  if (!keyAttributes.empty()) attributes.push_back(FormAttribute("KeyAttributes", keyAttributes));
  attributes.push_back(FormAttribute(kConditionHoldsAttribute, holds ? "True" : "False"));
  std::shared_ptr<IncidentForm> form = forms.Add(resource, condition, attributes);
  if (!form) return form;
  form->SetAlertStatus(holds ? AlertOn : AlertOff);
  // The engine sees an update where a relevant value changed: the condition holding again
  // always is one, the measured values only when the configuration asks for them.
  Attributes& added = *form->GetAttributes();
  measured.emplace_back(kConditionHoldsAttribute);
  for (const std::string& name : measured) {
    if (!added.Exists(name)) continue;
    if (const AttributeRef attribute = added.Item(Value(name))) attribute->SetRelevantToUpdates(true);
  }
  return form;
}

std::shared_ptr<IncidentForm> ReportProblem(IncidentForms& forms, std::string_view resource,
                                            std::string_view condition, std::vector<Value> attributes,
                                            bool reportUpdates, std::string_view keyAttributes) {
  return ReportCondition(forms, true, resource, condition, std::move(attributes), reportUpdates, keyAttributes);
}

void AddReportUpdatesRule(ValidationRules& rules) {
  rules.AddEx(kReportUpdatesKey, false, "True,False", "False",
              "Send an update of an open incident when its measured values change", "Boolean");
}

void AddNumberRule(ValidationRules& rules, std::string_view key, std::string_view defaultValue,
                   std::string_view description, std::string_view minimum, std::string_view maximum) {
  rules.AddEx(key, false, {}, defaultValue, description, "Number", false, minimum, maximum);
}

void TraceMonitor(const LogManagerRef& logManager, std::string_view monitorId, std::string_view text) {
  if (logManager) logManager->Log(text, monitorId, logLevelDebug);
}

}  // namespace korad
