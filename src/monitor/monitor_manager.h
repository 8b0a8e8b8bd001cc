// MonitorManager: the engine of one monitor section of the agent service. The service
// sets its properties, calls Init once and Monitor on a short timer; Monitor decides
// whether anything is due, runs the plug-in for each due configuration of the module's
// ini file, turns what it reported into incidents on the outgoing queue and keeps the
// module's state, forms and configuration errors on disk.
//
// One class, its behaviour split by concern:
//   monitor_manager.cc        construction, properties, Init, the Monitor tick
//   monitor_pass.cc           the configuration pass, initial attributes, heartbeat passes
//   monitor_merge_files.cc    merge state files and event close markers
//   monitor_scheduling.cc     ConfigurationScheduledToRun
//   monitor_script.cc         ProcessScheduleScript (the functions it offers: schedule_script_functions.cc)
//   monitor_decision.cc       SetIncidents
//   monitor_emission.cc       CreateIncidentFromForm, SendIncidentData, SendDataCollection
//   monitor_config_errors.cc  configuration errors and module heartbeats
// Beside it: whole_seconds.h (the dates it compares), engine_text.h (how values read in
// its log lines), queue_names.h (where it sends).
#pragma once
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>
#include "contracts/enums.h"
#include "contracts/error_reporter.h"
#include "contracts/interfaces.h"
#include "contracts/object.h"
#include "contracts/ole_date.h"
#include "contracts/text.h"
#include "foundation/section_readers.h"
#include "monitor/queue_names.h"

namespace korad {

class ApplicationObject;
class ClassRegistry;
class Connector;
class Configurations;
class IncFormSerialize;
class IncidentForm;
class IncidentForms;
class IncidentState;
class LogManager;
class ScriptingDictionary;
class ValidationRules;

class MonitorManager final : public Dispatchable<MonitorManager> {
 public:
  static constexpr std::string_view kClassId = "KORADevServices.MonitorManager";

  MonitorManager();
  ~MonitorManager() override;
  MonitorManager(const MonitorManager&) = delete;
  MonitorManager& operator=(const MonitorManager&) = delete;
  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<MonitorManager>& Dispatch();

  // ---- The service's surface ----
  void Init();
  // One tick; may do nothing. Never lets an error escape while a log manager exists.
  void Monitor();

  // ---- Properties ----
  const std::string& Moniker() const noexcept { return m_moniker; }
  // Also sets ConfigurationSource to <home>\ModuleConfigs\<Moniker>.INI while that is empty.
  void SetMoniker(std::string_view moniker);
  const std::string& ConnectorID() const noexcept { return m_connectorId; }
  void SetConnectorID(std::string_view id) { m_connectorId = id; }
  const std::string& MyEntityID() const noexcept { return m_myEntityId; }
  // Also keeps the integer copy that goes into every message.
  void SetMyEntityID(std::string_view id);
  int32_t MyEntityNumber() const noexcept { return m_myEntityNumber; }
  const std::string& InputConnectorID() const noexcept { return m_inputConnectorId; }
  void SetInputConnectorID(std::string_view id) { m_inputConnectorId = id; }
  korad::RunMode RunMode() const noexcept { return m_eRunMode; }
  void SetRunMode(korad::RunMode mode) noexcept { m_eRunMode = mode; }
  const std::string& ConfigurationSource() const noexcept { return m_configurationSource; }
  void SetConfigurationSource(std::string_view path) { m_configurationSource = path; }
  const std::string& MyMonitorID() const noexcept { return m_myMonitorId; }
  void SetMyMonitorID(std::string_view id) { m_myMonitorId = id; }
  // In ModeUnitTester: the incident strings of the last run, in the order they were built.
  const std::shared_ptr<std::vector<std::string>>& IncidentCollection() const noexcept { return m_incidentCollection; }
  void SetIncidentCollection(std::shared_ptr<std::vector<std::string>> collection) {
    m_incidentCollection = std::move(collection);
  }
  const std::string& KeyAttributes() const noexcept { return m_keyAttributes; }
  // Every blank is removed from the text.
  void SetKeyAttributes(std::string_view names);
  const std::string& SerializeLocation() const noexcept { return m_serializeLocation; }
  void SetSerializeLocation(std::string_view location) { m_serializeLocation = location; }
  // Retained: read empty or 0, ignore what they are told.
  std::string DataInConnector() const { return {}; }
  std::string DataOutConnector() const { return {}; }
  std::string Serializer() const { return {}; }
  int32_t MaxIncidents() const noexcept { return 0; }

  // ---- Read-only views for tests and tools ----
  OleDate NextRunTime() const noexcept { return m_nextRunTime; }
  OleDate LastPassTime() const noexcept { return m_lastPassTime; }
  OleDate LastHeartbeat() const noexcept { return m_lastHeartbeat; }
  const std::string& MonitorName() const noexcept { return m_monitorName; }

 private:
  friend class MonitorManagerTestPeer;

  // ---- monitor_manager.cc ----
  void CreateMonitoringObjects();
  // Logs at logLevelError under `category` (MonitorName when empty) with a log manager;
  // raises with the source "DevSvcErr" without one.
  void ReportError(const std::string& description, int32_t number, std::string_view category = {}) const;
  template <class Body>
  void Guard(std::string_view routinePrefix, Body&& body, std::string_view category = {}) const {
    TrapErrors(routinePrefix, body, [this, category](const std::string& description, int32_t number) {
      ReportError(description, number, category);
    });
  }
  // A trace line under MonitorName (or `category`).
  void Trace(std::string_view text, KORADSLog_Level level = logLevelDebug, std::string_view category = {}) const;
  OleDate ConfigFileTime() const;
  // The file time of ConfigurationSource through one stat of the path as last resolved;
  // false when it doesn't exist. Allocates nothing while the resolved path still holds.
  bool StatConfigSource(OleDate& fileTime);
  // The value of a key of the configuration in hand; raises when it is missing.
  static std::string ConfigValue(const Configurations& configurations, std::string_view key);

  // ---- monitor_pass.cc ----
  void RunConfigurationPass(bool timeDue, bool configChanged, bool heartbeatDue);
  // State, forms and configuration errors from their files, once and after an unload.
  void LoadState();
  void FillInitialAttributes(Configurations& configurations);
  void SendHeartbeat(std::string_view passName);
  // One configuration of the walk; sets the touched marks.
  void RunConfiguration(const SectionNameArray& sections, bool heartbeatDue, bool& stateTouched,
                        bool& formsTouched, bool& fullPass, bool& leaveLoop);
  std::shared_ptr<IMonitor> MonitorFor(const std::string& moniker);
  // Validation, the plug-in's GetIncident and its error; true when the configuration ran.
  bool ValidateAndGetIncident(const std::shared_ptr<IMonitor>& monitor);
  void ApplyEngineKeys(Configurations& config);
  void CallGetIncident(const std::shared_ptr<IMonitor>& monitor, const std::string& moniker);
  void AfterRun(const std::string& moniker);
  void SaveState(const SectionNameArray& sections, bool stateTouched, bool formsTouched);
  void UnloadIfSleeping();
  std::string ConfigurationName() const;

  // ---- monitor_decision.cc ----
  // The keys of the configuration in hand that steer the decision.
  struct DecisionSettings {
    std::string filter;
    bool hasEntityId = false;
    int32_t entityId = 0;
    int32_t waitAlert = 0;
    int32_t waitResolve = 0;
  };
  // The one handler of SetIncidents, which resumes: a failing step is reported, the form
  // in hand loses its processed mark so the next pass tries it again, and the walk goes on.
  class ResumingSteps {
   public:
    ResumingSteps(const MonitorManager& manager, std::shared_ptr<IncidentForm>& current, bool& result)
        : m_manager(manager), m_current(current), m_result(result) {}
    template <class Body>
    void operator()(Body&& body) {
      TrapErrors("MonitorManager.SetIncidents: ", body, [this](const std::string& description, int32_t number) {
        Failed(description, number);
      });
    }

   private:
    void Failed(const std::string& description, int32_t number);
    const MonitorManager& m_manager;
    std::shared_ptr<IncidentForm>& m_current;
    bool& m_result;
  };
  Value SetIncidents(std::shared_ptr<IncidentForms>& incidentForms, const std::vector<Value>& configList,
                     std::shared_ptr<Configurations>& configurations);
  void ReadDecisionKeys(Configurations& configurations, const std::string& moniker, DecisionSettings& settings);
  void ApplyFilter(IncidentForms& forms, const DecisionSettings& settings, const std::string& head);
  void DecideForms(std::shared_ptr<IncidentForms>& incidentForms, const DecisionSettings& settings,
                   const std::string& head, std::shared_ptr<IncidentForm>& current, ResumingSteps& step);
  void RemoveFinishedForms(IncidentForms& forms, const std::string& head, std::shared_ptr<IncidentForm>& current,
                           ResumingSteps& step);
  void DecideForm(const std::shared_ptr<IncidentForm>& form, IncidentForms& forms, const DecisionSettings& settings,
                  const std::string& head, bool& noOtherConfiguration, ResumingSteps& step);
  // What every incident must carry, added where the plug-in left it out.
  void FillEngineAttributes(IncidentForm& form, const std::string& moniker, const std::string& head);
  // "FALSE", exactly, takes an acknowledgement back.
  void TakeBackAcknowledgement(IncidentForm& form, const std::string& head);
  // The alert and resolve delays, counted in passes; `skip` when nothing is sent this pass.
  void CountDelays(const std::shared_ptr<IncidentForm>& form, IncidentForms& forms, const DecisionSettings& settings,
                   const std::string& head, bool& skip);
  void DecideAlertOn(const std::shared_ptr<IncidentForm>& form, IncidentForms& forms, int32_t waitAlert,
                     const std::string& head, bool& skip);
  void DecideAlertOff(IncidentForm& form, int32_t waitResolve, const std::string& head, bool& skip);
  // Builds the incident and sends it unless there is nothing to say or another
  // configuration has it open; true when the send step completed.
  bool SendForm(const std::shared_ptr<IncidentForm>& form, IncidentForms& forms, const std::string& head,
                bool& noOtherConfiguration);
  // Duplicate suppression: another configuration's form of the same incident that has gone out.
  bool OtherConfigurationHasItOpen(const std::shared_ptr<IncidentForm>& form, IncidentForms& forms,
                                   bool& noOtherConfiguration);

  // ---- monitor_emission.cc ----
  void CreateIncidentFromForm(const std::shared_ptr<IncidentForm>& form);
  // Whether the form has something to say this pass, by what was sent before.
  bool ShouldSend(IncidentForm& form, const std::string& head);
  bool SendIncidentData(int32_t timeToLive, int32_t priority);
  bool SendDataCollection(int32_t entityID, std::shared_ptr<IncidentForms>& incidentForms);
  std::string ConvertTrackedObjectsToXML(int32_t entityID, std::shared_ptr<IncidentForms>& incidentForms);
  // Sends `body` on `queue` of the connector; only in ModeMorvane.
  void SendMessage(std::string_view queue, const std::string& body, int32_t timeToLive, int32_t priority);

  // ---- monitor_scheduling.cc ----
  bool ConfigurationScheduledToRun();
  // mvFrequency in whole seconds, told to the configuration.
  int32_t FrequencySeconds(Configurations& config, const std::string& label);
  // The next run of the configuration; `canRun` when it is due now.
  OleDate NextRunOf(OleDate lastRunTime, int32_t seconds, const std::string& label, bool& canRun);
  // Keeps the earliest next run of any configuration, which is all the idle tick looks at.
  void NoteNextRunTime(OleDate nextRun);
  // The mvStartTime/mvEndTime window, local time; true without a window.
  bool InsideWindow(Configurations& config, const std::string& label);
  // The waits in the units of the frequency, for display.
  void ShowWaits(Configurations& config);

  // ---- monitor_script.cc ----
  void ProcessScheduleScript(std::string_view script, const std::vector<std::string>& frequencyList, bool& result);

  // ---- monitor_config_errors.cc ----
  std::string BuildConfigurationError();
  void CleanConfigErrors(const SectionNameArray& sections);
  void UpdateHeartbeats(std::string_view moduleName, std::string_view errorText);
  void LoadConfigurationErrors(std::string_view moduleName);
  void SaveConfigurationErrors(std::string_view moduleName);

  // ---- monitor_merge_files.cc ----
  void MergeStateFiles(std::string_view moniker, const SectionNameArray& sections);
  void ProcessEventCloseMarkers();

  // ---- The instance's fields ----
  // Properties.
  std::string m_moniker;
  std::string m_connectorId{kRouterConnectorId};
  std::string m_myEntityId;
  int32_t m_myEntityNumber = 0;
  std::string m_inputConnectorId;
  korad::RunMode m_eRunMode = ModeMorvane;
  std::string m_configurationSource;
  std::string m_myMonitorId;
  std::shared_ptr<std::vector<std::string>> m_incidentCollection;
  std::string m_keyAttributes;
  std::string m_serializeLocation;

  // The object graph.
  std::shared_ptr<ApplicationObject> m_application;
  std::shared_ptr<Connector> m_connector;
  std::shared_ptr<IncidentState> m_incidentState;
  std::shared_ptr<IncidentForms> m_incidentForms;
  std::shared_ptr<Configurations> m_configurations;
  std::shared_ptr<ValidationRules> m_validationRules;
  std::shared_ptr<LogManager> m_logManager;
  // One plug-in per configuration moniker, kept for the life of the instance.
  std::unordered_map<std::string, std::shared_ptr<IMonitor>, NoCaseHash, NoCaseEqual> m_monitors;
  // Created once to prove the class can be made and to ask for its rules.
  std::shared_ptr<IMonitor> m_monitorObject;
  std::shared_ptr<ISerializable> m_stateSerializer;
  std::shared_ptr<IncFormSerialize> m_formSerializer;
  std::shared_ptr<ScriptingDictionary> m_configErrors;

  // The cycle.
  bool m_runOnce = false;
  std::string m_monitorName;
  OleDate m_runStart;
  OleDate m_nextRunTime;
  OleDate m_lastPassTime;
  OleDate m_lastHeartbeat;
  OleDate m_configFileDate;
  std::string m_scheduleScript;
  bool m_scriptSaidFalse = false;
  bool m_monitorCreateFailed = false;
  std::string m_homeDirectory;
  std::string m_sharedProgramFolder;
  // ConfigurationSource as resolved on disk, and the text it was resolved from.
  std::string m_statPath;
  std::string m_statPathFor;

  // Working fields of the decision and the emission.
  std::string m_incidentString;
  int32_t m_eventTypeMode = 0;
  std::string m_updCond;
  std::string m_resCond;
};

// Registers "KORADevServices.MonitorManager" and "KORADevServices.AgentMonitor".
void RegisterMonitorClasses(ClassRegistry& registry);

}  // namespace korad
