#include "monitor/agent_monitor.h"

#include <optional>
#include <utility>
#include <vector>

#include "contracts/class_registry.h"
#include "contracts/error.h"
#include "contracts/error_reporter.h"
#include "foundation/attributes.h"
#include "foundation/global_functions.h"
#include "foundation/section_readers.h"
#include "incident/inc_form_serialize.h"
#include "incident/incident_form.h"
#include "incident/incident_forms.h"
#include "incident/incident_state.h"
#include "monitor/engine_text.h"
#include "monitor/event_close_message.h"
#include "platform/file_system.h"
#include "platform/platform.h"
#include "platform/profile.h"

namespace korad {
namespace {

constexpr std::string_view kEntryEnd = ":;:";
constexpr std::string_view kModuleEnd = "::";

// The pieces of `text` between separators, empty ones included; an empty text has none.
std::vector<std::string> Split(std::string_view text, std::string_view separator) {
  std::vector<std::string> parts;
  if (text.empty()) return parts;
  size_t start = 0;
  while (true) {
    const size_t at = text.find(separator, start);
    if (at == std::string_view::npos) {
      parts.emplace_back(text.substr(start));
      return parts;
    }
    parts.emplace_back(text.substr(start, at - start));
    start = at + separator.size();
  }
}

// The names written "[" + name + "]" in `text`, in order.
std::vector<std::string> BracketedNames(std::string_view text) {
  std::vector<std::string> names;
  size_t start = 0;
  while (true) {
    const size_t open = text.find('[', start);
    if (open == std::string_view::npos) break;
    const size_t close = text.find(']', open + 1);
    if (close == std::string_view::npos) break;
    names.emplace_back(text.substr(open + 1, close - open - 1));
    start = close + 1;
  }
  return names;
}

std::string Bracketed(std::string_view name) { return "[" + std::string(name) + "]"; }

// Runs `release` when the scope ends, however it ends.
template <class Release>
class AtScopeEnd {
 public:
  explicit AtScopeEnd(Release release) : m_release(std::move(release)) {}
  ~AtScopeEnd() { m_release(); }
  AtScopeEnd(const AtScopeEnd&) = delete;
  AtScopeEnd& operator=(const AtScopeEnd&) = delete;

 private:
  Release m_release;
};

}  // namespace

AgentMonitor::AgentMonitor() {
  try {
    m_homeDirectory = GetHomeDirectory();
  } catch (...) {
    // Without an application there is no home; the routines then find no files.
  }
}

const DispatchTable<AgentMonitor>& AgentMonitor::Dispatch() {
  // The service reaches the monitor through IMonitor only: nothing is late-bound.
  static const DispatchTable<AgentMonitor> table;
  return table;
}

void AgentMonitor::Trace(const std::string& text) const {
  if (m_logManager) m_logManager->LogInfo(text, kLogSource);
}

void AgentMonitor::ReportFailure(const std::string& text, int32_t number) const {
  if (!m_logManager) throw Error(number, std::string(kLogSource), text);
  m_logManager->Log(text, kLogSource, logLevelError);
}

template <class Body>
void AgentMonitor::Guard(std::string_view routinePrefix, Body&& body) const {
  TrapErrors(routinePrefix, body, [this](const std::string& text, int32_t number) { ReportFailure(text, number); });
}

// ---- The monitor's pass ----

void AgentMonitor::GetIncident(std::shared_ptr<IncidentForms>& incidentForms,
                               std::shared_ptr<IncidentState>& incidentState,
                               const std::shared_ptr<Configurations>& configurations, LogManagerRef& logManager) {
  m_incidentForms = incidentForms;
  m_incidentState = incidentState;
  m_logManager = logManager;
  const AtScopeEnd release([this] {
    m_incidentForms.reset();
    m_incidentState.reset();
    m_logManager.reset();
  });
  Guard("GetIncident: ", [&] {
    std::string configFileChanges;
    LoadConfigurationFiles(configFileChanges);
    ProcessOpenEvents(configFileChanges);
  });
}

// ---- The record of the modules' sections ----

Value AgentMonitor::LoadConfigurationFiles(std::string& configFileChanges) {
  Guard("LoadConfigurationFiles: ", [&] {
    Trace("LoadConfigurationFiles: Starting");
    Trace("LoadConfigurationFiles: Last Configuration Update = " + DateText(m_lastConfigurationUpdate));
    Trace("LoadConfigurationFiles: Last File Count = " + std::to_string(m_lastFileCount));

    std::vector<std::string> files =
        Platform::Current().GetFileSystem().List(m_homeDirectory + "/ModuleConfigs", "*.ini");
    const bool loadSections = ModuleFilesChanged(files);
    Trace("LoadConfigurationFiles: Load Sections = " + BoolText(loadSections));
    if (!loadSections) return;

    const std::string newRecord = BuildRecord(files);
    if (!m_incidentState) RaiseRuntimeError(kErrObjectRequired);
    if (!m_incidentState->Exists(kRecordKey)) {
      m_incidentState->Add(kRecordKey, Value(newRecord));
      Trace("LoadConfigurationFiles: Starting new configuration record");
      return;
    }
    Trace("LoadConfigurationFiles: Comparing with existing configuration record");
    AppendRemovedSections(m_incidentState->Item(kRecordKey).ToText(), newRecord, configFileChanges);
    m_incidentState->LetItem(kRecordKey, Value(newRecord));
    Trace("LoadConfigurationFiles: Completed");
  });
  return Value();
}

// Takes the count and the newest time of the module files and of the service file, and
// tells whether they moved since the last look. Drops folders from `files`.
bool AgentMonitor::ModuleFilesChanged(std::vector<std::string>& files) {
  FileSystem& fileSystem = Platform::Current().GetFileSystem();
  const std::string folder = m_homeDirectory + "/ModuleConfigs/";
  OleDate newest;
  std::erase_if(files, [&](const std::string& name) {
    const std::optional<FileInfo> info = fileSystem.Stat(folder + name);
    if (!info) return false;
    if (info->isDirectory) return true;
    if (info->modifiedUtc > newest) newest = info->modifiedUtc;
    return false;
  });
  if (const std::optional<FileInfo> service = fileSystem.Stat(m_homeDirectory + "/BIN/MvAgent.ini")) {
    if (service->modifiedUtc > newest) newest = service->modifiedUtc;
  }
  const auto count = static_cast<int32_t>(files.size());
  const bool changed = m_lastConfigurationUpdate.IsZero() || count != m_lastFileCount ||
                       newest > m_lastConfigurationUpdate;
  if (changed) {
    // Advanced before the record is built: a failing build isn't repeated until the
    // files change again.
    m_lastConfigurationUpdate = newest;
    m_lastFileCount = count;
  }
  return changed;
}

std::string AgentMonitor::BuildRecord(const std::vector<std::string>& files) {
  const std::string serviceFile = m_homeDirectory + "/BIN/MvAgent.ini";
  std::string record;
  for (const std::string& file : files) {
    const std::string module = ReplaceTextNoCase(file, ".INI", "");
    Trace("LoadConfigurationFiles: Loading sections for module = " + module);
    SectionNameArray sections;
    if (!GetSectionNames(m_homeDirectory + "/ModuleConfigs/" + file, sections)) {
      Trace("LoadConfigurationFiles: No sections found in file " + module + " - monitor will not be recorded");
      continue;
    }
    // A module the service doesn't run has no events to protect.
    if (GetProfileValue(serviceFile, module, "ClassID").empty()) {
      Trace("LoadConfigurationFiles: No service file entry for module = " + module);
      continue;
    }
    if (!sections || sections->empty()) {
      Trace("LoadConfigurationFiles: Invalid sections for module = " + module);
      continue;
    }
    Trace("LoadConfigurationFiles: # of configurations for module = " + module + " = " +
          std::to_string(static_cast<int64_t>(sections->size()) - 1));
    record += module;
    record += kModuleEnd;
    for (const std::string& section : *sections) record += Bracketed(section);
    record += kEntryEnd;
  }
  return record;
}

// A section counts as removed when its name appears nowhere in the new record, so one
// that moved to another module under the same name isn't.
void AgentMonitor::AppendRemovedSections(const std::string& oldRecord, const std::string& newRecord,
                                         std::string& changes) {
  for (const std::string& entry : Split(oldRecord, kEntryEnd)) {
    const std::vector<std::string> parts = Split(entry, kModuleEnd);
    if (parts.size() != 2) continue;
    const std::string& module = parts[0];
    Trace("LoadConfigurationFiles: Checking for removed configurations in module = " + module);
    bool anyRemoved = false;
    for (const std::string& section : BracketedNames(parts[1])) {
      if (newRecord.find(Bracketed(section)) != std::string::npos) continue;
      Trace("LoadConfigurationFiles: Found removed configuration = " + section + " for module = " + module);
      if (!anyRemoved) {
        changes += module;
        changes += kModuleEnd;
        anyRemoved = true;
      }
      changes += Bracketed(section);
    }
    if (anyRemoved) changes += kEntryEnd;
  }
}

// ---- Closing the events of removed configurations ----

Value AgentMonitor::ProcessOpenEvents(const std::string& configFileChanges) {
  Guard("ProcessOpenEvents: ", [&] {
    Trace("ProcessOpenEvents: Starting");
    if (configFileChanges.empty()) {
      Trace("ProcessOpenEvents: No configuration changes detected. Will not check for open events");
      return;
    }
    std::shared_ptr<IncFormSerialize> formSerializer;
    for (const std::string& entry : Split(configFileChanges, kEntryEnd)) {
      const std::vector<std::string> parts = Split(entry, kModuleEnd);
      if (parts.empty()) continue;
      const std::string& module = parts[0];
      const std::string removedSections = parts.size() > 1 ? parts[1] : std::string();
      Trace("ProcessOpenEvents: Checking IncidentForm serialize file for module = " + module);

      // The module's old error text goes with its old configuration. A heartbeat file
      // that can't be rewritten keeps the text until the module's next heartbeat.
      WritePrivateProfileString(module, std::nullopt, std::nullopt,
                                m_homeDirectory + "/Serialize/MonitorHeartbeats.SER");

      if (!FileExists(m_homeDirectory + "/Serialize/IF" + module + ".SER")) continue;
      if (!formSerializer) {
        formSerializer = std::make_shared<IncFormSerialize>();
        if (m_logManager) formSerializer->SetLogManager(m_logManager);
      }
      auto moduleForms = std::make_shared<IncidentForms>();
      if (m_logManager) moduleForms->SetLogManager(m_logManager);
      formSerializer->Load(moduleForms, module);
      if (!moduleForms) continue;
      // Every configuration's forms: the loaded view shows only the last one's.
      const IncidentForms::FormList forms = moduleForms->AllForms();
      for (const IncidentFormRef& form : forms) {
        const std::optional<std::string> configurationId = AttributeText(*form, "mvConfigurationID");
        if (!configurationId || removedSections.find(Bracketed(*configurationId)) == std::string::npos) continue;
        if (const std::optional<std::string> guid = AttributeText(*form, "mvGUID")) {
          CreateEventCloseMessage(*guid, module);
        }
        const IncidentFormRef closing = CloseFormFor(*form);
        if (!m_incidentForms) {
          closing->Finalize();
          RaiseRuntimeError(kErrObjectRequired);
        }
        try {
          m_incidentForms->AddNewIncidentForm(closing);
        } catch (...) {
          closing->Finalize();
          throw;
        }
        Trace("ProcessOpenEvents: Sent a close incident for the event.");
      }
    }
    Trace("ProcessOpenEvents: Completed");
  });
  return Value();
}

IncidentFormRef AgentMonitor::CloseFormFor(const IncidentForm& form) const {
  IncidentFormRef closing = IncidentForm::Create();
  try {
    if (m_logManager) closing->SetLogManager(m_logManager);
    closing->SetAlertStatus(form.AlertStatus());
    closing->SetCondition(form.Condition());
    closing->SetKeyAttributes(form.KeyAttributes());
    closing->SetOccurrenceTimeUTC(form.OccurrenceTimeUTC());
    closing->SetPriority(form.Priority());
    closing->SetProcessedByMM(form.ProcessedByMM());
    closing->SetResource(form.Resource());
    const AttributesRef& attributes = closing->GetAttributes();
    for (const AttributeRef& attribute : *form.GetAttributes()) attributes->Add(attribute->Key(), attribute->Value());
    // Resolved, and already known to the server: its MonitorManager sends it at once.
    closing->SetAlertStatus(AlertOff);
    attributes->Add("ClosedUser", Value(kClosedUser));
  } catch (...) {
    closing->Finalize();
    throw;
  }
  return closing;
}

void AgentMonitor::CreateEventCloseMessage(std::string_view guid, std::string_view moduleName) {
  Guard("CreateEventCloseMesssage: ", [&] {
    korad::CreateEventCloseMessage(m_homeDirectory, guid, moduleName, m_logManager, kLogSource);
  });
}

void RegisterAgentMonitor(ClassRegistry& registry) { registry.RegisterClass<AgentMonitor>(AgentMonitor::kClassId); }

}  // namespace korad
