// Registration of the foundation's creatable classes.
#pragma once

namespace korad {

class ClassRegistry;

// Registers LogManager, RaiseErrLogManager and the interface classes. Safe to call more
// than once: ids already present are left as they are.
void RegisterFoundationClasses(ClassRegistry& registry);

}  // namespace korad
