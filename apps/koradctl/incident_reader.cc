#include "incident_reader.h"

#include "contracts/error.h"
#include "contracts/text.h"
#include "foundation/attributes.h"
#include "incident/incident_forms.h"

namespace korad::ctl {
namespace {

constexpr std::string_view kResolvedSuffix = "(Resolved)";
constexpr std::string_view kUpdatedSuffix = "(Updated)";

bool EndsWithNoCase(std::string_view text, std::string_view suffix) {
  return text.size() >= suffix.size() && EqualsNoCase(text.substr(text.size() - suffix.size()), suffix);
}

bool IsEngineAttribute(std::string_view name) {
  return NormalizeKey(name).starts_with("MV") || EqualsNoCase(name, "OccurrenceUniversal") || EqualsNoCase(name, "Ack") ||
         EqualsNoCase(name, "AckUser") || EqualsNoCase(name, "AckTimeUniversal");
}

}  // namespace

std::pair<std::string, std::string> SplitConditionStatus(std::string_view condition) {
  for (const auto& [suffix, status] : {std::pair{kResolvedSuffix, "resolved"}, std::pair{kUpdatedSuffix, "updated"}}) {
    if (EndsWithNoCase(condition, suffix)) {
      return {status, std::string(TrimBlanks(condition.substr(0, condition.size() - suffix.size())))};
    }
  }
  return {"new", std::string(condition)};
}

IncidentSummary ReadIncident(std::string_view body) {
  // Without a log manager the reader raises what it can't read, which is what we want.
  IncidentForms forms;
  if (!forms.CreateFormFromString(body, "koradctl") || forms.AllForms().empty()) {
    RaiseLibraryError("the message body holds no incident");
  }
  const IncidentForm& form = *forms.AllForms().back();
  IncidentSummary summary;
  std::tie(summary.status, summary.condition) = SplitConditionStatus(form.Condition());
  summary.resource = form.Resource();
  summary.priority = form.Priority();
  for (const AttributeRef& attribute : *form.GetAttributes()) {
    const std::string value = attribute->Value().ToText();
    if (EqualsNoCase(attribute->Key(), "OccurrenceUniversal")) summary.time = value;
    summary.attributes.emplace_back(attribute->Key(), value);
  }
  for (std::string_view name : SplitNonEmpty(form.KeyAttributes(), ',')) {
    name = TrimBlanks(name);
    if (name.empty()) continue;
    std::string value;
    for (const auto& [key, text] : summary.attributes) {
      if (EqualsNoCase(key, name)) {
        value = text;
        break;
      }
    }
    summary.keyAttributes.emplace_back(std::string(name), std::move(value));
  }
  // An incident that doesn't name its key attributes is told apart by what its monitor
  // reported, which is everything but what the engine adds to every incident.
  if (form.KeyAttributes().empty()) {
    for (const auto& attribute : summary.attributes) {
      if (!IsEngineAttribute(attribute.first)) summary.keyAttributes.push_back(attribute);
    }
  }
  return summary;
}

}  // namespace korad::ctl
