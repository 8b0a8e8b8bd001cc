#include "platform/incident_object.h"

#include "contracts/error.h"
#include "contracts/text.h"

namespace korad {
namespace {

bool HoldsLineEnd(std::string_view text) { return text.find_first_of("\r\n") != std::string_view::npos; }

[[noreturn]] void RaiseNoTextForm(std::string_view name, std::string_view why) {
  RaiseLibraryError("IncidentObject.TextForm: the item '" + std::string(name) + "' " + std::string(why));
}

}  // namespace

IncidentObject::IncidentObject() : m_map(std::make_shared<ObjectMap>()) {}

void IncidentObject::SetItem(std::string_view name, const Value& value) { m_map->Add(name, value); }

Value IncidentObject::Item(std::string_view name) const { return m_map->Item(name); }

std::string IncidentObject::Text() const { return m_map->Xml(); }

std::string IncidentObject::TextForm() const {
  std::string text(kTextFormHead);
  text += "\r\n";
  for (int32_t i = 0; i < m_map->Count(); ++i) {
    const std::string& name = m_map->Key(i);
    if (TrimBlanks(name).empty() || name.find('=') != std::string::npos || HoldsLineEnd(name) ||
        TrimBlanks(name).front() == ';') {
      RaiseNoTextForm(name, "has a name that can't begin a line of the text form");
    }
    const Value& item = m_map->Item(i);
    if (item.IsObject() || item.IsNull()) RaiseNoTextForm(name, "has no text");
    const std::string value = item.ToText();
    if (HoldsLineEnd(value)) RaiseNoTextForm(name, "holds a line end");
    if (TrimBlanks(value) != value) RaiseNoTextForm(name, "begins or ends with a blank");
    text.append(name).append("=").append(value).append("\r\n");
  }
  return text;
}

}  // namespace korad
