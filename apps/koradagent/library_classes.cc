#include "library_classes.h"

#include "action/action_classes.h"
#include "contracts/class_registry.h"
#include "foundation/foundation_classes.h"
#include "incident/incident_classes.h"
#include "monitor/monitor_manager.h"
#include "platform/platform_classes.h"
#include "platform/vbscript/script_control_class.h"

namespace korad::agent {

void RegisterLibraryClasses(ClassRegistry& registry) {
  RegisterFoundationClasses(registry);
  RegisterIncidentClasses(registry);
  RegisterPlatformClasses(registry);
  RegisterMonitorClasses(registry);
  RegisterActionClasses(registry);
  RegisterScriptControl(registry);
}

}  // namespace korad::agent
