// Registration of the foundation's creatable classes.
#pragma once

namespace korad {

class ClassRegistry;

// Registers the log managers, the interface classes, attributes, configurations,
// validation rules and module properties. Safe to call more
// than once: ids already present are left as they are.
void RegisterFoundationClasses(ClassRegistry& registry);

}  // namespace korad
