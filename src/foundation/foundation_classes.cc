#include "foundation/foundation_classes.h"

#include "contracts/class_registry.h"
#include "foundation/attributes.h"
#include "foundation/configurations.h"
#include "foundation/interface_classes.h"
#include "foundation/log_manager.h"
#include "foundation/module_properties.h"
#include "foundation/validation_rules.h"

namespace korad {

void RegisterFoundationClasses(ClassRegistry& registry) {
  registry.RegisterClass<LogManager>(LogManager::kClassId);
  registry.RegisterClass<RaiseErrLogManager>(RaiseErrLogManager::kClassId);
  registry.RegisterClass<EmptyLogManager>(EmptyLogManager::kClassId);
  registry.RegisterClass<EmptyMonitor>(EmptyMonitor::kClassId);
  registry.RegisterClass<EmptyActor>(EmptyActor::kClassId);
  registry.RegisterClass<EmptySerializable>(EmptySerializable::kClassId);
  registry.RegisterClass<EmptyRemoveModule>(EmptyRemoveModule::kClassId);
  registry.RegisterClass<Attribute>(Attribute::kClassId);
  registry.RegisterClass<Attributes>(Attributes::kClassId);
  registry.RegisterClass<Configuration>(Configuration::kClassId);
  registry.RegisterClass<Configurations>(Configurations::kClassId);
  registry.RegisterClass<ValidationRule>(ValidationRule::kClassId);
  registry.RegisterClass<ValidationRules>(ValidationRules::kClassId);
  registry.RegisterClass<ModuleProp>(ModuleProp::kClassId);
}

}  // namespace korad
