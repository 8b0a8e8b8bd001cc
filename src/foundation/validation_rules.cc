#include "foundation/validation_rules.h"

#include "contracts/text.h"

namespace korad {

bool ValidationRule::ListsValue(std::string_view value) const {
  const std::string wanted = NormalizeKey(value);
  std::string_view rest = ValidValues;
  for (;;) {
    const size_t comma = rest.find(',');
    if (NormalizeKey(rest.substr(0, comma)) == wanted) return true;
    if (comma == std::string_view::npos) return false;
    rest.remove_prefix(comma + 1);
  }
}

bool ValidationRules::Exists(std::string_view key) const {
  bool result = false;
  Guard("ValidationRules.Exists: ", [&] {
    const std::string wanted = NormalizeKey(key);
    for (const ValidationRuleRef& rule : m_rules) {
      if (NormalizeKey(rule->Key) == wanted) result = true;  // the whole list, no early exit
    }
  });
  return result;
}

ValidationRule& ValidationRules::Upsert(std::string_view key) {
  if (Exists(key)) return *m_rules.Item(key);
  auto rule = std::make_shared<ValidationRule>();
  rule->Key = StripSpaces(key);
  rule->SetLogManager(GetLogManager());
  return *m_rules.Add(rule, rule->Key);
}

ValidationRule& ValidationRules::Upsert(std::string_view key, bool isRequired, std::string_view validValues,
                                        std::string_view defaultValue, std::string_view description) {
  ValidationRule& rule = Upsert(key);
  rule.IsRequired = isRequired;
  rule.ValidValues = validValues;
  rule.DefaultValue = defaultValue;
  rule.Description = description;
  return rule;
}

void ValidationRules::Add(std::string_view key, bool isRequired, std::string_view validValues,
                          std::string_view defaultValue, std::string_view description) {
  Guard("ValidationRules.Add: ", [&] { Upsert(key, isRequired, validValues, defaultValue, description); });
}

void ValidationRules::AddEx(std::string_view key, bool isRequired, std::string_view validValues,
                            std::string_view defaultValue, std::string_view description,
                            std::string_view dataType, bool isRemote, std::string_view minimumValue,
                            std::string_view maximumValue, std::string_view displayMethod) {
  Guard("ValidationRules.AddEx: ", [&] {
    ValidationRule& rule = Upsert(key, isRequired, validValues, defaultValue, description);
    rule.DataType = dataType;
    rule.IsRemote = isRemote;
    rule.MinimumValue = minimumValue;
    rule.MaximumValue = maximumValue;
    rule.DisplayMethod = displayMethod;
  });
}

ValidationRuleRef ValidationRules::Item(std::string_view key) const {
  ValidationRuleRef result;
  Guard("ValidationRules.Item: ", [&] {
    if (Exists(key)) result = const_cast<Collection<ValidationRuleRef>&>(m_rules).Item(key);
  });
  return result;
}

int32_t ValidationRules::Count() const {
  int32_t result = 0;
  Guard("ValidationRules.Count(Get): ", [&] { result = m_rules.Count(); });
  return result;
}

const DispatchTable<ValidationRule>& ValidationRule::Dispatch() {
  static const DispatchTable<ValidationRule> table = [] {
    DispatchTable<ValidationRule> t;
    auto text = [&t](const char* name, std::string ValidationRule::*field) {
      t.Property(name, [field](ValidationRule& r) { return Value(r.*field); },
                 [field](ValidationRule& r, const Value& v) { r.*field = v.ToText(); });
    };
    auto flag = [&t](const char* name, bool ValidationRule::*field) {
      t.Property(name, [field](ValidationRule& r) { return Value(r.*field); },
                 [field](ValidationRule& r, const Value& v) { r.*field = v.ToBoolean(); });
    };
    flag("IsRequired", &ValidationRule::IsRequired);
    text("Key", &ValidationRule::Key);
    text("ValidValues", &ValidationRule::ValidValues);
    text("DefaultValue", &ValidationRule::DefaultValue);
    text("Description", &ValidationRule::Description);
    text("DataType", &ValidationRule::DataType);
    flag("IsRemote", &ValidationRule::IsRemote);
    text("DisplayMethod", &ValidationRule::DisplayMethod);
    text("MinimumValue", &ValidationRule::MinimumValue);
    text("MaximumValue", &ValidationRule::MaximumValue);
    return t;
  }();
  return table;
}

const DispatchTable<ValidationRules>& ValidationRules::Dispatch() {
  static const DispatchTable<ValidationRules> table = [] {
    DispatchTable<ValidationRules> t;
    t.Property("Count", [](ValidationRules& r) { return Value(r.Count()); });
    return t;
  }();
  return table;
}

}  // namespace korad
