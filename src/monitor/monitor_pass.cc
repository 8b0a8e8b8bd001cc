// The configuration pass: load state once, walk every configuration section of the
// module's ini file, run the plug-in for each one whose schedule is due, decide and send,
// write module heartbeats, and save state, forms and configuration errors.
//
// Failures are kept small: the plug-in's GetIncident is trapped and its error stays with
// its configuration; SetIncidents resumes by itself; anything else ends the run through
// Monitor's handler, and such a run saves nothing.
#include <array>
#include <string>
#include <vector>

#include "contracts/class_registry.h"
#include "contracts/error.h"
#include "foundation/attributes.h"
#include "foundation/configurations.h"
#include "foundation/global_functions.h"
#include "foundation/log_manager.h"
#include "foundation/module_config_reader.h"
#include "foundation/validation_rules.h"
#include "incident/inc_form_serialize.h"
#include "incident/incident_forms.h"
#include "incident/incident_state.h"
#include "monitor/engine_text.h"
#include "monitor/whole_seconds.h"
#include "monitor/monitor_manager.h"
#include "platform/application.h"
#include "platform/application_object.h"
#include "platform/scripting_dictionary.h"

namespace korad {
namespace {

constexpr double kUnloadAfterSeconds = 600.0;

// The engine's own keys: they steer the pass and never reach an incident as attributes.
constexpr std::array<std::string_view, 11> kEngineKeys = {
    "MVDISABLED", "MVFREQUENCY", "MVFREQUENCYUNITS", "MVSTARTTIME", "MVENDTIME", "MVFILTER",
    "MVSINGLE",   "MVRESCOND",   "MVUPDCOND",        "MVWAITALERT", "MVWAITRESOLVE"};

bool IsEngineKey(std::string_view key) {
  const std::string upper = UpperAscii(key);
  for (std::string_view engineKey : kEngineKeys) {
    if (upper == engineKey) return true;
  }
  return false;
}

void MarkExcluded(Configurations& configurations, std::string_view key) {
  if (const ConfigurationRef item = configurations.Item(key)) item->SetExcluded(true);
}


}  // namespace

void MonitorManager::RunConfigurationPass(bool timeDue, bool configChanged, bool heartbeatDue) {
  if (timeDue || configChanged) LoadState();

  // Read on every run that got here, heartbeat-only runs too.
  SectionArray globalValues;
  SectionNameArray sections;
  ReadSectionIntoArray(m_monitorName, m_configurationSource, "Global", globalValues, m_logManager);
  GetSectionNames(m_configurationSource, sections);
  int32_t lastRunIndex = 0;
  bool noMoreSections = true;
  m_configurations = GetNextConfiguration(m_monitorName, "", m_configurationSource, m_logManager, sections,
                                          globalValues, lastRunIndex, noMoreSections);
  if (noMoreSections) RaiseLibraryError("There were no monitor configuration sections in " + m_configurationSource);

  if (timeDue || configChanged) {
    bool fullPass = true;
    bool stateTouched = false;
    bool formsTouched = false;
    if (sections) CleanConfigErrors(sections);
    m_nextRunTime = OleDate();
    while (!noMoreSections) {
      bool leaveLoop = false;
      RunConfiguration(sections, heartbeatDue, stateTouched, formsTouched, fullPass, leaveLoop);
      if (leaveLoop) break;
      const std::string last = m_configurations->ConfigMoniker();
      Trace("Retrieving next configuration (after " + last + ")");
      m_configurations = GetNextConfiguration(m_monitorName, last, m_configurationSource, m_logManager, sections,
                                              globalValues, lastRunIndex, noMoreSections);
      if (noMoreSections) {
        Trace("No more configurations found in " + m_configurationSource);
      } else {
        Trace("Got next configuration set (" + m_configurations->ConfigMoniker() + ")");
      }
      m_configFileDate = ConfigFileTime();
    }

    // Only a pass that went through every configuration ends with a heartbeat.
    if (m_eRunMode == ModeMorvane && fullPass) {
      SendHeartbeat("(Pass 3)");
      m_lastPassTime = UTCNow();
    }
    if (m_incidentForms) m_incidentForms->ResetFilter();
    if (sections && m_eRunMode != ModeUnitTester) SaveState(sections, stateTouched, formsTouched);
  }

  // A heartbeat-only run comes straight here.
  if (m_eRunMode == ModeMorvane && heartbeatDue) SendHeartbeat("(Pass 1)");
  UnloadIfSleeping();
}

void MonitorManager::LoadState() {
  const bool usesFiles = m_eRunMode != ModeUnitTester;
  if (m_stateSerializer && !m_runOnce && usesFiles) m_stateSerializer->Load(m_incidentState, m_monitorName);
  if (m_formSerializer && !m_runOnce && usesFiles) {
    m_formSerializer->Load(m_incidentForms, m_monitorName);
    // A collection the loader had to replace comes without a log manager.
    if (m_incidentForms && !m_incidentForms->GetLogManager()) m_incidentForms->SetLogManager(m_logManager);
  }
  if (!m_configErrors || !m_runOnce) {
    m_configErrors = std::make_shared<ScriptingDictionary>();
    if (usesFiles) LoadConfigurationErrors(m_monitorName);
  }
  m_runOnce = true;
  if (!m_validationRules) {
    m_validationRules = CreateObjectAs<ValidationRules>(ValidationRules::kClassId);
    m_validationRules->SetLogManager(m_logManager);
    m_monitorObject->SetValidationRules(m_validationRules);
    Trace("Returned " + std::to_string(m_validationRules->Count()) + " rules for " + m_monitorName);
  }
}

void MonitorManager::RunConfiguration(const SectionNameArray& sections, bool heartbeatDue, bool& stateTouched,
                                      bool& formsTouched, bool& fullPass, bool& leaveLoop) {
  Configurations& config = *m_configurations;
  const std::string moniker = config.ConfigMoniker();
  const std::shared_ptr<IMonitor> monitor = MonitorFor(moniker);

  const bool disabled = config.Exists("mvDisabled") && UpperAscii(ConfigValue(config, "mvDisabled")) == "TRUE";
  Trace("Configuration " + moniker + " on monitor " + m_monitorName + " is " +
        (disabled ? "disabled." : "not disabled."));
  bool ran = false;
  if (disabled) {
    // Its open forms stay as they are; only its error goes.
    try {
      m_configErrors->Remove(moniker);
    } catch (...) {
    }
    Trace("Configuration " + moniker + " is disabled.  Cleared any configuration errors. ");
  } else {
    m_incidentForms->SetConfigMoniker(moniker);
    m_incidentState->SetConfigMoniker(moniker);
    m_incidentForms->SetConfigurationName(config.Exists("mvConfigurationName")
                                              ? ConfigValue(config, "mvConfigurationName")
                                              : moniker);
    MergeStateFiles(moniker, sections);
    if (!m_incidentState->Exists("mvLastMonitorTime")) m_incidentState->Add("mvLastMonitorTime", Value(OleDate()));
    if (m_incidentState->Exists("mvLastRuntime")) {
      const OleDate lastRuntime = m_incidentState->Item("mvLastRuntime").ToDate();
      config.SetLastRunTime(lastRuntime);
      Trace("Configuration last runtime for config " + moniker + " = " + DateText(lastRuntime));
    }
    m_scheduleScript.clear();
    m_scriptSaidFalse = false;
    if (config.Exists("mvScheduleScript")) m_scheduleScript = TrimBlanks(ConfigValue(config, "mvScheduleScript"));
    // The schedule's look at the configuration is saved even when it doesn't run.
    stateTouched = true;
    if (ConfigurationScheduledToRun()) {
      ProcessEventCloseMarkers();
      ran = ValidateAndGetIncident(monitor);
      if (ran) formsTouched = true;
    }
  }
  if (ran) AfterRun(moniker);

  // A changed file while a heartbeat is due gives one per configuration.
  if (m_eRunMode == ModeMorvane && heartbeatDue) SendHeartbeat("(Pass 2)");
  // A stopping agent starts no further configuration.
  if (m_eRunMode == ModeMorvane && m_application->Status() != kServiceRunning) {
    fullPass = false;
    leaveLoop = true;
  }
}

// Each configuration owns its plug-in, which may keep state in itself between runs.
std::shared_ptr<IMonitor> MonitorManager::MonitorFor(const std::string& moniker) {
  if (const auto found = m_monitors.find(moniker); found != m_monitors.end() && found->second) return found->second;
  std::shared_ptr<IMonitor> monitor = CreateObjectAs<IMonitor>(m_myMonitorId);
  m_monitors[moniker] = monitor;
  return monitor;
}

bool MonitorManager::ValidateAndGetIncident(const std::shared_ptr<IMonitor>& monitor) {
  Configurations& config = *m_configurations;
  const std::string moniker = config.ConfigMoniker();
  std::string errorText;
  if (!ValidateConfigurations(config, *m_validationRules, errorText).ToBoolean()) {
    Trace("Cannot call GetIncidents on " + m_myMonitorId +
              " due to a failed configuration validation. Message was: " + errorText,
          logLevelError);
    // Its forms wait, and the error stands in the next heartbeat.
    m_configErrors->SetItem(moniker, Value("Invalid configuration for " + m_myMonitorId + " " + errorText));
    return false;
  }
  ApplyEngineKeys(config);
  FillInitialAttributes(config);

  if (m_scriptSaidFalse) {
    // The rest of the run still happens, so that forms already open go on counting.
    Trace("Monitor (" + ConfigurationName() + "): Skipped calling GetIncident due to a script that returned 'false'");
  } else {
    CallGetIncident(monitor, moniker);
  }
  return true;
}

// The keys the engine takes for itself before the plug-in sees the configuration.
void MonitorManager::ApplyEngineKeys(Configurations& config) {
  if (config.Exists("mvScheduleScript")) MarkExcluded(config, "mvScheduleScript");
  m_logManager->SetDetailLoggingOn(false);
  if (config.Exists("LogInfo")) {
    m_logManager->SetDetailLoggingOn(Value(ConfigValue(config, "LogInfo")).ToBoolean());
  } else {
    config.Add("LogInfo", "FALSE");
  }
  MarkExcluded(config, "LogInfo");
  Trace("LogInfo = " + ConfigValue(config, "LogInfo"), logLevelInfo);
  if (config.Exists("MaxIncidents")) {
    const std::string maxIncidents = ConfigValue(config, "MaxIncidents");
    m_incidentForms->SetMaxIncidents(Value(maxIncidents));
    MarkExcluded(config, "MaxIncidents");
    Trace("MaxIncidents = " + maxIncidents);
  }
}

void MonitorManager::CallGetIncident(const std::shared_ptr<IMonitor>& monitor, const std::string& moniker) {
  Configurations& config = *m_configurations;
  Trace("Monitor (" + ConfigurationName() + "): Calling GetIncident");
  // The plug-in sees its last real measurement, not the last schedule tick.
  config.SetLastRunTime(m_incidentState->Item("mvLastMonitorTime").ToDate());
  if (m_configErrors->Exists(moniker)) m_configErrors->Remove(moniker);
  config.SetError("");
  config.SetRunMode(m_eRunMode);
  try {
    LogManagerRef logManager = m_logManager;
    monitor->GetIncident(m_incidentForms, m_incidentState, m_configurations, logManager);
    auto returned = std::dynamic_pointer_cast<LogManager>(logManager);
    if (!returned) RaiseRuntimeError(kErrTypeMismatch);
    m_logManager = std::move(returned);
  } catch (...) {
    // Confined to this configuration: the pass goes on, SetIncidents included.
    m_configErrors->SetItem(moniker, Value(CurrentExceptionAsError().Description()));
  }
  if (!config.Error().empty() && !moniker.empty()) m_configErrors->SetItem(moniker, Value(config.Error()));
}

void MonitorManager::AfterRun(const std::string& moniker) {
  if (!m_incidentForms || !m_incidentState) RaiseRuntimeError(kErrObjectRequired);
  const std::string name = ConfigurationName();
  // Purging is retained only: the state's purge has nothing to do.
  Trace("Monitor (" + name + "): Purging IncidentState items if PurgeMode = AutoPurge");
  m_incidentForms->ResetFilter();
  m_incidentForms->ReCalculateForms();
  Trace("Monitor (" + name + "): IncidentForms returned = " + std::to_string(m_incidentForms->Count()));
  const std::vector<Value> configList{Value(moniker)};
  SetIncidents(m_incidentForms, configList, m_configurations);

  const OleDate runTime = NormalizeDate(m_runStart);
  m_incidentState->Add("mvLastRuntime", Value(runTime));
  Trace("Monitor (" + name + "): Setting IncidentState LastRuntime to " + DateText(runTime));
  if (!m_scriptSaidFalse) {
    m_incidentState->Add("mvLastMonitorTime", Value(runTime));
    Trace("Monitor (" + name + "): Setting IncidentState LastMonitorTime to " + DateText(runTime));
  }
}

std::string MonitorManager::ConfigurationName() const {
  return m_incidentForms ? m_incidentForms->ConfigurationName() : std::string();
}

void MonitorManager::SaveState(const SectionNameArray& sections, bool stateTouched, bool formsTouched) {
  if (stateTouched && m_stateSerializer && m_incidentState) {
    Trace("Serializing " + m_monitorName);
    m_stateSerializer->SetCurrentConfigs(Value(SectionListText(*sections)));
    m_stateSerializer->Save(m_incidentState, m_monitorName);
  }
  if (formsTouched) {
    if (m_formSerializer && m_incidentForms) m_formSerializer->Save(m_incidentForms, m_monitorName);
    SaveConfigurationErrors(m_monitorName);
  }
}

void MonitorManager::UnloadIfSleeping() {
  if (!m_incidentState || !m_incidentState->Exists("NextRuntime")) return;
  const OleDate nextRuntime = NormalizeDate(m_incidentState->Item("NextRuntime").ToDate());
  if (NormalizeDate(UTCNow()).SecondsUntil(nextRuntime) < kUnloadAfterSeconds) return;
  // A monitor section stays resident for ever: one that sleeps long gives its memory
  // back, and its next run loads the files again.
  Trace("Unloading serializers", logLevelInfo);
  m_incidentState.reset();
  m_incidentForms.reset();
  m_runOnce = false;
}

void MonitorManager::FillInitialAttributes(Configurations& configurations) {
  Guard("MonitorManager.FillInitialAttributes: ", [&] {
    AttributesRef initial = m_incidentForms->InitialAttributes();
    if (!initial) {
      initial = std::make_shared<Attributes>();
      m_incidentForms->SetInitialAttributes(initial);
    }
    if (initial->Count() > 0) initial->RemoveAll();
    initial->Add("KeyAttributes", Value(m_keyAttributes));
    // A monitor's own settings reach the incident; the engine's don't.
    for (const ConfigurationRef& item : configurations) {
      if (item->Excluded() || IsEngineKey(item->Key())) continue;
      initial->Add(item->Key(), Value(item->Value()));
    }
  });
}

void MonitorManager::SendHeartbeat(std::string_view passName) {
  Trace("Sending heartbeat for " + m_monitorName + ": Last Heartbeat = " + DateText(m_lastHeartbeat) +
        std::string(passName));
  UpdateHeartbeats(m_monitorName, BuildConfigurationError());
  m_lastHeartbeat = UTCNow();
}

}  // namespace korad
