#include "platform/application_object.h"

#include "contracts/class_registry.h"
#include "platform/platform.h"

namespace korad {

const DispatchTable<ApplicationObject>& ApplicationObject::Dispatch() {
  static const DispatchTable<ApplicationObject> table = [] {
    DispatchTable<ApplicationObject> t;
    t.Property("Status", [](ApplicationObject& self) { return Value(self.Status()); });
    return t;
  }();
  return table;
}

int32_t ApplicationObject::Status() { return Platform::Current().GetApplication().Status(); }

std::shared_ptr<LogWriter> ApplicationObject::Logger() { return Platform::Current().GetApplication().Logger(); }

void RegisterApplicationClass(ClassRegistry& registry) {
  registry.RegisterClass<ApplicationObject>(ApplicationObject::kClassId);
}

}  // namespace korad
