#include "platform/platform_classes.h"

#include "contracts/class_registry.h"
#include "platform/application_object.h"
#include "platform/connector_directory.h"
#include "platform/object_map.h"
#include "platform/scripting_compatible_dictionary.h"

namespace korad {

void RegisterPlatformClasses(ClassRegistry& registry) {
  registry.RegisterClass<ObjectMap>(ObjectMap::kClassId);
  RegisterConnectorClasses(registry);
  RegisterApplicationClass(registry);
  RegisterScriptingCompatibleDictionary(registry);
}

}  // namespace korad
