#include "platform/object_map.h"

#include "contracts/error.h"
#include "contracts/error_reporter.h"
#include "platform/date_time_converter.h"
#include "platform/object_map_xml.h"

namespace korad {
namespace {

// The universal text of a local date; empty for a date outside the range, which has no
// moment to name (and which Xml refuses).
std::string UniversalTextOf(OleDate local) {
  if (!local.IsValid()) return {};
  const OleDate utc = DateTimeConverter().LocalToUtc(local);
  return utc.IsValid() ? DateTimeConverter::ToUniversalText(utc) : std::string();
}

// Runs `body`, raising what it throws with `prefix` before the description.
template <class Body>
void WithPrefix(std::string_view prefix, Body&& body) {
  TrapErrors(prefix, body, [](const std::string& description, int32_t number) {
    throw Error(number, std::string(), description);
  });
}

}  // namespace

const ObjectMap::Entry& ObjectMap::At(int32_t position) const {
  if (position < 0 || position >= Count()) RaiseRuntimeError(kErrSubscriptRange);
  return m_entries[static_cast<std::size_t>(position)];
}

const std::string& ObjectMap::Key(int32_t position) const { return At(position).key; }

const Value& ObjectMap::Item(int32_t position) const { return At(position).value; }

Value ObjectMap::Item(std::string_view key) const {
  const std::ptrdiff_t position = Find(key);
  return position < 0 ? Value() : m_entries[static_cast<std::size_t>(position)].value;
}

Value ObjectMap::Item(const Value& index) const {
  if (const std::string* key = index.AsString()) return Item(std::string_view(*key));
  if (!index.IsNumberKind()) RaiseRuntimeError(kErrTypeMismatch);
  return Item(index.ToLong());
}

int32_t ObjectMap::ItemType(int32_t position) const {
  const Value& value = At(position).value;
  switch (value.Kind()) {
    case ValueKind::Empty: return kVarEmpty;
    case ValueKind::Null: return kVarNull;
    case ValueKind::Integer: return kVarInteger;
    case ValueKind::Long: return kVarLong;
    case ValueKind::Single: return kVarSingle;
    case ValueKind::Double: return kVarDouble;
    case ValueKind::Boolean: return kVarBoolean;
    case ValueKind::Date: return kVarDate;
    case ValueKind::String: return kVarString;
    case ValueKind::Object: return kVarObject;
  }
  return kVarEmpty;
}

bool ObjectMap::IsUniversalTwin(int32_t position) const { return At(position).universalTwin; }

std::ptrdiff_t ObjectMap::Find(std::string_view key) const {
  auto it = m_index.find(key);
  return it == m_index.end() ? -1 : static_cast<std::ptrdiff_t>(it->second);
}

void ObjectMap::Put(std::string_view name, Value value, bool universalTwin) {
  const std::ptrdiff_t position = Find(name);
  if (position >= 0) {
    Entry& entry = m_entries[static_cast<std::size_t>(position)];
    entry.value = std::move(value);
    // A name the caller set itself stays written, even when a date refreshes it later.
    entry.universalTwin = entry.universalTwin && universalTwin;
    return;
  }
  m_entries.push_back(Entry{std::string(name), std::move(value), universalTwin});
  m_index.emplace(m_entries.back().key, m_entries.size() - 1);
}

void ObjectMap::Erase(std::size_t position) {
  m_entries.erase(m_entries.begin() + static_cast<std::ptrdiff_t>(position));
  Reindex();  // rare: only a date replaced by another kind loses its twin
}

void ObjectMap::Reindex() {
  m_index.clear();
  for (std::size_t i = 0; i < m_entries.size(); ++i) m_index.emplace(m_entries[i].key, i);
}

void ObjectMap::Add(std::string_view name, Value value) {
  const std::string twinName = std::string(name) + std::string(kUniversalSuffix);
  const bool isDate = value.Kind() == ValueKind::Date;
  const std::ptrdiff_t existing = Find(name);
  const bool wasDate =
      existing >= 0 && m_entries[static_cast<std::size_t>(existing)].value.Kind() == ValueKind::Date;

  const OleDate date = isDate ? value.ToDate() : OleDate();
  Put(name, std::move(value), false);
  if (isDate) {
    Put(twinName, Value(UniversalTextOf(date)), true);
  } else if (wasDate) {
    const std::ptrdiff_t twin = Find(twinName);
    if (twin >= 0 && m_entries[static_cast<std::size_t>(twin)].universalTwin) Erase(static_cast<std::size_t>(twin));
  }
}

void ObjectMap::AddDate(std::string_view name, OleDate local, OleDate utc) {
  Put(name, Value(local), false);
  Put(std::string(name) + std::string(kUniversalSuffix),
      Value(utc.IsValid() ? DateTimeConverter::ToUniversalText(utc) : std::string()), true);
}

void ObjectMap::Clear() noexcept {
  m_entries.clear();
  m_index.clear();
}

std::string ObjectMap::Xml() const {
  std::string text;
  WithPrefix("ObjectMap.XML(Get): ", [&] { text = WriteObjectMapXml(*this); });
  return text;
}

void ObjectMap::SetXml(std::string_view text) {
  WithPrefix("ObjectMap.XML(Let): ", [&] {
    ObjectMap loaded;
    ReadObjectMapXml(text, loaded);
    m_entries = std::move(loaded.m_entries);
    m_index = std::move(loaded.m_index);
  });
}

std::shared_ptr<ObjectMap> ObjectMap::MapOf(const Value& value) {
  const ObjectRef* object = value.AsObject();
  return object ? std::dynamic_pointer_cast<ObjectMap>(*object) : nullptr;
}

const DispatchTable<ObjectMap>& ObjectMap::Dispatch() {
  static const DispatchTable<ObjectMap> table = [] {
    DispatchTable<ObjectMap> t;
    t.Property("XML", [](ObjectMap& m) { return Value(m.Xml()); },
               [](ObjectMap& m, const Value& v) { m.SetXml(v.ToText()); });
    t.Property("Count", [](ObjectMap& m) { return Value(m.Count()); });
    return t;
  }();
  return table;
}

}  // namespace korad
