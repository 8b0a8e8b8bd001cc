// Module.pro: the agent-wide overrides of module configuration values, at
// <home>/ModuleConfigs/Module.pro, one property a line:
//   GLOBAL.KEY=value            every module
//   MODULE.KEY=value            every configuration of a module
//   MODULE.CONFIG.KEY=value     one configuration (by section or by configuration name)
// The map key of a line is its text left of the first "=", upper-cased; values stay as
// written. There are no comments: lines that don't fit, or that belong to other modules,
// are skipped.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "contracts/interfaces.h"
#include "contracts/object.h"

namespace korad {

class ScriptingDictionary;

// One parsed line. A configuration part that is a number goes to ConfigID (rounded)
// and leaves Config blank; GLOBAL lines set neither.
class ModuleProp final : public Dispatchable<ModuleProp> {
 public:
  static constexpr std::string_view kClassId = "KORADevServices.ModuleProp";
  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<ModuleProp>& Dispatch();

  std::string ModuleName;
  std::string Config;
  std::string Key;
  std::string Value;
  int32_t ConfigID = 0;
};

using ModulePropRef = std::shared_ptr<ModuleProp>;

// Reads Module.pro afresh (edits count from the next call; nothing is cached) into a
// "MvSystem.ScriptingCompatibleDictionary" from map key to a Value holding the ModuleProp.
// Only lines of `moduleName` (any case) and GLOBAL lines are taken; of two lines with one
// map key the later wins. A missing file gives an empty map. Traces go to `logManager`
// under the module's name at level 7.
//
// A module line whose value holds a dot and no further "=" (MOD.KEY=1.5) splits at that
// dot as if it named a configuration, and is then dropped for want of an "=": module
// lines can't carry dotted values, GLOBAL lines and configuration lines can.
std::shared_ptr<ScriptingDictionary> LoadProperties(std::string_view moduleName, const LogManagerRef& logManager);

// The ModuleProp under `mapKey`, or nullptr.
const ModuleProp* FindModuleProp(const ScriptingDictionary& properties, std::string_view mapKey);

}  // namespace korad
