// Registration of the platform components that callers create by class id.
#pragma once

namespace korad {

class ClassRegistry;

// Registers "mvKernel.ObjectMap".
void RegisterPlatformClasses(ClassRegistry& registry);

}  // namespace korad
