// The "MvSystem.ScriptingCompatibleDictionary" component as an object made by class id:
// a ScriptingDictionary that can travel in a Value and be handed to plug-ins.
#pragma once

#include <string_view>

#include "contracts/object.h"
#include "platform/scripting_dictionary.h"

namespace korad {

class ClassRegistry;

class ScriptingCompatibleDictionary final : public Dispatchable<ScriptingCompatibleDictionary>,
                                            public ScriptingDictionary {
 public:
  static constexpr std::string_view kClassId = ScriptingDictionary::kClassId;
  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<ScriptingCompatibleDictionary>& Dispatch();
};

void RegisterScriptingCompatibleDictionary(ClassRegistry& registry);

}  // namespace korad
