#include "platform/scripting_compatible_dictionary.h"

#include "contracts/class_registry.h"

namespace korad {

const DispatchTable<ScriptingCompatibleDictionary>& ScriptingCompatibleDictionary::Dispatch() {
  static const DispatchTable<ScriptingCompatibleDictionary> table = [] {
    using D = ScriptingCompatibleDictionary;
    DispatchTable<D> t;
    t.Property("Count", [](D& d) { return Value(static_cast<int32_t>(d.Count())); });
    t.Property(
        "CompareMode", [](D& d) { return Value(static_cast<int32_t>(d.GetCompareMode())); },
        [](D& d, const Value& v) { d.SetCompareMode(static_cast<CompareMode>(v.ToLong())); });
    t.Call("RemoveAll", [](D& d) {
      d.RemoveAll();
      return Value();
    });
    return t;
  }();
  return table;
}

void RegisterScriptingCompatibleDictionary(ClassRegistry& registry) {
  registry.RegisterClass<ScriptingCompatibleDictionary>(ScriptingCompatibleDictionary::kClassId);
}

}  // namespace korad
