// ActionManager: the configured defaults as initial attributes, the attribute rules of
// the actor, and the audit line.
#include <array>

#include "action/action.h"
#include "action/action_manager.h"
#include "action/active_event.h"
#include "action/user.h"
#include "contracts/object_required.h"
#include "foundation/configurations.h"
#include "foundation/string_functions.h"
#include "foundation/validation_rules.h"

namespace korad {
namespace {

// The collection a rule key names by its prefix, and the name within it.
Attributes& AttributesFor(std::string_view key, Action& action, std::string& name) {
  std::string prefix;
  name = SplitAtFirstDot(key, prefix);
  if (Attributes* named = action.CollectionOf(UpperAscii(prefix))) return *named;
  return ObjectRequired(action.AllAttributes());
}

std::string ValueText(Attributes& attributes, std::string_view name) {
  const AttributeRef item = attributes.Item(Value(name));
  return item ? item->Value().ToText() : std::string();
}

// The action's own plumbing, and a point-of-sale database connection value, stay out of the audit line.
constexpr std::array<std::string_view, 14> kUnloggedKeys = {
    "micros3700db",          "actionauditid", "actionguid",    "userid",  "actionmoniker",     "state",
    "remotecontrolentityid", "loglevel",      "updateeventid", "options", "eventoccurrenceid", "maintainorder",
    "retryinterval",         "defaulttimeout"};

bool Unlogged(std::string_view key) {
  const std::string lower = LowerAscii(key);
  if (lower.starts_with("mv")) return true;
  for (std::string_view unlogged : kUnloggedKeys) {
    if (lower == unlogged) return true;
  }
  return false;
}

}  // namespace

void ActionManager::FillInitialAttributes(const std::shared_ptr<Configurations>& configurations, Action& action) {
  Guard("ActionManager.FillInitialAttributes: ", [&] {
    Attributes& initial = ObjectRequired(action.InitialAttributes());
    if (initial.Count() >= 1) initial.RemoveAll();
    if (!configurations || configurations->Count() == 0) return;
    // Exactly the keys that no configuration rule claimed.
    for (const ConfigurationRef& configuration : *configurations) {
      if (!configuration->Excluded()) initial.Add(configuration->Key(), Value(configuration->Value()));
    }
  });
}

std::string ActionManager::GetAttributeOnly(std::string_view key) {
  std::string result;
  Guard("ActionManager.GetAttributeOnly: ", [&] {
    std::string prefix;
    result = SplitAtFirstDot(key, prefix);
  });
  return result;
}

bool ActionManager::AttrRuleExists(std::string_view key, Action& action) {
  bool result = false;
  Guard("ActionManager.AttrRuleExists: ", [&] {
    std::string name;
    Attributes& attributes = AttributesFor(key, action, name);
    result = attributes.Exists(name) && !ValueText(attributes, name).empty();
  });
  return result;
}

std::string ActionManager::ActionAttrValue(std::string_view key, Action& action) {
  std::string result;
  Guard("ActionManager.ActionAttrValue: ", [&] {
    std::string name;
    Attributes& attributes = AttributesFor(key, action, name);
    result = ValueText(attributes, name);
  });
  return result;
}

void ActionManager::AddAttributeDefaultValue(std::string_view key, std::string_view value, Action& action) {
  Guard("ActionManager.AddAttributeDefaultValue: ", [&] {
    std::string name;
    Attributes& attributes = AttributesFor(key, action, name);
    attributes.Add(name, Value(value));
    ObjectRequired(action.AllAttributes()).Add(GetAttributeOnly(key), Value(value));
  });
}

bool ActionManager::ValidateAttributes(Action& action, ValidationRules& rules, std::string& message) {
  message.clear();
  for (const ValidationRuleRef& rule : rules) {
    const std::string& key = rule->Key;
    if (rule->IsRequired) {
      if (!IsBlank(rule->DefaultValue) && !AttrRuleExists(key, action)) {
        AddAttributeDefaultValue(key, rule->DefaultValue, action);
      }
      if (!AttrRuleExists(key, action)) {
        message = "Could not find '" + key + "' attribute on action '" + m_configurationSection + "'";
        return false;
      }
    } else if (!AttrRuleExists(key, action)) {
      // An optional attribute always gets its default, blank or not.
      AddAttributeDefaultValue(key, rule->DefaultValue, action);
    }
    if (!AttrRuleExists(key, action)) continue;
    if (IsBlank(rule->ValidValues)) continue;

    const std::string value = ActionAttrValue(key, action);
    if (!rule->ListsValue(value)) {
      message = "Unacceptable value '" + value + "' for Key='" + key + "',Action '" + action.Moniker() +
                "' Valid Values: " + rule->ValidValues;
      return false;
    }
  }
  return true;
}

std::string ActionManager::BuildActionLogMessage(Action& action) {
  Attributes& event = *action.CollectionOf("EVENT");
  Attributes& user = *action.CollectionOf("USER");
  auto valueOr = [](Attributes& attributes, std::string_view key, std::string_view otherwise) {
    return attributes.Exists(key) ? ValueText(attributes, key) : std::string(otherwise);
  };
  std::string list;
  for (const AttributeRef& attribute : event) {
    if (Unlogged(attribute->Key())) continue;
    if (!list.empty()) list += ", ";
    list += attribute->Key() + "=" + attribute->Value().ToText();
  }
  std::string message = valueOr(event, "ConditionDescription", "Action") + " " +
                        valueOr(event, "ActionMoniker", "Unknown") + " initiated by user " +
                        valueOr(user, "Name", "Unknown") + " from computer " +
                        valueOr(event, "MvSourceComputer", "Unknown");
  if (!list.empty()) message += " (" + list + ").";
  return message;
}

}  // namespace korad
