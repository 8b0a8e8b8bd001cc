// CreateIncidentObject: the incident object of a form, as the engine sends it and as the
// control plane resends open events. The object's string is read back by
// IncidentForms::CreateFormFromString.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "incident/incident_form.h"
#include "platform/incident_object.h"

namespace korad {

// Which update flag decides the class of an AlertOnce form: the mark the merge gave it
// (what the incident object carries), or the form's own flag (the unit tester's text).
enum class OnceFormMark { kMergeMark, kOwnFlag };

// The reported condition: the condition, with "(Resolved)" for an off form and
// "(Updated)" for an updated one, unless `classOverrideMode` is at least 1 and the
// matching override class isn't blank.
std::string IncidentClass(const IncidentForm& form, int32_t classOverrideMode, std::string_view updatedClass,
                          std::string_view resolvedClass, OnceFormMark onceMark);

// Items in this order: "Class", "OccurrenceUniversal", "Priority" (only when not 0),
// "Source", then every attribute of the form. "Class" is the condition, with "(Resolved)"
// for an off form and "(Updated)" for an updated one, unless `classOverrideMode` is at
// least 1 and the matching override class isn't blank. Failures pass to the caller.
IncidentObject CreateIncidentObject(IncidentForm& form, int32_t classOverrideMode, std::string_view updatedClass,
                                    std::string_view resolvedClass);

}  // namespace korad
