#include "incident/incident_classes.h"

#include "contracts/class_registry.h"
#include "incident/inc_form_serialize.h"
#include "incident/incident_form.h"
#include "incident/incident_forms.h"
#include "incident/incident_state.h"
#include "incident/tracked_objects.h"
#include "incident/xml_serializer.h"

namespace korad {

void RegisterIncidentClasses(ClassRegistry& registry) {
  // A form needs itself as its Attributes' parent, so it is made by its own factory.
  registry.Register(IncidentForm::kClassId, [] { return std::static_pointer_cast<Object>(IncidentForm::Create()); });
  registry.RegisterClass<IncidentForms>(IncidentForms::kClassId);
  registry.RegisterClass<IncidentState>(IncidentState::kClassId);
  registry.RegisterClass<XMLSerializer>(XMLSerializer::kClassId);
  registry.RegisterClass<IncFormSerialize>(IncFormSerialize::kClassId);
  registry.RegisterClass<TrackedObjects>(TrackedObjects::kClassId);
  registry.RegisterClass<TrackedObject>(TrackedObject::kClassId);
  registry.RegisterClass<TOProperties>(TOProperties::kClassId);
  registry.RegisterClass<TOProperty>(TOProperty::kClassId);
}

}  // namespace korad
