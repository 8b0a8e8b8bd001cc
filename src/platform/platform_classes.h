// Registration of the platform components that callers create by class id.
#pragma once

namespace korad {

class ClassRegistry;

// Registers "mvKernel.ObjectMap", the connector message, the directory connector and
// the connector look-up ("mvSystem.Configurations"), "mvSystem.Application" and
// "MvSystem.ScriptingCompatibleDictionary".
void RegisterPlatformClasses(ClassRegistry& registry);

}  // namespace korad
