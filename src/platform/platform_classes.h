// Registration of the platform components that callers create by class id.
#pragma once

namespace korad {

class ClassRegistry;

// Registers "mvKernel.ObjectMap", the connector message, the directory connector and
// the connector look-up ("mvSystem.Configurations") and "mvSystem.Application".
void RegisterPlatformClasses(ClassRegistry& registry);

}  // namespace korad
