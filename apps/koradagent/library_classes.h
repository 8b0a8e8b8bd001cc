// Every class of the library that a service file or a plug-in may create by class id.
#pragma once

namespace korad {
class ClassRegistry;
}

namespace korad::agent {

// Safe to call more than once: ids already present are left as they are.
void RegisterLibraryClasses(ClassRegistry& registry);

}  // namespace korad::agent
