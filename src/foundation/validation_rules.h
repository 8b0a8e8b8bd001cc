// What a plug-in declares about its configuration keys: which are required, their
// defaults, their valid values and how they are shown.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "contracts/collection.h"
#include "contracts/error_reporter.h"
#include "contracts/object.h"

namespace korad {

class ValidationRule final : public Dispatchable<ValidationRule>, public ErrorReporter {
 public:
  static constexpr std::string_view kClassId = "KORADevServices.ValidationRule";
  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<ValidationRule>& Dispatch();

  // True when the comma-separated ValidValues names `value`, both compared trimmed and
  // upper-cased.
  bool ListsValue(std::string_view value) const;

  bool IsRequired = true;
  std::string Key;
  std::string ValidValues;
  std::string DefaultValue;
  std::string Description;
  std::string DataType = "String";
  bool IsRemote = false;
  std::string DisplayMethod;
  std::string MinimumValue;
  std::string MaximumValue;
};

using ValidationRuleRef = std::shared_ptr<ValidationRule>;

class ValidationRules final : public Dispatchable<ValidationRules>, public ErrorReporter {
 public:
  static constexpr std::string_view kClassId = "KORADevServices.ValidationRules";
  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<ValidationRules>& Dispatch();

  // Keys compare trimmed and upper-cased; a rule is stored under its key without blanks,
  // so "A B" is stored as "AB" and no longer found as "A B".
  bool Exists(std::string_view key) const;
  void Add(std::string_view key, bool isRequired = true, std::string_view validValues = {},
           std::string_view defaultValue = {}, std::string_view description = {});
  void AddEx(std::string_view key, bool isRequired = true, std::string_view validValues = {},
             std::string_view defaultValue = {}, std::string_view description = {},
             std::string_view dataType = "String", bool isRemote = false, std::string_view minimumValue = {},
             std::string_view maximumValue = {}, std::string_view displayMethod = {});
  // The rule, or an empty reference when there is none: no error.
  ValidationRuleRef Item(std::string_view key) const;
  int32_t Count() const;
  auto begin() const { return m_rules.begin(); }
  auto end() const { return m_rules.end(); }

 private:
  // Finds or creates the rule of `key`, for Add and AddEx, and sets the fields both take.
  ValidationRule& Upsert(std::string_view key);
  ValidationRule& Upsert(std::string_view key, bool isRequired, std::string_view validValues,
                         std::string_view defaultValue, std::string_view description);

  Collection<ValidationRuleRef> m_rules;
};

using ValidationRulesRef = std::shared_ptr<ValidationRules>;

}  // namespace korad
