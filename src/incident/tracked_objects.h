// Tracked objects: the inventory a plug-in reports beside its incidents. Named objects of
// a resource, each with named, dated properties, collected during GetIncident and sent
// as one XML text for the data collection queue (see tracked_objects_xml.h).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "contracts/collection.h"
#include "contracts/error_reporter.h"
#include "contracts/object.h"

namespace korad {

class TOProperty final : public Dispatchable<TOProperty>, public ErrorReporter {
 public:
  static constexpr std::string_view kClassId = "KORADevServices.TOProperty";
  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<TOProperty>& Dispatch();

  const std::string& PropertyName() const noexcept { return m_propertyName; }
  void SetPropertyName(std::string_view name);
  // Always holds a String: whatever is assigned is kept as its text.
  const korad::Value& PropertyValue() const noexcept { return m_propertyValue; }
  void SetPropertyValue(const korad::Value& value);
  const std::string& PropertyType() const noexcept { return m_propertyType; }
  void SetPropertyType(std::string_view type);
  // When the value was taken, as date text.
  const std::string& CollectionDate() const noexcept { return m_collectionDate; }
  void SetCollectionDate(std::string_view date);

 private:
  std::string m_propertyName;
  korad::Value m_propertyValue{std::string()};
  std::string m_propertyType;
  std::string m_collectionDate;
};

using TOPropertyRef = std::shared_ptr<TOProperty>;

class TOProperties final : public Dispatchable<TOProperties>, public ErrorReporter {
 public:
  static constexpr std::string_view kClassId = "KORADevServices.TOProperties";
  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<TOProperties>& Dispatch();

  // A String value has its macros expanded first. An empty `collectionDate` means now, as
  // local plain date text. A name already present only takes the new value: its date and
  // type stay.
  void Add(std::string_view propertyName, const korad::Value& propertyValue, std::string_view propertyType = {},
           std::string_view collectionDate = {});
  // By key (a String) or 1-based position (Integer, Long, Single or Double).
  void Remove(const korad::Value& index);
  TOPropertyRef Item(const korad::Value& index);
  int32_t Count() const;
  auto begin() const { return m_properties.begin(); }
  auto end() const { return m_properties.end(); }

  // Internal.
  void RemoveAll();

 private:
  Collection<TOPropertyRef> m_properties;
};

using TOPropertiesRef = std::shared_ptr<TOProperties>;

class TrackedObject final : public Dispatchable<TrackedObject>, public ErrorReporter {
 public:
  static constexpr std::string_view kClassId = "KORADevServices.TrackedObject";
  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<TrackedObject>& Dispatch();

  const std::string& ResourceName() const noexcept { return m_resourceName; }
  void SetResourceName(std::string_view name);
  const std::string& ObjectName() const noexcept { return m_objectName; }
  void SetObjectName(std::string_view name);
  const std::string& ObjectType() const noexcept { return m_objectType; }
  void SetObjectType(std::string_view type);
  const TOPropertiesRef& Properties() const noexcept { return m_objTOProp; }
  void SetProperties(TOPropertiesRef properties);

  // Internal. Hands the log manager on to the properties too.
  void SetLogManager(LogManagerRef logManager) override;

  // Created with the object; the field plug-ins know behind Properties.
  TOPropertiesRef m_objTOProp = std::make_shared<TOProperties>();

 private:
  std::string m_resourceName;
  std::string m_objectName;
  std::string m_objectType;
};

using TrackedObjectRef = std::shared_ptr<TrackedObject>;

class TrackedObjects final : public Dispatchable<TrackedObjects>, public ErrorReporter {
 public:
  static constexpr std::string_view kClassId = "KORADevServices.TrackedObjects";
  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<TrackedObjects>& Dispatch();

  // The key of an object: ResourceName + ":::" + ObjectName + ":::" + ObjectType.
  static std::string KeyOf(std::string_view resourceName, std::string_view objectName, std::string_view objectType);

  // The object under the key; adding one that is present returns the object already
  // listed, so later properties join it.
  TrackedObjectRef Add(std::string_view resourceName, std::string_view objectName, std::string_view objectType = {});
  // By 1-based position.
  void Remove(int16_t index);
  // By key (a String) or 1-based position (Integer, Long, Single or Double).
  TrackedObjectRef Item(const korad::Value& index);
  int32_t Count() const;
  // The count less one.
  int32_t CurrentObject() const;
  auto begin() const { return m_objects.begin(); }
  auto end() const { return m_objects.end(); }

  // Internal.
  void RemoveAll();

 private:
  Collection<TrackedObjectRef> m_objects;
};

using TrackedObjectsRef = std::shared_ptr<TrackedObjects>;

}  // namespace korad
