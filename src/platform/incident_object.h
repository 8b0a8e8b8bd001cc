// The incident object: the named items of one incident (Class, OccurrenceUniversal,
// Priority, Source, then the attributes), in the order they were set, and the incident
// string made of them. The string is the ObjectMap's XML, so that the reader of incident
// strings loads it back through an ObjectMap and the form is defined in one place.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "contracts/value.h"
#include "platform/object_map.h"

namespace korad {

class IncidentObject {
 public:
  static constexpr std::string_view kTextFormHead = "[Incident]";

  IncidentObject();

  // A name set before keeps its place and takes the new value.
  void SetItem(std::string_view name, const Value& value);
  // Empty when the name wasn't set.
  Value Item(std::string_view name) const;
  int32_t Count() const { return m_map->Count(); }
  const ObjectMap& Map() const { return *m_map; }

  // The incident string: the map's XML. Raises when an item has no text form.
  std::string Text() const;

  // The plain text form, for senders that write lines: "[Incident]" and a line
  // name + "=" + value per item, each line ending in "\r\n". It has no escaping, so it
  // raises for an item that wouldn't read back as set: a name that is blank, holds "="
  // or a line end, or begins with ";"; a value that holds a line end, begins or ends with
  // a blank, or has no text (a map, an object, Null).
  std::string TextForm() const;

 private:
  ObjectMapRef m_map;
};

}  // namespace korad
