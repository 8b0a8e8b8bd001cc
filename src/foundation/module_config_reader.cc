#include "foundation/module_config_reader.h"

#include <string>
#include <vector>

#include "contracts/error.h"
#include "contracts/text.h"
#include "foundation/configurations.h"
#include "foundation/global_functions.h"
#include "foundation/macros.h"
#include "foundation/module_properties.h"
#include "foundation/validation_rules.h"
#include "platform/scripting_dictionary.h"

namespace korad {
namespace {

constexpr std::string_view kGlobalSection = "GLOBAL";
constexpr std::string_view kPropertyToken = "[?mvProperty.";

// Traces of the reader: level 7 under the module's name.
class Trace {
 public:
  Trace(const LogManagerRef& logManager, std::string_view moduleName)
      : m_logManager(logManager), m_category(moduleName) {}
  void operator()(const std::string& text) const {
    if (m_logManager) m_logManager->Log(text, m_category, logLevelDebug);
  }

 private:
  const LogManagerRef& m_logManager;
  std::string_view m_category;
};

std::shared_ptr<Configurations> NewConfigurations(const LogManagerRef& logManager) {
  auto configurations = std::make_shared<Configurations>();
  configurations->SetLogManager(logManager);
  return configurations;
}

// The walker upper-cases names; the full reader normalises them. Section names come
// trimmed from the profile, so the two agree.
bool IsGlobalName(std::string_view name) { return UpperAscii(name) == kGlobalSection; }

const std::string& SectionAt(const std::vector<std::string>& sections, int64_t index) {
  if (index < 0 || index >= static_cast<int64_t>(sections.size())) RaiseRuntimeError(kErrSubscriptRange);
  return sections[static_cast<size_t>(index)];
}

// The walker's choice of the next section, never "Global": on the first call the section
// at `index` (or the one after it if that is "Global"), later the one after `index` (or
// the one after that if "Global" is in between). Moves `index` to the chosen section.
bool PickSection(const std::vector<std::string>& sections, bool firstCall, int32_t& index, std::string& picked) {
  const int64_t last = static_cast<int64_t>(sections.size()) - 1;
  if (firstCall) {
    const std::string& current = SectionAt(sections, index);
    if (!IsGlobalName(current)) {
      picked = current;
      return true;
    }
    if (index < last) {
      index += 1;
      picked = SectionAt(sections, index);
      return true;
    }
    return false;
  }
  if (index >= last) return false;
  const std::string& next = SectionAt(sections, int64_t{index} + 1);
  if (!IsGlobalName(next)) {
    index += 1;
    picked = next;
    return true;
  }
  if (int64_t{index} + 2 <= last) {
    index += 2;
    picked = SectionAt(sections, index);
    return true;
  }
  return false;
}

// Module.pro over the current view: GLOBAL.KEY, then MODULE.KEY, then MODULE.SECTION.KEY,
// then MODULE.NAME.KEY, each later one winning; then property macros in whatever value
// results.
void ApplyModuleProperties(Configurations& view, ScriptingDictionary& properties, std::string_view moduleName,
                           const std::string& section, const LogManagerRef& logManager) {
  const Trace trace(logManager, moduleName);
  const std::string prefix = "GetNextConfiguration(" + section;
  trace(prefix + ") overwriting properties from module.pro file");

  std::string configurationName;
  for (const ConfigurationRef& configuration : view) {
    if (UpperAscii(configuration->Key()) == "MVCONFIGURATIONNAME") {
      configurationName = configuration->Value();
      trace(prefix + ") found key = " + configuration->Key());
    }
  }

  const std::string module = UpperAscii(moduleName);
  const std::string upperSection = UpperAscii(section);
  const std::string upperName = UpperAscii(configurationName);
  for (const ConfigurationRef& configuration : view) {
    const std::string key = UpperAscii(configuration->Key());
    auto take = [&](const std::string& mapKey, std::string_view matchText) {
      const ModuleProp* property = FindModuleProp(properties, mapKey);
      if (!property) return;
      trace(prefix + ") have property = " + mapKey);
      trace(prefix + std::string(matchText) + key + ". Setting value " + configuration->Value() + " to " +
            property->Value);
      configuration->SetValue(property->Value);
    };
    trace(prefix + ") checking for global overwrites - " + key);
    take("GLOBAL." + key, ") global level match for key ");
    trace(prefix + ") checking for module level matches");
    take(module + "." + key, ") mpdule level match for key ");
    trace(prefix + ") checking for config level matches");
    take(module + "." + upperSection + "." + key, ") config level match for key ");
    take(module + "." + upperName + "." + key, ") config level match for key ");

    if (configuration->Value().find(kPropertyToken) != std::string::npos) {
      trace(prefix + ") Replacing mvProperty value in configuration");
      Value text(configuration->Value());
      ReplaceProperties(text, section, configurationName, moduleName, properties, logManager);
      configuration->SetValue(*text.AsString());
    }
  }
}

}  // namespace

std::shared_ptr<Configurations> GetConfigurations(std::string_view moduleName, std::string_view configSource,
                                                  const LogManagerRef& logManager, SectionNameArray& sections) {
  const Trace trace(logManager, moduleName);
  auto configurations = NewConfigurations(logManager);
  trace("GetConfigurations - Configuration Source: " + std::string(configSource));
  if (IsBlank(configSource)) return configurations;
  if (!FileExists(configSource)) RaiseLibraryError("Specified configuration file does not exist");
  if (!GetSectionNames(configSource, sections)) {
    RaiseLibraryError("Could not retrieve sections from the configuration file");
  }
  if (!sections) return configurations;
  // The highest index, one less than the count: the trace has always read so.
  trace("GetConfigurations - Section Count: " + std::to_string(static_cast<int64_t>(sections->size()) - 1));

  bool hasGlobal = false;
  for (const std::string& name : *sections) hasGlobal = hasGlobal || NormalizeKey(name) == kGlobalSection;

  for (const std::string& name : *sections) {
    configurations->SetConfigMoniker(name);
    trace("GetConfigurations - Section Name: " + name);
    // "Global" first: the reader keeps what a view already holds, so its keys win.
    if (hasGlobal) ReadSectionIntoConfigurations(moduleName, configSource, "Global", *configurations, logManager);
    if (NormalizeKey(name) != kGlobalSection) {
      ReadSectionIntoConfigurations(moduleName, configSource, name, *configurations, logManager);
    }
    trace("GetConfigurations - Configs Count: " + std::to_string(configurations->Count()));
  }
  return configurations;
}

std::shared_ptr<Configurations> GetNextConfiguration(std::string_view moduleName, std::string_view lastSection,
                                                     std::string_view configSource, const LogManagerRef& logManager,
                                                     const SectionNameArray& sections, const SectionArray& globalValues,
                                                     int32_t& lastRunIndex, bool& noMoreSections) {
  const Trace trace(logManager, moduleName);
  auto configurations = NewConfigurations(logManager);
  noMoreSections = true;
  trace("GetNextConfiguration - Configuration Source: " + std::string(configSource) +
        " Last Run Index = " + std::to_string(lastRunIndex));

  std::string picked;
  bool havePick = false;
  trace("GetNextConfiguration - Checking valid file path");
  if (!IsBlank(configSource) && FileExists(configSource)) {
    trace(std::string("GetNextConfiguration - Valid file path - IsArray = ") + (sections ? "True" : "False"));
    if (sections) {
      trace("GetNextConfiguration - Numsections = " + std::to_string(sections->size()));
      havePick = PickSection(*sections, lastSection.empty(), lastRunIndex, picked);
    }
  }

  if (havePick) {
    noMoreSections = false;
    configurations->SetConfigMoniker(picked);
    if (globalValues) {
      for (const SectionEntry& entry : *globalValues) configurations->Add(entry.key, entry.value);
    }
    trace("GetConfigurations - Section Name: " + picked);
    if (!IsGlobalName(picked)) {
      ReadSectionIntoConfigurations(moduleName, configSource, picked, *configurations, logManager);
    }
    trace("GetConfigurations (Section" + picked + ") configs count: " + std::to_string(configurations->Count()));
  }

  const std::shared_ptr<ScriptingDictionary> properties = LoadProperties(moduleName, logManager);
  trace("GetNextConfiguration(" + picked + ") count = " + std::to_string(properties->Count()));
  if (configurations->Count() > 0 && properties->Count() > 0) {
    ApplyModuleProperties(*configurations, *properties, moduleName, picked, logManager);
  }
  return configurations;
}

Value ValidateConfigurations(Configurations& configurations, ValidationRules& validationRules,
                             std::string& errorText) {
  errorText.clear();
  try {
    const std::string& moniker = configurations.ConfigMoniker();
    if (NormalizeKey(moniker) == kGlobalSection) return Value(true);
    for (const ConfigurationRef& configuration : configurations) configuration->SetExcluded(false);

    for (const ValidationRuleRef& rule : validationRules) {
      const std::string& key = rule->Key;
      if (!rule->IsRequired && !configurations.Exists(key)) configurations.Add(key, rule->DefaultValue);
      if (rule->IsRequired && !IsBlank(rule->DefaultValue)) {
        if (!configurations.Exists(key) || configurations.IsEmpty(key)) configurations.Add(key, rule->DefaultValue);
      }
      if (rule->IsRequired && !configurations.Exists(key)) {
        errorText = "Could not find '" + key + "' configuration for Resource '" + moniker + "'";
        return Value();
      }
      if (!configurations.Exists(key)) {
        configurations.Add(key, "");
        if (ConfigurationRef added = configurations.Item(key)) added->SetExcluded(true);
        continue;
      }

      const ConfigurationRef configuration = configurations.Item(key);
      if (!configuration) return Value();
      const std::string& value = configuration->Value();
      const bool passes = NormalizeKey(rule->ValidValues).empty() ||
                          (TrimBlanks(value).empty() && !rule->IsRequired) || rule->ListsValue(value);
      if (!passes) {
        errorText = "Unacceptable value '" + value + "' for Key='" + key + "',Resource '" + moniker +
                    "' Valid Values: " + rule->ValidValues;
        return Value();
      }
      configuration->SetExcluded(true);
    }
    return Value(true);
  } catch (...) {
    return Value();
  }
}

}  // namespace korad
