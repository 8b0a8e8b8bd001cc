#include "foundation/foundation_classes.h"

#include "foundation/contracts/class_registry.h"
#include "foundation/interface_classes.h"
#include "foundation/log_manager.h"

namespace korad {

void RegisterFoundationClasses(ClassRegistry& registry) {
  registry.RegisterClass<LogManager>(LogManager::kClassId);
  registry.RegisterClass<RaiseErrLogManager>(RaiseErrLogManager::kClassId);
  registry.RegisterClass<EmptyLogManager>(EmptyLogManager::kClassId);
  registry.RegisterClass<EmptyMonitor>(EmptyMonitor::kClassId);
  registry.RegisterClass<EmptyActor>(EmptyActor::kClassId);
  registry.RegisterClass<EmptySerializable>(EmptySerializable::kClassId);
  registry.RegisterClass<EmptyRemoveModule>(EmptyRemoveModule::kClassId);
}

}  // namespace korad
