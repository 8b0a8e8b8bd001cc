#include "incident/tracked_objects.h"

#include "foundation/macros.h"
#include "platform/clock.h"
#include "platform/date_time_converter.h"
#include "platform/platform.h"

namespace korad {
namespace {

// Both collections take their Index by its type name: text is a key, the four number
// kinds are 1-based positions, anything else (a Boolean, a date, Empty) is refused.
bool IsKeyIndex(const Value& index) {
  const std::string type = index.TypeName();
  if (type == "String") return true;
  if (type == "Integer" || type == "Long" || type == "Double" || type == "Single") return false;
  RaiseLibraryError("Could not identify the type of the Index parameter");
}

// The messages that differ between the two collections and their routines.
struct IndexTexts {
  std::string_view pastEnd;
  std::string_view notFoundSuffix;  // behind "Could Not Find The '" + key + "'"
};

constexpr IndexTexts kObjectItemTexts{"Index is greater than the number of tracked objects",
                                      " tracked object.  Please Verify That This Tracked Object Exists."};
constexpr IndexTexts kPropertyItemTexts{"Index is greater than the number of properties",
                                        " Property.  Please Verify That This Property Exists."};
constexpr IndexTexts kPropertyRemoveTexts{"Index is greater than count of properties", kPropertyItemTexts.notFoundSuffix};

// Raises the collection's own text for a key it lacks or a position past its end; what
// passes goes to the list's Value overloads, where positions below 1 fail.
template <class T>
void CheckIndex(const Collection<T>& list, const Value& index, const IndexTexts& texts) {
  if (IsKeyIndex(index)) {
    const std::string& key = *index.AsString();
    if (!list.Contains(key)) RaiseLibraryError("Could Not Find The '" + key + "'" + std::string(texts.notFoundSuffix));
  } else if (index.ToDouble() > list.Count()) {
    RaiseLibraryError(std::string(texts.pastEnd));
  }
}

std::string LocalNowText() {
  return DateTimeConverter::ToPlainText(Platform::Current().GetClock().LocalNow());
}

}  // namespace

// ---- TOProperty ----

void TOProperty::SetPropertyName(std::string_view name) {
  Guard("TOProperty.PropertyName(Let): ", [&] { m_propertyName = std::string(name); });
}

void TOProperty::SetPropertyValue(const korad::Value& value) {
  Guard("TOProperty.PropertyValue(Let): ", [&] { m_propertyValue = korad::Value(value.ToText()); });
}

void TOProperty::SetPropertyType(std::string_view type) {
  Guard("TOProperty.PropertyType(Let): ", [&] { m_propertyType = std::string(type); });
}

void TOProperty::SetCollectionDate(std::string_view date) {
  Guard("TOProperty.CollectionDate(Let): ", [&] { m_collectionDate = std::string(date); });
}

const DispatchTable<TOProperty>& TOProperty::Dispatch() {
  static const DispatchTable<TOProperty> table = [] {
    DispatchTable<TOProperty> t;
    using P = TOProperty;
    t.Property("PropertyType", [](P& p) { return korad::Value(p.PropertyType()); },
               [](P& p, const korad::Value& v) { p.SetPropertyType(v.ToText()); });
    t.Property("PropertyValue", [](P& p) { return p.PropertyValue(); },
               [](P& p, const korad::Value& v) { p.SetPropertyValue(v); });
    t.Property("CollectionDate", [](P& p) { return korad::Value(p.CollectionDate()); },
               [](P& p, const korad::Value& v) { p.SetCollectionDate(v.ToText()); });
    t.Property("PropertyName", [](P& p) { return korad::Value(p.PropertyName()); },
               [](P& p, const korad::Value& v) { p.SetPropertyName(v.ToText()); });
    return t;
  }();
  return table;
}

// ---- TOProperties ----

void TOProperties::Add(std::string_view propertyName, const korad::Value& propertyValue, std::string_view propertyType,
                       std::string_view collectionDate) {
  Guard("TOProperties.Add: ", [&] {
    korad::Value value = propertyValue;
    if (value.IsString()) ExpandMacros(value);  // a value may refer to the environment, the registry, dates

    auto property = std::make_shared<TOProperty>();
    if (GetLogManager()) property->SetLogManager(GetLogManager());
    property->SetPropertyValue(value);
    property->SetPropertyName(propertyName);
    property->SetPropertyType(propertyType);
    property->SetCollectionDate(collectionDate.empty() ? LocalNowText() : std::string(collectionDate));

    try {
      m_properties.Add(property, property->PropertyName());
    } catch (const Error& e) {
      if (e.Number() != kErrDuplicateKey) throw;
      // The first report keeps its date and type; only the value is news.
      (*m_properties.Find(property->PropertyName()))->SetPropertyValue(property->PropertyValue());
    }
  });
}

void TOProperties::Remove(const korad::Value& index) {
  Guard("TOProperties.Remove: ", [&] {
    CheckIndex(m_properties, index, kPropertyRemoveTexts);
    m_properties.Remove(index);
  });
}

TOPropertyRef TOProperties::Item(const korad::Value& index) {
  TOPropertyRef result;
  Guard("TOProperties.Item: ", [&] {
    CheckIndex(m_properties, index, kPropertyItemTexts);
    result = m_properties.Item(index);
  });
  return result;
}

int32_t TOProperties::Count() const { return m_properties.Count(); }

void TOProperties::RemoveAll() {
  Guard("TOProperties.RemoveAll: ", [&] { m_properties.Clear(); });
}

const DispatchTable<TOProperties>& TOProperties::Dispatch() {
  static const DispatchTable<TOProperties> table = [] {
    DispatchTable<TOProperties> t;
    t.Property("Count", [](TOProperties& p) { return korad::Value(p.Count()); });
    t.Call("RemoveAll", [](TOProperties& p) {
      p.RemoveAll();
      return korad::Value();
    });
    return t;
  }();
  return table;
}

// ---- TrackedObject ----

void TrackedObject::SetResourceName(std::string_view name) {
  Guard("TrackedObject.ResourceName(Let): ", [&] { m_resourceName = std::string(name); });
}

void TrackedObject::SetObjectName(std::string_view name) {
  Guard("TrackedObject.ObjectName(Let): ", [&] { m_objectName = std::string(name); });
}

void TrackedObject::SetObjectType(std::string_view type) {
  Guard("TrackedObject.ObjectType(Let): ", [&] { m_objectType = std::string(type); });
}

void TrackedObject::SetProperties(TOPropertiesRef properties) {
  Guard("TrackedObject.Properties(Let): ", [&] {
    if (!properties) RaiseRuntimeError(kErrObjectRequired);
    m_objTOProp = std::move(properties);
  });
}

void TrackedObject::SetLogManager(LogManagerRef logManager) {
  if (m_objTOProp) m_objTOProp->SetLogManager(logManager);
  ErrorReporter::SetLogManager(std::move(logManager));
}

const DispatchTable<TrackedObject>& TrackedObject::Dispatch() {
  static const DispatchTable<TrackedObject> table = [] {
    DispatchTable<TrackedObject> t;
    using O = TrackedObject;
    t.Property("Properties", [](O& o) { return korad::Value(ObjectRef(o.Properties())); },
               [](O& o, const korad::Value& v) { o.SetProperties(std::dynamic_pointer_cast<TOProperties>(v.ToObject())); });
    t.Property("ObjectType", [](O& o) { return korad::Value(o.ObjectType()); },
               [](O& o, const korad::Value& v) { o.SetObjectType(v.ToText()); });
    t.Property("ObjectName", [](O& o) { return korad::Value(o.ObjectName()); },
               [](O& o, const korad::Value& v) { o.SetObjectName(v.ToText()); });
    t.Property("ResourceName", [](O& o) { return korad::Value(o.ResourceName()); },
               [](O& o, const korad::Value& v) { o.SetResourceName(v.ToText()); });
    return t;
  }();
  return table;
}

// ---- TrackedObjects ----

std::string TrackedObjects::KeyOf(std::string_view resourceName, std::string_view objectName,
                                  std::string_view objectType) {
  std::string key(resourceName);
  key.append(":::").append(objectName).append(":::").append(objectType);
  return key;
}

TrackedObjectRef TrackedObjects::Add(std::string_view resourceName, std::string_view objectName,
                                     std::string_view objectType) {
  TrackedObjectRef result;
  Guard("TrackedObjects.Add: ", [&] {
    auto object = std::make_shared<TrackedObject>();
    if (GetLogManager()) object->SetLogManager(GetLogManager());
    object->SetResourceName(resourceName);
    object->SetObjectName(objectName);
    object->SetObjectType(objectType);
    const std::string key = KeyOf(resourceName, objectName, objectType);
    try {
      m_objects.Add(object, key);
      result = std::move(object);
    } catch (const Error& e) {
      if (e.Number() != kErrDuplicateKey) throw;
      result = *m_objects.Find(key);  // the new one is dropped
    }
  });
  return result;
}

void TrackedObjects::Remove(int16_t index) {
  Guard("TrackedObjects.Remove: ", [&] {
    if (index > m_objects.Count()) RaiseLibraryError("Index is greater than count of tracked objects");
    m_objects.Remove(static_cast<int32_t>(index));
  });
}

TrackedObjectRef TrackedObjects::Item(const korad::Value& index) {
  TrackedObjectRef result;
  Guard("TrackedObjects.Item: ", [&] {
    CheckIndex(m_objects, index, kObjectItemTexts);
    result = m_objects.Item(index);
  });
  return result;
}

int32_t TrackedObjects::Count() const { return m_objects.Count(); }

int32_t TrackedObjects::CurrentObject() const { return m_objects.Count() - 1; }

void TrackedObjects::RemoveAll() {
  Guard("TrackedObjects.RemoveAll: ", [&] { m_objects.Clear(); });
}

const DispatchTable<TrackedObjects>& TrackedObjects::Dispatch() {
  static const DispatchTable<TrackedObjects> table = [] {
    DispatchTable<TrackedObjects> t;
    t.Property("Count", [](TrackedObjects& o) { return korad::Value(o.Count()); });
    t.Property("CurrentObject", [](TrackedObjects& o) { return korad::Value(o.CurrentObject()); });
    t.Call("RemoveAll", [](TrackedObjects& o) {
      o.RemoveAll();
      return korad::Value();
    });
    return t;
  }();
  return table;
}

}  // namespace korad
