// IncidentForms: reading an incident string back into a form. Two text forms arrive: the
// "[Incident]" text form of line senders, and the object map form that the incident
// object writes. On the wire "Source" and "Class" stand for Resource and Condition.
#include "foundation/global_functions.h"
#include "incident/incident_forms.h"
#include "incident/message_value_check.h"
#include "platform/incident_object.h"
#include "platform/object_map.h"

namespace korad {
namespace {

// The form's name for a wire name.
std::string FormName(std::string_view name) {
  const std::string trimmed(TrimBlanks(name));
  const std::string key = NormalizeKey(trimmed);
  if (key == "SOURCE") return "Resource";
  if (key == "CLASS") return "Condition";
  return trimmed;
}

bool IsTextForm(std::string_view incidentString) {
  const std::string_view head = IncidentObject::kTextFormHead;
  return NormalizeKey(incidentString.substr(0, head.size())) == NormalizeKey(head);
}

void ReadTextForm(std::string_view incidentString, IncidentForm& form) {
  MessageValueCheck check;
  std::string_view rest = TrimBlanks(incidentString.substr(IncidentObject::kTextFormHead.size()));
  while (!rest.empty()) {
    const size_t lineEnd = rest.find("\r\n");
    // The text must end with a line end.
    if (lineEnd == std::string_view::npos) RaiseRuntimeError(kErrInvalidCall);
    const std::string_view line = rest.substr(0, lineEnd);
    rest.remove_prefix(lineEnd + 2);
    // The line end of the head leaves an empty line before the first item.
    if (line.empty() || line.front() == ';') continue;
    const size_t equals = line.find('=');
    const std::string_view key = line.substr(0, equals);
    const std::string_view value = equals == std::string_view::npos ? std::string_view() : line.substr(equals + 1);
    const Value trimmedValue(TrimBlanks(value));
    check.Validate(TrimBlanks(key), trimmedValue);
    form.GetAttributes()->Add(FormName(key), trimmedValue);
  }
}

void ReadMapForm(std::string_view incidentString, IncidentFormRef& form) {
  ObjectMap map;
  // Line ends carry no meaning in this form.
  map.SetXml(ReplaceText(incidentString, "\r\n", ""));
  form = IncidentForm::Create();
  for (int32_t i = 0; i < map.Count(); ++i) {
    form->GetAttributes()->Add(FormName(map.Key(i)), Value(TrimBlanks(map.Item(i).ToText())));
  }
}

}  // namespace

bool IncidentForms::CreateFormFromString(std::string_view incidentString, std::string_view resource) {
  bool result = false;
  IncidentFormRef form;
  try {
    if (!TrimBlanks(incidentString).empty()) {
      if (IsTextForm(incidentString)) {
        form = IncidentForm::Create();
        ReadTextForm(incidentString, *form);
      } else {
        ReadMapForm(incidentString, form);
      }
      AddNewIncidentForm(form);
      result = true;
    }
  } catch (...) {
    const Error failure = CurrentExceptionAsError();
    if (form && !result) form->Finalize();
    // Unlike the other handlers, this one names the resource it was reading for.
    const std::string description =
        "IncidentForms.CreateFormFromString(" + std::string(resource) + "): " + failure.Description();
    const LogManagerRef& log = GetLogManager();
    if (!log) throw Error(failure.Number(), std::string(kErrorCategory), description);
    log->Log(description, kErrorCategory, logLevelError);
  }
  return result;
}

}  // namespace korad
