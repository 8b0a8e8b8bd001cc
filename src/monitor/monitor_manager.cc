// MonitorManager: construction, properties, Init and the Monitor tick. The tick is called
// far more often than anything is due, so the path that finds nothing to do costs one
// stat of the ini file and nothing else: no object, no allocation, no log line.
#include "monitor/monitor_manager.h"

#include "contracts/class_registry.h"
#include "contracts/create_object_or_raise.h"
#include "contracts/error.h"
#include "foundation/configurations.h"
#include "foundation/global_functions.h"
#include "foundation/log_manager.h"
#include "foundation/validation_rules.h"
#include "incident/inc_form_serialize.h"
#include "incident/incident_forms.h"
#include "incident/incident_state.h"
#include "incident/xml_serializer.h"
#include "monitor/engine_text.h"
#include "monitor/whole_seconds.h"
#include "platform/application_object.h"
#include "platform/connector.h"
#include "platform/connector_directory.h"
#include "platform/file_system.h"
#include "platform/platform.h"
#include "platform/scripting_dictionary.h"

namespace korad {
namespace {

constexpr double kHeartbeatSeconds = 600.0;

}  // namespace

MonitorManager::MonitorManager() {
  Guard("MonitorManager.Class_Initialize: ", [&] {
    m_monitors.clear();
    m_runOnce = false;
    m_eRunMode = ModeMorvane;
    m_homeDirectory = GetHomeDirectory();
    m_sharedProgramFolder = GetSharedProgramFolder();
    m_connectorId = kRouterConnectorId;
  });
}

MonitorManager::~MonitorManager() {
  try {
    Guard("MonitorManager.Class_Terminate: ", [&] {
      Trace("Monitor Manager Class Terminate");
      m_monitors.clear();
      m_monitorObject.reset();
      m_incidentForms.reset();
      m_incidentState.reset();
      m_configurations.reset();
      m_validationRules.reset();
      m_stateSerializer.reset();
      m_formSerializer.reset();
      m_configErrors.reset();
      m_connector.reset();
      m_application.reset();
      m_logManager.reset();
    });
  } catch (...) {
    // Without a log manager the handler raises, and a destructor must not.
  }
}

const DispatchTable<MonitorManager>& MonitorManager::Dispatch() {
  static const DispatchTable<MonitorManager> table = [] {
    using M = MonitorManager;
    DispatchTable<M> t;
    t.Property(
        "Moniker", [](M& m) { return Value(m.Moniker()); },
        [](M& m, const Value& v) { m.SetMoniker(v.ToText()); });
    t.Property(
        "ConnectorID", [](M& m) { return Value(m.ConnectorID()); },
        [](M& m, const Value& v) { m.SetConnectorID(v.ToText()); });
    t.Property(
        "MyEntityID", [](M& m) { return Value(m.MyEntityID()); },
        [](M& m, const Value& v) { m.SetMyEntityID(v.ToText()); });
    t.Property(
        "InputConnectorID", [](M& m) { return Value(m.InputConnectorID()); },
        [](M& m, const Value& v) { m.SetInputConnectorID(v.ToText()); });
    t.Property(
        "RunMode", [](M& m) { return Value(static_cast<int32_t>(m.RunMode())); },
        [](M& m, const Value& v) { m.SetRunMode(static_cast<korad::RunMode>(v.ToLong())); });
    t.Property(
        "ConfigurationSource", [](M& m) { return Value(m.ConfigurationSource()); },
        [](M& m, const Value& v) { m.SetConfigurationSource(v.ToText()); });
    t.Property(
        "MyMonitorID", [](M& m) { return Value(m.MyMonitorID()); },
        [](M& m, const Value& v) { m.SetMyMonitorID(v.ToText()); });
    t.Property(
        "KeyAttributes", [](M& m) { return Value(m.KeyAttributes()); },
        [](M& m, const Value& v) { m.SetKeyAttributes(v.ToText()); });
    t.Property(
        "SerializeLocation", [](M& m) { return Value(m.SerializeLocation()); },
        [](M& m, const Value& v) { m.SetSerializeLocation(v.ToText()); });
    // Retained: read empty or 0, and what they are told has no effect.
    t.Property("DataInConnector", [](M& m) { return Value(m.DataInConnector()); }, [](M&, const Value&) {});
    t.Property("DataOutConnector", [](M& m) { return Value(m.DataOutConnector()); }, [](M&, const Value&) {});
    t.Property("Serializer", [](M& m) { return Value(m.Serializer()); }, [](M&, const Value&) {});
    t.Property("MaxIncidents", [](M& m) { return Value(m.MaxIncidents()); }, [](M&, const Value&) {});
    t.Call("Init", [](M& m) {
      m.Init();
      return Value();
    });
    t.Call("Monitor", [](M& m) {
      m.Monitor();
      return Value();
    });
    return t;
  }();
  return table;
}

// ---- Properties ----

void MonitorManager::SetMoniker(std::string_view moniker) {
  m_moniker = moniker;
  if (m_configurationSource.empty()) {
    m_configurationSource = m_homeDirectory + "/ModuleConfigs/" + m_moniker + ".INI";
  }
}

void MonitorManager::SetMyEntityID(std::string_view id) {
  m_myEntityId = id;
  m_myEntityNumber = id.empty() ? 0 : Value(std::string(id)).ToLong();
}

void MonitorManager::SetKeyAttributes(std::string_view names) { m_keyAttributes = StripSpaces(names); }

// ---- Init ----

void MonitorManager::Init() {
  Guard("MonitorManager.Init: ", [&] {
    m_application = CreateObjectOrRaise<ApplicationObject>(ApplicationObject::kClassId,
                                                      "Could not create the Application object");
    if (m_eRunMode == ModeMorvane) {
      const auto directory = CreateObjectOrRaise<ConnectorDirectory>(ConnectorDirectory::kClassId,
                                                               "Could not create the Configurations object");
      try {
        m_connector = directory->GetConnector(m_connectorId);
      } catch (...) {
        m_connector.reset();
      }
      if (!m_connector) RaiseLibraryError("Could not set the Connector");
    }
    m_logManager = CreateObjectOrRaise<LogManager>(LogManager::kClassId, "Could not create the LogManager");
    m_logManager->m_eRunMode = m_eRunMode;
    Trace("INIT Completed", logLevelDebug, m_moniker);
  });
}

// ---- The tick ----

void MonitorManager::Monitor() {
  Guard("MonitorManager.Monitor: ", [&] {
    m_runStart = NormalizeDate(UTCNow());
    OleDate fileTime;
    if (!StatConfigSource(fileTime)) {
      RaiseLibraryError("Invalid configuration path " + m_configurationSource + " specified.");
    }
    // A clock set back (RunStart before the last pass) counts as due.
    const bool timeDue = m_runStart >= NormalizeDate(m_nextRunTime) || m_runStart < NormalizeDate(m_lastPassTime);
    const bool heartbeatDue = !timeDue && m_lastHeartbeat.SecondsUntil(m_runStart) >= kHeartbeatSeconds;
    const bool configChanged = fileTime > m_configFileDate;
    if (!timeDue && !heartbeatDue && !configChanged) return;

    m_monitorName = IsBlank(TrimBlanks(m_moniker)) ? m_myMonitorId : m_moniker;
    if (!m_application) RaiseLibraryError("No Morvane application object loaded");
    if (m_incidentCollection) m_incidentCollection = std::make_shared<std::vector<std::string>>();
    const int32_t status = m_application->Status();
    Trace("Starting Main Loop - RunMode: " + std::to_string(m_eRunMode) + "   Status: " + std::to_string(status) +
          "   RunOnce: " + BoolText(m_runOnce));
    if (status != kServiceRunning && m_eRunMode == ModeMorvane) return;

    Trace("MONITOR started for " + m_monitorName);
    Trace("Creating monitoring objects for " + m_monitorName);
    CreateMonitoringObjects();
    if (!m_monitorObject) return;

    RunConfigurationPass(timeDue, configChanged, heartbeatDue);
    m_configFileDate = ConfigFileTime();
    if (m_monitorObject) Trace("MONITOR called/completed for " + m_monitorName);
  });
}

void MonitorManager::CreateMonitoringObjects() {
  Guard("MonitorManager.CreateMonitoringObjects: ", [&] {
    if (!m_monitorObject) {
      Trace("Creating Monitor for " + m_monitorName + " (" + m_myMonitorId + ")");
      int32_t number = 0;
      try {
        m_monitorObject = CreateObjectAs<IMonitor>(m_myMonitorId);
      } catch (...) {
        number = CurrentExceptionAsError().Number();
        m_monitorObject.reset();
      }
      if (!m_monitorObject) {
        if (m_monitorCreateFailed) return;  // reported once; a plug-in being downloaded stays quiet
        m_monitorCreateFailed = true;
        RaiseLibraryError("Could not create the monitor " + m_myMonitorId + " (Error " + std::to_string(number) +
                          ").  Monitor DLL may not be downloaded yet");
      }
      m_monitorCreateFailed = false;
    }
    // Objects unloaded by a long-sleeping monitor come back here.
    if (!m_incidentState) {
      m_incidentState = CreateObjectOrRaise<IncidentState>(IncidentState::kClassId, "Could not create an IncidentState");
      m_incidentState->SetLogManager(m_logManager);
    }
    if (!m_incidentForms) {
      m_incidentForms = CreateObjectOrRaise<IncidentForms>(IncidentForms::kClassId, "Could not create an IncidentForms");
      m_incidentForms->SetLogManager(m_logManager);
      Trace("MaxIncidents on IncidentForms for " + m_monitorName + " = " + m_incidentForms->MaxIncidents().ToText());
    }
    if (!m_stateSerializer) {
      m_stateSerializer = CreateObjectOrRaise<ISerializable>(
          XMLSerializer::kClassId,
          "Could not create the specified serializer. Please verify that the ClassID for the serializer is correct "
          "and is registered properly");
      m_stateSerializer->SetSerializeLocation(m_serializeLocation);
    }
    if (!m_formSerializer) {
      m_formSerializer =
          CreateObjectOrRaise<IncFormSerialize>(IncFormSerialize::kClassId, "Could not create the IncidentForm serializer.");
      m_formSerializer->SetLogManager(m_logManager);
      m_formSerializer->SetSerializeLocation(m_serializeLocation);
    }
  });
}

// ---- Shared helpers ----

void MonitorManager::ReportError(const std::string& description, int32_t number, std::string_view category) const {
  if (m_logManager) {
    m_logManager->Log(description, category.empty() ? std::string_view(m_monitorName) : category, logLevelError);
    return;
  }
  throw Error(number, std::string(kErrorCategory), description);
}

void MonitorManager::Trace(std::string_view text, KORADSLog_Level level, std::string_view category) const {
  if (!m_logManager) return;
  m_logManager->Log(text, category.empty() ? std::string_view(m_monitorName) : category, level);
}

OleDate MonitorManager::ConfigFileTime() const {
  const std::optional<FileInfo> info = Platform::Current().GetFileSystem().Stat(m_configurationSource);
  return info ? info->modifiedUtc : OleDate();
}

bool MonitorManager::StatConfigSource(OleDate& fileTime) {
  FileSystem& files = Platform::Current().GetFileSystem();
  if (!m_statPath.empty() && m_statPathFor == m_configurationSource) {
    if (const std::optional<FileInfo> info = files.Stat(m_statPath)) {
      fileTime = info->modifiedUtc;
      return true;
    }
  }
  // First call, a new source, or a file that moved: resolve the name once more.
  const std::optional<FileInfo> info = files.Stat(m_configurationSource);
  if (!info) return false;
  fileTime = info->modifiedUtc;
  m_statPath = files.Resolve(m_configurationSource).value_or(m_configurationSource);
  m_statPathFor = m_configurationSource;
  return true;
}

std::string MonitorManager::ConfigValue(const Configurations& configurations, std::string_view key) {
  const ConfigurationRef item = configurations.Item(key);
  // With a log manager, Item logs the missing key and answers nothing.
  if (!item) RaiseRuntimeError(kErrObjectRequired);
  return item->Value();
}

}  // namespace korad
