// AgentMonitor: the monitor that watches the agent itself. When a configuration section
// disappears from a module's ini file, the server would keep that configuration's open
// events for ever. This monitor keeps a record of the sections of every module the
// service runs (item "ModuleConfigs" of its IncidentState), finds what went missing, and
// closes the open events of those configurations: a close request marker for the module's
// own MonitorManager, and an AlertOff copy of each form in its own IncidentForms, which
// its MonitorManager sends as resolved on the same pass.
//
// The record and the change list share one form: per module, name + "::" + "[" + section
// + "]" for each section, closed by ":;:".
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "contracts/interfaces.h"
#include "contracts/object.h"
#include "contracts/ole_date.h"

namespace korad {

class ClassRegistry;
class IncidentForm;

class AgentMonitor final : public Dispatchable<AgentMonitor>, public IMonitor {
 public:
  static constexpr std::string_view kClassId = "KORADevServices.AgentMonitor";
  // The source of every log line.
  static constexpr std::string_view kLogSource = "AgentMonitor";
  // The IncidentState item that holds the record.
  static constexpr std::string_view kRecordKey = "ModuleConfigs";
  static constexpr std::string_view kClosedUser = "<Closed By Agent Due To Deleted Configuration>";

  AgentMonitor();

  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<AgentMonitor>& Dispatch();

  // Compares the modules' sections with the record and closes the events of removed
  // configurations. `configurations` isn't used. The three objects are held only for
  // the call. Failures are logged, never raised while a log manager is given.
  void GetIncident(std::shared_ptr<IncidentForms>& incidentForms, std::shared_ptr<IncidentState>& incidentState,
                   const std::shared_ptr<Configurations>& configurations, LogManagerRef& logManager) override;
  // The monitor has no configuration keys of its own.
  void SetValidationRules(const std::shared_ptr<ValidationRules>& validationRules) override {}

  // Appends the removed sections to `configFileChanges`, and brings the record up to
  // date. When neither the count nor the newest time of the module files (and of the
  // service file) changed, costs one listing and reads no file. Always Empty.
  Value LoadConfigurationFiles(std::string& configFileChanges);
  // For each module of the change list: drops its section of the module heartbeat file,
  // and for each form in its form file that belongs to a removed configuration, writes a
  // close request (when the form has an mvGUID) and adds the AlertOff copy. Always Empty.
  Value ProcessOpenEvents(const std::string& configFileChanges);
  // Writes the close request marker for the module's MonitorManager.
  void CreateEventCloseMessage(std::string_view guid, std::string_view moduleName);

  // The newest file time seen and the number of module files then; 0 before the first run.
  OleDate LastConfigurationUpdate() const noexcept { return m_lastConfigurationUpdate; }
  int32_t LastFileCount() const noexcept { return m_lastFileCount; }

 private:
  // A LogInfo line under kLogSource, when there is a log manager.
  void Trace(const std::string& text) const;
  // Logs `text` at logLevelError under kLogSource; without a log manager, raises it.
  void ReportFailure(const std::string& text, int32_t number) const;
  template <class Body>
  void Guard(std::string_view routinePrefix, Body&& body) const;

  // Steps of LoadConfigurationFiles.
  bool ModuleFilesChanged(std::vector<std::string>& files);
  std::string BuildRecord(const std::vector<std::string>& files);
  void AppendRemovedSections(const std::string& oldRecord, const std::string& newRecord, std::string& changes);
  // The AlertOff copy of a form of a removed configuration.
  std::shared_ptr<IncidentForm> CloseFormFor(const IncidentForm& form) const;

  std::string m_homeDirectory;
  OleDate m_lastConfigurationUpdate;
  int32_t m_lastFileCount = 0;
  LogManagerRef m_logManager;
  std::shared_ptr<IncidentState> m_incidentState;
  std::shared_ptr<IncidentForms> m_incidentForms;
};

// Registers KORADevServices.AgentMonitor. Safe to call more than once.
void RegisterAgentMonitor(ClassRegistry& registry);

}  // namespace korad
