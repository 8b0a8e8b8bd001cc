#include "foundation/module_properties.h"

#include <vector>

#include "contracts/text.h"
#include "foundation/global_functions.h"
#include "platform/file_system.h"
#include "platform/platform.h"
#include "platform/scripting_dictionary.h"

namespace korad {
namespace {

constexpr std::string_view kPropertiesFile = "/ModuleConfigs/Module.pro";
constexpr std::string_view kGlobalModule = "GLOBAL";

// The parts of one line; `valid` is false for a line that doesn't fit the grammar.
struct PropertyLine {
  bool valid = true;
  std::string mapKey;
  std::string module;
  std::string config;
  std::string name;
  std::string value;
};

PropertyLine ParseLine(std::string_view line, const LogManagerRef& logManager, std::string_view category) {
  PropertyLine parsed;
  const size_t equals = line.find('=');
  const size_t dot = line.find('.');
  if (equals == std::string_view::npos || dot == std::string_view::npos) {
    parsed.valid = false;
    return parsed;
  }
  parsed.mapKey = UpperAscii(line.substr(0, equals));
  parsed.module = UpperAscii(line.substr(0, dot));
  std::string_view rest = line.substr(dot + 1);
  const bool isGlobal = parsed.module == kGlobalModule;
  if (!isGlobal) {
    // Up to the end of the line, value included: see the note on MOD.KEY=1.5 in the header.
    if (const size_t configDot = rest.find('.'); configDot != std::string_view::npos) {
      if (logManager) logManager->Log("LoadProperties config level setting", category, logLevelDebug);
      parsed.config = UpperAscii(rest.substr(0, configDot));
      rest = rest.substr(configDot + 1);
    }
  }
  const size_t nameEnd = rest.find('=');
  if (nameEnd == std::string_view::npos) {
    parsed.valid = false;
    return parsed;
  }
  parsed.name = UpperAscii(rest.substr(0, nameEnd));
  parsed.value = std::string(rest.substr(nameEnd + 1));
  return parsed;
}

// Lines as the host's line input reads them: CR, LF or CRLF ends a line, and a last line
// without an end counts.
std::vector<std::string_view> SplitLines(std::string_view text) {
  std::vector<std::string_view> lines;
  size_t start = 0;
  while (start < text.size()) {
    const size_t end = text.find_first_of("\r\n", start);
    if (end == std::string_view::npos) {
      lines.push_back(text.substr(start));
      break;
    }
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
    if (text[end] == '\r' && start < text.size() && text[start] == '\n') ++start;
  }
  return lines;
}

}  // namespace

std::shared_ptr<ScriptingDictionary> LoadProperties(std::string_view moduleName, const LogManagerRef& logManager) {
  auto log = [&](const std::string& text) {
    if (logManager) logManager->Log(text, moduleName, logLevelDebug);
  };
  auto properties = std::make_shared<ScriptingDictionary>();
  log("LoadProperties started");
  const std::string path = GetHomeDirectory() + std::string(kPropertiesFile);
  if (!FileExists(path)) {
    log("LoadProperties complete");
    return properties;
  }
  const std::string text = Platform::Current().GetFileSystem().ReadFile(path);
  log("LoadProperties opening module.pro");
  const std::string filter = UpperAscii(moduleName);
  for (std::string_view line : SplitLines(text)) {
    log("LoadProperties loaded line " + std::string(line));
    const PropertyLine parsed = ParseLine(line, logManager, moduleName);
    log("LoadProperties checking Global or " + parsed.module + " = " + filter);
    if (!parsed.valid || (parsed.module != filter && parsed.module != kGlobalModule)) continue;

    auto property = std::make_shared<ModuleProp>();
    property->ModuleName = parsed.module;
    property->Key = parsed.name;
    property->Value = parsed.value;
    if (parsed.module != kGlobalModule) {
      if (IsNumeric(korad::Value(parsed.config))) {
        property->ConfigID = korad::Value(parsed.config).ToLong();
      } else {
        property->Config = parsed.config;
      }
    }
    log("LoadProperties adding key = " + parsed.mapKey + " with value = " + parsed.value + " (" + parsed.module +
        "," + parsed.config + "," + parsed.name + ")");
    if (properties->Exists(parsed.mapKey)) {
      properties->SetItem(parsed.mapKey, korad::Value(ObjectRef(property)));
      log("LoadProperties overwriting existing key");
    } else {
      properties->Add(parsed.mapKey, korad::Value(ObjectRef(property)));
      log("LoadProperties adding new key");
    }
  }
  log("LoadProperties complete");
  return properties;
}

const ModuleProp* FindModuleProp(const ScriptingDictionary& properties, std::string_view mapKey) {
  const korad::Value* item = properties.Find(mapKey);
  if (!item) return nullptr;
  const ObjectRef* object = item->AsObject();
  return object ? dynamic_cast<const ModuleProp*>(object->get()) : nullptr;
}

const DispatchTable<ModuleProp>& ModuleProp::Dispatch() {
  static const DispatchTable<ModuleProp> table = [] {
    DispatchTable<ModuleProp> t;
    auto text = [&t](const char* name, std::string ModuleProp::*field) {
      t.Property(name, [field](ModuleProp& p) { return korad::Value(p.*field); },
                 [field](ModuleProp& p, const korad::Value& v) { p.*field = v.ToText(); });
    };
    text("ModuleName", &ModuleProp::ModuleName);
    text("Config", &ModuleProp::Config);
    text("Key", &ModuleProp::Key);
    text("Value", &ModuleProp::Value);
    t.Property("ConfigID", [](ModuleProp& p) { return korad::Value(p.ConfigID); },
               [](ModuleProp& p, const korad::Value& v) { p.ConfigID = v.ToLong(); });
    return t;
  }();
  return table;
}

}  // namespace korad
