// How the engine writes values into its log lines and messages.
#pragma once
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "contracts/ole_date.h"
#include "contracts/value.h"
#include "foundation/attributes.h"
#include "incident/incident_form.h"

namespace korad {

inline std::string DateText(OleDate date) { return Value(date).ToText(); }
inline std::string BoolText(bool flag) { return Value(flag).ToText(); }

// The text of a custom attribute of the form; nullopt when it has none of that name.
inline std::optional<std::string> AttributeText(const IncidentForm& form, std::string_view name) {
  const AttributesRef& attributes = form.GetAttributes();
  if (!attributes || !attributes->Exists(name)) return std::nullopt;
  const AttributeRef attribute = attributes->Item(Value(std::string(name)));
  if (!attribute) return std::nullopt;
  return attribute->Value().ToText();
}

// The section names as the state serializer takes them: one text, comma-separated.
inline std::string SectionListText(const std::vector<std::string>& sections) {
  std::string text;
  for (const std::string& section : sections) {
    if (!text.empty()) text += ',';
    text += section;
  }
  return text;
}

}  // namespace korad
