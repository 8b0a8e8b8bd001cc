// The module configuration reader: a module's ini file (one section per configuration,
// plus an optional "Global" section whose keys every configuration shares) turned into
// Configurations, and a module's ValidationRules applied to them.
//
// Precedence of a value that a monitor finally sees, lowest first: the section's line;
// the "Global" section's line; GLOBAL.KEY of Module.pro; MODULE.KEY; MODULE.SECTION.KEY;
// MODULE.NAME.KEY (NAME being the section's mvConfigurationName). Within a section the
// first line of a key wins. Only the walker, GetNextConfiguration, applies Module.pro.
//
// Traces go to the log manager under the module's name at level 7.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "contracts/interfaces.h"
#include "contracts/value.h"
#include "foundation/section_readers.h"

namespace korad {

class Configurations;
class ValidationRules;

// Every section of `configSource`, one view each (select by ConfigMoniker), the "Global"
// section's keys in every view ahead of the section's own. `sections` receives the
// section names; a file without sections leaves it as passed, so pass it unset. A blank source gives an empty object. Raises "Specified configuration
// file does not exist" or "Could not retrieve sections from the configuration file"
// (the library's number); other errors pass through.
std::shared_ptr<Configurations> GetConfigurations(std::string_view moduleName, std::string_view configSource,
                                                  const LogManagerRef& logManager, SectionNameArray& sections);

// The next configuration after `lastSection`, skipping "Global". The caller reads
// `sections` (GetSectionNames) and `globalValues` (the "Global" section through
// ReadSectionIntoArray) once, passes an empty `lastSection` and index 0 first, then the
// moniker it got and the index returned. `noMoreSections` comes back True with an empty
// object when nothing is left, or when the source is blank or missing. Module.pro is
// read on every call and its overrides applied to the view. No handler: errors pass.
std::shared_ptr<Configurations> GetNextConfiguration(std::string_view moduleName, std::string_view lastSection,
                                                     std::string_view configSource, const LogManagerRef& logManager,
                                                     const SectionNameArray& sections, const SectionArray& globalValues,
                                                     int32_t& lastRunIndex, bool& noMoreSections);

// Applies the rules to the current view: fills defaults, then checks required keys and
// valid values (a comma-separated list compared trimmed and upper-cased). "Global" is
// never validated. True (a Boolean Value) when every rule passes; otherwise Empty, with
// `errorText` saying why. Passing keys get their validated mark.
Value ValidateConfigurations(Configurations& configurations, ValidationRules& validationRules,
                             std::string& errorText);

}  // namespace korad
