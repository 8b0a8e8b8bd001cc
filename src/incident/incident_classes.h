// Registration of the incident subsystem's creatable classes.
#pragma once

namespace korad {

class ClassRegistry;

// Registers the forms, their collection, the state, both serializers and the tracked
// object classes. Safe to call more than once.
void RegisterIncidentClasses(ClassRegistry& registry);

}  // namespace korad
