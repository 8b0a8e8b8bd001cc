#include "action/action_classes.h"

#include "action/action.h"
#include "action/action_manager.h"
#include "action/active_event.h"
#include "action/user.h"
#include "contracts/class_registry.h"

namespace korad {

void RegisterActionClasses(ClassRegistry& registry) {
  // The model's objects are their Attributes' parents, so each is made by its own factory.
  registry.Register(Action::kClassId, [] { return std::static_pointer_cast<Object>(Action::Create()); });
  registry.Register(ActiveEvent::kClassId, [] { return std::static_pointer_cast<Object>(ActiveEvent::Create()); });
  registry.Register(User::kClassId, [] { return std::static_pointer_cast<Object>(User::Create()); });
  registry.RegisterClass<ActionManager>(ActionManager::kClassId);
}

}  // namespace korad
