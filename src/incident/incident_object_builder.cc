#include "incident/incident_object_builder.h"

#include "platform/date_time_converter.h"

namespace korad {

std::string IncidentClass(const IncidentForm& form, int32_t classOverrideMode, std::string_view updatedClass,
                          std::string_view resolvedClass, OnceFormMark onceMark) {
  const bool overrides = classOverrideMode >= 1;
  const auto changed = [&](bool mark) {
    if (!mark) return form.Condition();
    return overrides && !IsBlank(updatedClass) ? std::string(updatedClass) : form.Condition() + "(Updated)";
  };
  switch (form.AlertStatus()) {
    case AlertOff:
    case AlertOffPending:
      return overrides && !IsBlank(resolvedClass) ? std::string(resolvedClass) : form.Condition() + "(Resolved)";
    case AlertOn:
      return changed(form.UpdateOccurred());
    case AlertOnce:
      return changed(onceMark == OnceFormMark::kMergeMark ? form.OnceUpdateOccurred() : form.UpdateOccurred());
    default:
      return std::string();  // no class for a status outside the four
  }
}

IncidentObject CreateIncidentObject(IncidentForm& form, int32_t classOverrideMode, std::string_view updatedClass,
                                    std::string_view resolvedClass) {
  IncidentObject incident;
  incident.SetItem("Class",
                  Value(IncidentClass(form, classOverrideMode, updatedClass, resolvedClass, OnceFormMark::kMergeMark)));
  incident.SetItem("OccurrenceUniversal", Value(DateTimeConverter::ToUniversalText(form.OccurrenceTimeUTC())));
  if (form.Priority() != 0) incident.SetItem("Priority", Value(form.Priority()));
  incident.SetItem("Source", Value(form.Resource()));
  for (const AttributeRef& attribute : *form.GetAttributes()) incident.SetItem(attribute->Key(), attribute->Value());
  return incident;
}

}  // namespace korad
