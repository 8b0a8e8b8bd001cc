// A MonitorManager on a temporary agent home, driven pass by pass.
//
// What it gives a test:
// - TempHome with BIN/ and ModuleConfigs/, a FakeApplication (status 4) whose recording
//   log writer receives every line the manager's LogManager writes in ModeMorvane, and a
//   FakeClock as the platform's clock (starting 2024-01-15 12:00:00 UTC, offset 0).
// - TestMonitor, a plug-in registered under kTestMonitorClassId, which does on each
//   GetIncident what TestMonitorScript says for the configuration in hand: add forms,
//   store state items, set Configurations.Error, raise. It records every call.
// - CountingFileSystem, the real file system counting what is asked of it, installed for
//   every test, so a test can say what a tick cost (Files().Count(...)).
// - MonitorManagerTestPeer, for the tests that drive one routine of the engine.
// - Helpers for the ini file, the manager, the files the manager keeps and the queue.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "contracts/class_registry.h"
#include "contracts/error.h"
#include "contracts/text.h"
#include "foundation/configurations.h"
#include "foundation/foundation_classes.h"
#include "foundation/validation_rules.h"
#include "incident/inc_form_serialize.h"
#include "incident/incident_classes.h"
#include "incident/incident_form.h"
#include "incident/incident_forms.h"
#include "incident/incident_state.h"
#include "monitor/monitor_manager.h"
#include "monitor/queue_names.h"
#include "platform/connector.h"
#include "platform/file_system.h"
#include "platform/platform.h"
#include "platform/platform_classes.h"
#include "support/counting_file_system.h"
#include "support/fake_clock.h"
#include "support/recording_log.h"
#include "support/temp_folder.h"

namespace korad {

// The engine's routines, for the tests that drive one of them on its own.
class MonitorManagerTestPeer {
 public:
  explicit MonitorManagerTestPeer(MonitorManager& manager) : m_manager(manager) {}
  Value SetIncidents(std::shared_ptr<IncidentForms>& forms, const std::vector<Value>& configList,
                     std::shared_ptr<Configurations>& configurations) {
    return m_manager.SetIncidents(forms, configList, configurations);
  }
  void LoadConfigurationErrors(std::string_view module) { m_manager.LoadConfigurationErrors(module); }
  void SaveConfigurationErrors(std::string_view module) { m_manager.SaveConfigurationErrors(module); }
  std::string BuildConfigurationError() { return m_manager.BuildConfigurationError(); }
  void CleanConfigErrors(const SectionNameArray& sections) { m_manager.CleanConfigErrors(sections); }
  void UpdateHeartbeats(std::string_view module, std::string_view text) { m_manager.UpdateHeartbeats(module, text); }

 private:
  MonitorManager& m_manager;
};

}  // namespace korad

namespace korad::testing {

inline constexpr std::string_view kTestMonitorClassId = "KORADevServices.Test.TestMonitor";
inline constexpr const char* kModule = "TestModule";

// What TestMonitor does and what it saw. One script serves every instance: the manager
// creates plug-ins by class id, so a test can't hand them anything directly.
struct TestMonitorScript {
  struct Report {
    std::string resource;
    std::string condition;
    AlertStatusEnum status = AlertOn;
    std::vector<std::pair<std::string, std::string>> attributes;
  };
  // Per configuration moniker; applies to every call until the test changes it.
  struct Behaviour {
    std::vector<Report> reports;        // forms added by each call
    std::string configError;            // set as Configurations.Error
    std::optional<std::string> raise;   // GetIncident raises this text
  };
  // One GetIncident call as the plug-in saw it.
  struct Call {
    std::string moniker;
    OleDate lastRunTime;
    RunMode runMode = ModeMorvane;
    int32_t frequency = 0;
    int32_t waitAlert = 0;
    std::string waitAlertUnits;
  };

  std::map<std::string, Behaviour, std::less<>> byMoniker;  // keys as the ini writes them
  // Called from SetValidationRules; declares the monitor's keys.
  std::function<void(ValidationRules&)> rules;
  // Called at the end of each GetIncident, before a scripted raise, for anything else.
  std::function<void(IncidentForms&, IncidentState&, Configurations&)> hook;

  std::vector<Call> calls;
  int instancesCreated = 0;
  int rulesRequests = 0;

  Behaviour& For(const std::string& moniker) { return byMoniker[moniker]; }
  size_t CallsFor(const std::string& moniker) const {
    size_t n = 0;
    for (const Call& call : calls) n += call.moniker == moniker;
    return n;
  }
  void Reset() { *this = TestMonitorScript(); }

  static TestMonitorScript& Current() {
    static TestMonitorScript script;
    return script;
  }
};

class TestMonitor final : public Object, public IMonitor {
 public:
  std::string_view ClassId() const noexcept override { return kTestMonitorClassId; }

  void GetIncident(std::shared_ptr<IncidentForms>& incidentForms, std::shared_ptr<IncidentState>& incidentState,
                   const std::shared_ptr<Configurations>& configurations, LogManagerRef&) override {
    TestMonitorScript& script = TestMonitorScript::Current();
    TestMonitorScript::Call call;
    call.moniker = configurations->ConfigMoniker();
    call.lastRunTime = configurations->LastRunTime();
    call.runMode = configurations->GetRunMode();
    call.frequency = configurations->Frequency();
    call.waitAlert = configurations->WaitAlert();
    call.waitAlertUnits = configurations->WaitAlertUnits();
    script.calls.push_back(call);

    const TestMonitorScript::Behaviour behaviour = script.For(call.moniker);
    for (const TestMonitorScript::Report& report : behaviour.reports) {
      std::vector<Value> attributes;
      for (const auto& [key, value] : report.attributes) attributes.emplace_back(key + ":=" + value);
      const IncidentFormRef form = incidentForms->Add(report.resource, report.condition, attributes);
      if (form && form->AlertStatus() != report.status) form->SetAlertStatus(report.status);
    }
    if (!behaviour.configError.empty()) configurations->SetError(behaviour.configError);
    if (script.hook) script.hook(*incidentForms, *incidentState, *configurations);
    if (behaviour.raise) RaiseLibraryError(*behaviour.raise);
  }

  void SetValidationRules(const std::shared_ptr<ValidationRules>& validationRules) override {
    TestMonitorScript& script = TestMonitorScript::Current();
    ++script.rulesRequests;
    if (script.rules) script.rules(*validationRules);
  }
};

// Registers the library's classes, MonitorManager and TestMonitor in the global
// registry, once per process.
inline void RegisterMonitorTestClasses() {
  static const bool done = [] {
    ClassRegistry& registry = ClassRegistry::Global();
    RegisterPlatformClasses(registry);
    RegisterFoundationClasses(registry);
    RegisterIncidentClasses(registry);
    registry.RegisterClass<MonitorManager>(MonitorManager::kClassId);
    registry.Register(kTestMonitorClassId, [] {
      ++TestMonitorScript::Current().instancesCreated;
      return std::static_pointer_cast<Object>(std::make_shared<TestMonitor>());
    });
    return true;
  }();
  (void)done;
}

class MonitorTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { RegisterMonitorTestClasses(); }

  void SetUp() override {
    std::filesystem::create_directories(m_home / "BIN");
    std::filesystem::create_directories(m_home / "ModuleConfigs");
    Platform& platform = Platform::Current();
    platform.SetApplication(m_app);
    platform.SetClock(m_clock);
    platform.SetFileSystem(m_files);
    TestMonitorScript::Current().Reset();
  }
  void TearDown() override {
    m_managers.clear();  // their destructors log through the platform still in place
    Platform& platform = Platform::Current();
    platform.SetFileSystem(nullptr);
    platform.SetClock(nullptr);
    platform.SetApplication(nullptr);
    TestMonitorScript::Current().Reset();
  }

  // ---- The ini file ----
  std::string IniPath(const std::string& module = kModule) const {
    return m_home / ("ModuleConfigs/" + module + ".INI");
  }
  // Writes the module's ini file; "\n" line ends are fine. Its file time is set to a
  // later second than any write before, so that a changed file always shows.
  std::string WriteIni(const std::string& text, const std::string& module = kModule) {
    const std::string path = IniPath(module);
    WriteWholeFile(path, text);
    TouchIni(module);
    return path;
  }
  // Moves the ini's file time one second past the last one set, as an edit would.
  void TouchIni(const std::string& module = kModule) {
    m_iniTime += std::chrono::seconds(1);
    std::filesystem::last_write_time(IniPath(module), m_iniTime);
  }

  // ---- The manager ----
  // A manager of `module` running TestMonitor, with Init called.
  std::shared_ptr<MonitorManager> MakeManager(RunMode mode = ModeMorvane, const std::string& module = kModule,
                                              std::string_view monitorId = kTestMonitorClassId) {
    auto manager = std::make_shared<MonitorManager>();
    manager->SetRunMode(mode);
    manager->SetMoniker(module);
    manager->SetMyMonitorID(monitorId);
    manager->Init();
    m_managers.push_back(manager);
    return manager;
  }
  TestMonitorScript& Script() { return TestMonitorScript::Current(); }
  void Advance(double seconds) { m_clock->Advance(seconds); }

  // ---- The log: every line of the manager's LogManager in ModeMorvane ----
  std::vector<LogLine> Lines() const { return m_app->Writer().Lines(); }
  std::vector<LogLine> Matching(std::string_view fragment) const {
    std::vector<LogLine> found;
    for (const LogLine& line : Lines()) {
      if (line.text.find(fragment) != std::string::npos) found.push_back(line);
    }
    return found;
  }
  // Lines at level 2 or below. One error is left out: the CRC of a form is a checked sum
  // of signed 32-bit CRCs of its attributes, which overflows, by design, for some random
  // mvGUIDs; a test that wants it looks for it with Matching.
  std::vector<LogLine> ErrorLines() const {
    std::vector<LogLine> found;
    for (const LogLine& line : Lines()) {
      if (line.kind != LogLine::Line || line.level > logLevelError) continue;
      if (line.text.find("IncidentForms.CalculateFormCRC: Overflow") != std::string::npos) continue;
      found.push_back(line);
    }
    return found;
  }
  size_t LineCount() const { return Lines().size(); }

  // ---- The files the manager keeps ----
  std::string SerializePath(const std::string& name) const { return m_home / ("Serialize/" + name); }
  std::string StateFile(const std::string& module = kModule) const { return SerializePath(module + ".SER"); }
  std::string FormsFile(const std::string& module = kModule) const { return SerializePath("IF" + module + ".SER"); }
  std::string ConfigErrorFile(const std::string& module = kModule) const {
    return SerializePath("CE" + module + ".SER");
  }
  std::string HeartbeatFile() const { return SerializePath("MonitorHeartbeats.SER"); }
  bool Exists(const std::string& path) const { return std::filesystem::exists(path); }

  // The forms file of `module` as a fresh collection would load it.
  std::shared_ptr<IncidentForms> LoadForms(const std::string& module = kModule) {
    auto forms = std::make_shared<IncidentForms>();
    IncFormSerialize().Load(forms, module);
    forms->SetConfigMoniker("ALL");
    forms->ResetFilter();
    return forms;
  }

  // ---- The outgoing queue (ConnectorID "MvRouterQ") ----
  std::vector<ConnectorMessage> QueuedMessages() {
    return MakeDirectoryConnector(m_home / "Connectors/MvRouterQ")->Peek(1000);
  }
  // Bodies of the queued incidents, oldest first.
  std::vector<std::string> QueuedIncidents() {
    std::vector<std::string> bodies;
    for (const ConnectorMessage& message : QueuedMessages()) {
      if (message.TargetQueue() == kIncidentQueue) bodies.push_back(message.Body());
    }
    return bodies;
  }

  TempHome m_home;
  std::shared_ptr<FakeApplication> m_app = std::make_shared<FakeApplication>(m_home.Path());
  std::shared_ptr<FakeClock> m_clock = std::make_shared<FakeClock>();
  std::shared_ptr<CountingFileSystem> m_files = std::make_shared<CountingFileSystem>();
  std::vector<std::shared_ptr<MonitorManager>> m_managers;
  std::filesystem::file_time_type m_iniTime = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
};

}  // namespace korad::testing
