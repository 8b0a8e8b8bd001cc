#include "library_classes.h"

#include "foundation/contracts/class_registry.h"
#include "foundation/foundation_classes.h"
#include "incident/incident_classes.h"
#include "platform/platform_classes.h"

namespace korad::agent {

void RegisterLibraryClasses(ClassRegistry& registry) {
  RegisterFoundationClasses(registry);
  RegisterIncidentClasses(registry);
  RegisterPlatformClasses(registry);
  // TODO(merge): the monitor engine and the script host are not in this tree yet. Add
  //   RegisterMonitorClasses(registry);   // monitor/monitor_manager.h
  //   RegisterScriptControl(registry);    // the script host's registration
  // here when they land.
}

}  // namespace korad::agent
