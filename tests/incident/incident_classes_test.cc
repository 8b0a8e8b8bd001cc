// The incident classes are creatable by class id, as the host and plug-ins create them.
#include <gtest/gtest.h>

#include "contracts/class_registry.h"
#include "incident/incident_classes.h"
#include "incident/incident_form.h"
#include "platform/object_map.h"
#include "platform/platform_classes.h"

namespace korad {
namespace {

TEST(IncidentClasses, EveryClassIsCreatableByItsIdInAnyCase) {
  ClassRegistry registry;
  RegisterIncidentClasses(registry);
  RegisterPlatformClasses(registry);
  for (const char* id : {"KORADevServices.IncidentForms", "KORADevServices.IncidentState", "KORADevServices.XMLSerializer",
                         "KORADevServices.IncFormSerialize", "KORADevServices.TrackedObjects",
                         "KORADevServices.TrackedObject", "KORADevServices.TOProperties", "KORADevServices.TOProperty",
                         "mvkernel.objectmap"}) {
    ObjectRef made = registry.TryCreate(id);
    ASSERT_NE(made, nullptr) << id;
    EXPECT_TRUE(EqualsNoCase(made->ClassId(), id)) << id;
  }
  // A form made by id is wired to its Attributes: a standard name reaches the form.
  auto form = std::dynamic_pointer_cast<IncidentForm>(registry.TryCreate("koradevservices.incidentform"));
  ASSERT_NE(form, nullptr);
  form->GetAttributes()->Add("Resource", Value("disk C"));
  EXPECT_EQ(form->Resource(), "diskC");
  form->Finalize();
}

}  // namespace
}  // namespace korad
