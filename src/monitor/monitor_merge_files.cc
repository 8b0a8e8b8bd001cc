// What other components leave for a configuration between passes: merge state files
// (state items for the configuration, written by an action, say) and event close markers
// (a file named by the mvGUID of an open event that is to be dropped).
#include <string>
#include <vector>

#include "contracts/class_registry.h"
#include "foundation/log_manager.h"
#include "foundation/string_functions.h"
#include "incident/incident_forms.h"
#include "incident/incident_state.h"
#include "monitor/engine_text.h"
#include "monitor/monitor_manager.h"
#include "platform/file_system.h"
#include "platform/platform.h"
#include "platform/scripting_dictionary.h"

namespace korad {

void MonitorManager::MergeStateFiles(std::string_view moniker, const SectionNameArray& sections) {
  const std::string folder = m_homeDirectory + "/Serialize/";
  Trace("Looking for merge state files at " + folder);
  FileSystem& files = Platform::Current().GetFileSystem();
  std::vector<std::string> names = files.List(folder, "MI" + std::string(moniker) + "*.SER");
  for (const std::string& name : names) Trace("Found " + folder + name + " merge state file");
  SortStrings(names);

  for (const std::string& name : names) {
    auto merge = CreateObjectAs<IncidentState>(IncidentState::kClassId);
    merge->SetLogManager(m_logManager);
    Trace("Processing " + folder + name + " merge state file");
    const std::string mergeId = name.substr(0, name.size() >= 4 ? name.size() - 4 : 0);
    m_stateSerializer->Load(merge, mergeId);

    const size_t totalBefore = merge->Dictionary().Count();
    merge->SetConfigMoniker(moniker);
    if (merge->Count() > 0) {
      for (const std::string& key : merge->Keys()) {
        // Removing a date also removed its twin, which is then no longer there to merge.
        if (!merge->Exists(key)) continue;
        const Value value = merge->Item(key);
        if (m_incidentState->Exists(key)) {
          Trace("Merging " + key + "=" + value.ToText() + " into incident state");
          m_incidentState->LetItem(key, value);
        } else {
          Trace("Adding " + key + "=" + value.ToText() + " into incident state");
          m_incidentState->Add(key, value);
        }
        merge->Remove(key);
      }
    }

    if (merge->Dictionary().Count() > 0) {
      // Items of other configurations wait for theirs; the file changes only if we took some.
      if (merge->Dictionary().Count() != totalBefore) {
        Trace("Saving merge states");
        // Saved against the module's sections, so items of configurations that are gone go too.
        if (sections) m_stateSerializer->SetCurrentConfigs(Value(SectionListText(*sections)));
        m_stateSerializer->Save(merge, mergeId);
      }
    } else {
      Trace("Deleting merge states (all items have been merged)");
      try {
        files.RemoveFile(folder + name);
      } catch (...) {
      }
    }
  }
}

void MonitorManager::ProcessEventCloseMarkers() {
  Trace("Checking for EventClose ModuleMessages");
  const std::string folder = m_homeDirectory + "/ModuleMessages/" + m_moniker + "/";
  FileSystem& files = Platform::Current().GetFileSystem();
  const auto firstFile = [&]() -> std::string {
    for (const std::string& name : files.List(folder, "*")) {
      if (!files.IsDirectory(folder + name)) return name;
    }
    return {};
  };
  for (std::string name = firstFile(); !name.empty(); name = firstFile()) {
    Trace("Processing file..Removing " + folder + name);
    try {
      files.RemoveFile(folder + name);
    } catch (...) {
      Trace("Could not remove file " + folder + name + ": The file will not be processed.", logLevelWarningLow);
      break;
    }
    Trace("Found EventClose GUID " + name);
    m_incidentForms->SetFilter({Value("ConfigMoniker=ALL"), Value("mvGUID=" + name)});
    if (m_incidentForms->Count() > 0) {
      Trace("Found IncidentForm with GUID " + name + ". Removing this IncidentForm");
      m_incidentForms->MoveFirst();
      m_incidentForms->RemoveCurrentForm();
    }
    m_incidentForms->ResetFilter();
  }
  Trace("EventClose ModuleMessages check complete.");
}

}  // namespace korad
