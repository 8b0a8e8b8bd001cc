// Registration of the action engine's creatable classes.
#pragma once

namespace korad {

class ClassRegistry;

// Registers "KORADevServices.Action", "KORADevServices.ActiveEvent", "KORADevServices.User"
// and "KORADevServices.ActionManager". Safe to call more than once.
void RegisterActionClasses(ClassRegistry& registry);

}  // namespace korad
