// Attribute and Attributes: the named values that travel with incidents, actions, events
// and users. A container may stand in front of a parent with typed properties of its own:
// names in the parent's standard list are then read and written as the parent's
// properties, by name, and never live in the container.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "contracts/collection.h"
#include "contracts/error_reporter.h"
#include "contracts/object.h"

namespace korad {

class Attributes;

class Attribute final : public Dispatchable<Attribute>, public ErrorReporter {
 public:
  static constexpr std::string_view kClassId = "KORADevServices.Attribute";
  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<Attribute>& Dispatch();

  const korad::Value& Value() const noexcept { return m_value; }
  // Stores the text of `value`. Once a text is held, a new one passes the environment,
  // registry and date substitutions first; a changed value of an attribute relevant to
  // updates marks the parent container as updated.
  void SetValue(const korad::Value& value);
  const std::string& Key() const noexcept { return m_key; }
  // Settable once; held without blanks.
  void SetKey(std::string_view key);
  bool RelevantToUpdates() const noexcept { return m_relevantToUpdates; }
  void SetRelevantToUpdates(bool relevant) noexcept { m_relevantToUpdates = relevant; }

  void SetParent(std::weak_ptr<Attributes> parent) { m_parent = std::move(parent); }

 private:
  korad::Value m_value;
  std::string m_key;
  bool m_relevantToUpdates = false;
  bool m_valueAssigned = false;
  bool m_keyAssigned = false;
  // The container owns its attributes, so the way back isn't counted.
  std::weak_ptr<Attributes> m_parent;
};

using AttributeRef = std::shared_ptr<Attribute>;

class Attributes final : public Dispatchable<Attributes>, public ErrorReporter {
 public:
  static constexpr std::string_view kClassId = "KORADevServices.Attributes";
  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<Attributes>& Dispatch();
  ~Attributes() override;

  // The new or existing custom attribute; an empty reference for a standard name, which
  // goes to the parent's property instead.
  AttributeRef Add(std::string_view key, const korad::Value& value);
  // By key (a String) or by position (a number); other kinds are ignored.
  void Remove(const korad::Value& index);
  // By key (a String, not normalised) or by position (a number).
  AttributeRef Item(const korad::Value& index);
  int32_t Count() const;
  auto begin() const { return m_custom.begin(); }
  auto end() const { return m_custom.end(); }

  // A standard name always exists; with a value, the comparison is exact on the text.
  bool Exists(std::string_view key, const std::optional<korad::Value>& value = std::nullopt);
  bool BeginsWith(std::string_view key, std::string_view value);
  // Substring tests against a comma list, kept as they have always been: AB is in CAB,D.
  bool InSet(std::string_view key, std::string_view inSetString);

  void RemoveAll();
  // Set once; a later set leaves the first list in place.
  void SetParentStandardAttributes(std::vector<std::string> upperCaseNames);
  bool InStandardAttributes(std::string_view key) const;
  const ObjectRef& Parent() const noexcept { return m_parent; }
  void SetParent(ObjectRef parent) { m_parent = std::move(parent); }
  bool UpdateOccurred() const noexcept { return m_updateOccurred; }
  void SetUpdateOccurred(bool occurred) noexcept { m_updateOccurred = occurred; }
  // "0".."3" for the names and numbers of AlertStatusEnum when `key` is AlertStatus;
  // an unknown status reads as "2". Empty for any other key.
  std::string TranslateAlertStatus(std::string_view key, std::string_view value) const;

 private:
  AttributeRef FindCustom(std::string_view key) const;
  korad::Value ParentProperty(std::string_view key) const;
  // Runs `test` on the custom attribute's text and, failing that, on the parent's
  // property when the key is a standard name.
  template <class Test>
  bool TestValue(std::string_view key, Test&& test);

  Collection<AttributeRef> m_custom;
  std::vector<std::string> m_standardNames;  // held as lookup keys
  bool m_standardNamesSet = false;
  ObjectRef m_parent;
  bool m_updateOccurred = false;
};

using AttributesRef = std::shared_ptr<Attributes>;

}  // namespace korad
