// ActionManager::CreateAction: an action message, loaded into an ObjectMap, onto the
// Action. Keys are "PREFIX.Name"; the dialect is the table below, read top to bottom, the
// first row whose prefix and name (upper case) match deciding. A date entry is never used
// itself: its "...Universal" twin gives the value, under the name + "Universal".
#include <array>

#include "action/action.h"
#include "action/action_manager.h"
#include "action/active_event.h"
#include "action/user.h"
#include "contracts/class_registry.h"
#include "contracts/object_required.h"
#include "foundation/string_functions.h"
#include "platform/object_map.h"
#include "platform/scripting_compatible_dictionary.h"

namespace korad {
namespace {

enum class Target { Dropped, ActionAttributes, EventAttributes, UserAttributes, KeyData };

struct DialectRow {
  std::string_view prefix;
  std::string_view name;  // empty: any name
  Target target;
  std::string_view rename;  // empty: the name as the message spells it
};

constexpr std::array<DialectRow, 22> kDialect = {{
    {"ACTION", "EVENT", Target::Dropped, {}},
    {"ACTION", "VARIABLEMAP", Target::Dropped, {}},
    {"ACTION", "ALERTEXPRESSION", Target::Dropped, {}},
    {"ACTION", {}, Target::ActionAttributes, {}},
    {"USER", "ALERTS", Target::Dropped, {}},
    {"USER", "INITIALRESPONSEOCCURRENCE", Target::Dropped, {}},
    {"USER", "LASTRESPONSEOCCURRENCE", Target::Dropped, {}},
    {"USER", {}, Target::UserAttributes, {}},
    {"EVENT", "KEYDATA", Target::KeyData, {}},
    {"EVENT", "ACTIVE", Target::Dropped, {}},
    {"EVENT", "CLASSID", Target::Dropped, {}},
    {"EVENT", "OPEN", Target::Dropped, {}},
    {"EVENT", "SOURCEID", Target::Dropped, {}},
    {"EVENT", "TYPE", Target::Dropped, {}},
    {"EVENT", "EVENTID", Target::Dropped, {}},
    {"EVENT", "MONIKER", Target::Dropped, {}},
    {"EVENT", "USERS", Target::Dropped, {}},
    {"EVENT", "SOURCE", Target::EventAttributes, "Resource"},
    {"EVENT", "CLASS", Target::EventAttributes, "Condition"},
    {"EVENT", "SOURCEDESCRIPTION", Target::EventAttributes, "ResourceDescription"},
    {"EVENT", "CLASSDESCRIPTION", Target::EventAttributes, "ConditionDescription"},
    {"EVENT", {}, Target::EventAttributes, {}},
}};
// Any other prefix, or none.
constexpr DialectRow kOtherPrefix{{}, {}, Target::Dropped, {}};

const DialectRow& RowFor(std::string_view prefix, std::string_view name) {
  for (const DialectRow& row : kDialect) {
    if (row.prefix == prefix && (row.name.empty() || row.name == name)) return row;
  }
  return kOtherPrefix;
}

// The date entries of a map are read through their universal twins.
bool IsDate(const ObjectMap& map, int32_t position) { return map.ItemType(position) == ObjectMap::kVarDate; }

void CopyKeyData(const Value& item, ScriptingCompatibleDictionary& keys) {
  const std::shared_ptr<ObjectMap> nested = ObjectMap::MapOf(Value(item.ToObject()));
  if (!nested) RaiseRuntimeError(kErrTypeMismatch);
  keys.RemoveAll();
  for (int32_t i = 0; i < nested->Count(); ++i) {
    const std::string& key = nested->Key(i);
    // Set, not added: a date and its twin both arrive under the twin's key.
    if (IsDate(*nested, i)) {
      const std::string universal = key + std::string(ObjectMap::kUniversalSuffix);
      keys.SetItem(universal, nested->Item(universal));
    } else {
      keys.SetItem(key, nested->Item(i));
    }
  }
}

// Adds every attribute of `from` whose key AllAttributes doesn't hold yet.
void MergeInto(Attributes& all, const Attributes& from) {
  for (const AttributeRef& attribute : from) {
    if (!all.Exists(attribute->Key())) all.Add(attribute->Key(), attribute->Value());
  }
}

}  // namespace

void ActionManager::CreateAction(std::string_view actionString, std::shared_ptr<korad::Action>& action) {
  Guard("ActionManager.CreateAction: ", [&] {
    korad::Action& target = ObjectRequired(action);
    korad::ActiveEvent& event = ObjectRequired(target.ActiveEvent());
    Attributes& actionAttributes = ObjectRequired(target.GetAttributes());
    Attributes& eventAttributes = ObjectRequired(event.GetAttributes());
    Attributes& userAttributes = ObjectRequired(ObjectRequired(event.GetUser()).GetAttributes());
    if (!actionString.empty()) {
      auto map = CreateObjectAs<ObjectMap>(ObjectMap::kClassId);
      map->SetXml(actionString);
      for (int32_t i = 0; i < map->Count(); ++i) {
        const std::string& fullKey = map->Key(i);
        std::string prefix;
        const std::string name = SplitAtFirstDot(fullKey, prefix);
        const DialectRow& row = RowFor(UpperAscii(prefix), UpperAscii(name));
        Attributes* into = nullptr;
        switch (row.target) {
          case Target::Dropped:
            continue;
          case Target::KeyData:
            CopyKeyData(map->Item(i), ObjectRequired(event.KeyAttributes()));
            continue;
          case Target::ActionAttributes:
            into = &actionAttributes;
            break;
          case Target::EventAttributes:
            into = &eventAttributes;
            break;
          case Target::UserAttributes:
            into = &userAttributes;
            break;
        }
        const std::string key = row.rename.empty() ? name : std::string(row.rename);
        if (IsDate(*map, i)) {
          const std::string suffix(ObjectMap::kUniversalSuffix);
          into->Add(key + suffix, map->Item(fullKey + suffix));
        } else {
          into->Add(key, map->Item(i));
        }
      }
      target.SetRawEvent(actionString);
    }
    Attributes& all = ObjectRequired(target.AllAttributes());
    MergeInto(all, eventAttributes);
    MergeInto(all, actionAttributes);
    MergeInto(all, userAttributes);
  });
}

}  // namespace korad
