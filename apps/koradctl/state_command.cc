#include "state_command.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "contracts/error.h"
#include "contracts/interfaces.h"
#include "ctl_format.h"
#include "ctl_options.h"
#include "incident/inc_form_serialize.h"
#include "incident/incident_forms.h"
#include "incident/incident_state.h"
#include "incident/xml_serializer.h"
#include "platform/file_system.h"
#include "platform/platform.h"
#include "platform/profile.h"

namespace korad::ctl {
namespace {

// Keeps what the serializers report at error level; their traces are of no interest here.
class ProblemLog final : public ILogManager {
 public:
  void Log(std::string_view description, std::string_view category, KORADSLog_Level logLevel) override {
    if (logLevel <= logLevelError) m_problems.emplace_back(description);
  }
  void LogInfo(std::string_view, std::string_view) override {}
  bool DetailLoggingOn() override { return false; }
  void SetDetailLoggingOn(bool) override {}

  const std::vector<std::string>& Problems() const { return m_problems; }

 private:
  std::vector<std::string> m_problems;
};

std::string ModuleLocation(std::string_view module) {
  const std::string serviceFile = Platform::Current().HomeDirectory() + "/BIN/MvAgent.ini";
  return GetPrivateProfileString(module, "SerializeLocation", "", serviceFile);
}

// The state's items grouped by configuration, in the order each first appears; within
// one, in the file's order.
void WriteState(std::ostream& out, IncidentState& state) {
  ScriptingDictionary& items = state.Dictionary();
  ScriptingDictionary& owners = state.AllConfigMonikers();
  std::vector<std::string> order;
  std::map<std::string, std::vector<std::string>> keysByMoniker;
  for (const std::string& rawKey : items.Keys()) {
    const Value* owner = owners.Find(rawKey);
    const std::string moniker = owner ? owner->ToText() : rawKey.substr(0, rawKey.find('-'));
    auto [entry, added] = keysByMoniker.try_emplace(moniker);
    if (added) order.push_back(moniker);
    entry->second.push_back(rawKey);
  }
  for (const std::string& moniker : order) {
    for (const std::string& rawKey : keysByMoniker[moniker]) {
      const size_t dash = rawKey.find('-');
      const std::string key = dash == std::string::npos ? rawKey : rawKey.substr(dash + 1);
      WriteStateItem(out, moniker, key, items.Item(rawKey).ToText());
    }
  }
}

}  // namespace

int StateShow(std::string_view module, std::string_view location, std::ostream& out, std::ostream& err) {
  const std::string folder = location.empty() ? ModuleLocation(module) : std::string(location);
  XMLSerializer stateSerializer;
  IncFormSerialize formSerializer;
  if (!folder.empty()) {
    stateSerializer.SetSerializeLocation(folder);
    formSerializer.SetSerializeLocation(folder);
  }
  const std::string statePath = stateSerializer.FilePath(module);
  const std::string formPath = formSerializer.FilePath(module);
  FileSystem& files = Platform::Current().GetFileSystem();
  const bool stateExists = files.Exists(statePath);
  const bool formsExist = files.Exists(formPath);
  if (!stateExists && !formsExist) {
    RaiseLibraryError("no state file " + statePath + " and no form file " + formPath + " for module '" +
                      std::string(module) + "'");
  }

  auto log = std::make_shared<ProblemLog>();
  auto state = std::make_shared<IncidentState>();
  state->SetLogManager(log);
  if (stateExists) stateSerializer.Load(state, module);
  WriteStateFileLine(out, statePath, stateExists, stateExists ? state->Dictionary().Count() : 0);
  if (stateExists) WriteState(out, *state);

  auto forms = std::make_shared<IncidentForms>();
  forms->SetLogManager(log);
  if (formsExist) formSerializer.Load(forms, module);
  WriteFormFileLine(out, formPath, formsExist, forms->AllForms().size());
  for (size_t i = 0; i < forms->AllForms().size(); ++i) WriteForm(out, i + 1, *forms->AllForms()[i]);

  for (const std::string& problem : log->Problems()) err << "koradctl: " << OneLine(problem) << '\n';
  return log->Problems().empty() ? kExitOk : kExitFailure;
}

}  // namespace korad::ctl
