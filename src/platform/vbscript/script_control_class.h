// Registration of the script host by its class id.
#pragma once

namespace korad {

class ClassRegistry;

// Registers "MSScriptControl.ScriptControl" (VbScriptControl).
void RegisterScriptControl(ClassRegistry& registry);

}  // namespace korad
