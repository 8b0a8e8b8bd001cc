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
//   monitor_script.cc         ProcessScheduleScript
//   monitor_decision.cc       SetIncidents
//   monitor_emission.cc       CreateIncidentFromForm, SendIncidentData, SendDataCollection
//   monitor_config_errors.cc  configuration errors and module heartbeats
#pragma once
#include <cstdint>
#include <functional>
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
  static constexpr std::string_view kDefaultConnectorId = "MvRouterQ";
  static constexpr std::string_view kIncidentQueue = "mvIncidentQ";
  static constexpr std::string_view kDataCollectionQueue = "MvDataCollectionQ";

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

  // ---- Engine operations (private in spirit; public so the engine's tests reach them) ----
  // monitor_decision.cc
  Value SetIncidents(std::shared_ptr<IncidentForms>& incidentForms, const std::vector<Value>& configList,
                     std::shared_ptr<Configurations>& configurations);
  // monitor_emission.cc
  void CreateIncidentFromForm(const std::shared_ptr<IncidentForm>& form);
  bool SendIncidentData(int32_t timeToLive, int32_t priority);
  bool SendDataCollection(int32_t entityID, std::shared_ptr<IncidentForms>& incidentForms);
  std::string ConvertTrackedObjectsToXML(int32_t entityID, std::shared_ptr<IncidentForms>& incidentForms);
  const std::string& IncidentString() const noexcept { return m_incidentString; }
  // monitor_scheduling.cc
  bool ConfigurationScheduledToRun();
  // monitor_script.cc
  void ProcessScheduleScript(std::string_view script, const std::vector<std::string>& frequencyList, bool& result);
  // monitor_config_errors.cc
  std::string BuildConfigurationError();
  void CleanConfigErrors(const SectionNameArray& sections);
  void UpdateHeartbeats(std::string_view moduleName, std::string_view errorText);
  void LoadConfigurationErrors(std::string_view moduleName);
  void SaveConfigurationErrors(std::string_view moduleName);

  // Drops fractions of a second, as the date's text and back would.
  static OleDate NormalizeDate(OleDate date);
  // The time of day of `date`, whole seconds.
  static OleDate TimeOfDayOf(OleDate date);

 private:
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
  void FillInitialAttributes(Configurations& configurations);
  void SendHeartbeat(std::string_view passName);
  // Step 8 of the pass for the configuration in hand; sets the touched marks.
  void RunConfiguration(const SectionNameArray& sections, bool heartbeatDue, bool& stateTouched,
                        bool& formsTouched, bool& fullPass, bool& leaveLoop);
  // Validation, the plug-in's GetIncident and its error (step 8h); true when it ran.
  bool ValidateAndGetIncident(const std::shared_ptr<IMonitor>& monitor);
  void AfterRun(const std::string& name);
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
  // Runs one step of SetIncidents under its resuming handler.
  using ResumeStep = std::function<void(const std::function<void()>&)>;
  void ReadDecisionKeys(Configurations& configurations, const std::string& moniker, DecisionSettings& settings);
  void DecideForm(const std::shared_ptr<IncidentForm>& form, IncidentForms& forms, const DecisionSettings& settings,
                  const std::string& head, bool& noOtherConfiguration, const ResumeStep& step);
  void DecideAlertOn(const std::shared_ptr<IncidentForm>& form, IncidentForms& forms, int32_t waitAlert,
                     const std::string& head, bool& skip);
  void DecideAlertOff(IncidentForm& form, int32_t waitResolve, const std::string& head, bool& skip);
  // Duplicate suppression: another configuration's form of the same incident that has gone out.
  bool OtherConfigurationHasItOpen(const std::shared_ptr<IncidentForm>& form, IncidentForms& forms,
                                   bool& noOtherConfiguration);

  // ---- monitor_merge_files.cc ----
  void MergeStateFiles(std::string_view moniker, const SectionNameArray& sections);
  void ProcessEventCloseMarkers();

  // ---- The instance's fields ----
  // Properties.
  std::string m_moniker;
  std::string m_connectorId{kDefaultConnectorId};
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
