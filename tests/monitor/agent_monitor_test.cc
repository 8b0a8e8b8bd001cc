// The agent monitor: the record of every module's sections, the events of removed
// configurations closed in their module and on the server, its failures, and the whole
// round through the MonitorManagers of both modules.
#include "monitor/agent_monitor.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "monitor/event_close_message.h"
#include "monitor/monitor_fixture.h"
#include "platform/profile.h"

namespace korad::testing {
namespace {

// An open event of another module, as its MonitorManager left it in its form file.
struct OpenEvent {
  std::string section;
  std::string resource;
  std::string condition;
  std::optional<std::string> guid;
};

constexpr char kGuidDisk1[] = "{11111111-2222-3333-4444-555555555555}";
constexpr char kGuidDisk2[] = "{66666666-7777-8888-9999-AAAAAAAAAAAA}";
constexpr char kGuidSwap[] = "{BBBBBBBB-CCCC-DDDD-EEEE-FFFFFFFFFFFF}";

class AgentMonitorTest : public MonitorTest {
 protected:
  void SetUp() override {
    MonitorTest::SetUp();
    std::filesystem::create_directories(m_home / "Serialize");
    m_monitor = std::make_shared<AgentMonitor>();
    m_state->SetConfigMoniker("AgentCheck");
  }
  void TearDown() override {
    m_monitor.reset();
    m_state.reset();
    MonitorTest::TearDown();
  }

  // Each file written gets a time later than every one before, so a change is always seen.
  void Touch(const std::string& path) {
    std::filesystem::last_write_time(path,
                                     std::filesystem::file_time_type::clock::now() + std::chrono::minutes(++m_tick));
  }
  void WriteModule(const std::string& module, const std::vector<std::string>& sections) {
    std::string text;
    for (const std::string& section : sections) text += "[" + section + "]\r\nmvFrequency=5\r\n";
    const std::string path = m_home / ("ModuleConfigs/" + module + ".ini");
    WriteWholeFile(path, text);
    Touch(path);
  }
  void DeleteModule(const std::string& module) {
    std::filesystem::remove(m_home / ("ModuleConfigs/" + module + ".ini"));
  }
  // The service file: this monitor's own section and one for each module it runs.
  void WriteServiceFile(const std::vector<std::string>& modules) {
    std::string text = "[AgentCheck]\r\nClassID=KORADevServices.MonitorManager\r\nMoniker=AgentCheck\r\n";
    for (const std::string& module : modules) {
      text += "[" + module + "]\r\nClassID=KORADevServices.MonitorManager\r\nInitializeMethod=Init\r\n";
    }
    WriteWholeFile(ServiceFile(), text);
    Touch(ServiceFile());
  }
  void WriteHeartbeats(const std::vector<std::string>& modules) {
    for (const std::string& module : modules) {
      ASSERT_TRUE(WritePrivateProfileString(module, "HBDate", "2024-03-05T10:30:00Z", HeartbeatFile()));
      ASSERT_TRUE(WritePrivateProfileString(module, "CurrentError", "", HeartbeatFile()));
    }
  }
  // The module's form file as its MonitorManager writes it: each event alerted, sent and
  // carrying the identity attributes, plus one plain attribute.
  void SaveForms(const std::string& module, const std::vector<OpenEvent>& events) {
    auto forms = std::make_shared<IncidentForms>();
    for (const OpenEvent& event : events) {
      forms->SetConfigMoniker(event.section);
      IncidentFormRef form = forms->Add(event.resource, event.condition, {Value("Detail:=used 95% of 40 GB")});
      ASSERT_NE(form, nullptr);
      form->SetAlertStatus(AlertOn);
      form->SetPriority(3);
      form->SetProcessedByMM(true);
      form->SetKeyAttributes("Detail");
      if (event.guid) form->GetAttributes()->Add("mvGUID", Value(*event.guid));
      form->GetAttributes()->Add("mvConfigurationID", Value(event.section));
    }
    IncFormSerialize serializer;
    serializer.Save(forms, module);
    ASSERT_TRUE(std::filesystem::exists(m_home / ("Serialize/IF" + module + ".SER")));
  }

  // One run of the monitor, as its MonitorManager makes it, into new forms.
  std::shared_ptr<IncidentForms> Pass() {
    auto forms = std::make_shared<IncidentForms>();
    forms->SetConfigMoniker("AgentCheck");
    LogManagerRef log = m_log;
    m_monitor->GetIncident(forms, m_state, nullptr, log);
    return forms;
  }

  std::string Record() { return m_state->Item(AgentMonitor::kRecordKey).ToText(); }
  std::string ServiceFile() const { return m_home / "BIN/MvAgent.ini"; }
  std::string MarkerPath(const std::string& module, const std::string& guid) const {
    return m_home / ("ModuleMessages/" + module + "/" + guid);
  }
  std::vector<std::string> Logged(const std::string& fragment) const {
    std::vector<std::string> texts;
    for (const LogLine& line : m_log->Matching(fragment, AgentMonitor::kLogSource)) texts.push_back(line.text);
    return texts;
  }
  size_t Errors() const { return m_log->CountAtLevel(logLevelError); }
  static std::string Text(const IncidentForm& form, const std::string& key) {
    AttributeRef attribute = form.GetAttributes()->Item(Value(key));
    return attribute ? attribute->Value().ToText() : std::string("<missing>");
  }

  // The usual agent: two modules the service runs, with events open in three sections.
  void StartWithTwoModules() {
    WriteModule("CPU", {"Disk1", "Disk2"});
    WriteModule("Mem", {"Swap"});
    WriteServiceFile({"CPU", "Mem"});
    WriteHeartbeats({"CPU", "Mem"});
    SaveForms("CPU", {{"Disk1", "Server 1", "DiskFull", kGuidDisk1}, {"Disk2", "Server 1", "DiskSlow", kGuidDisk2}});
    SaveForms("Mem", {{"Swap", "Server 1", "SwapHigh", kGuidSwap}});
    ASSERT_EQ(Pass()->AllForms().size(), 0u);
    m_log->Clear();
  }

  int m_tick = 0;
  std::shared_ptr<RecordingLogManager> m_log = std::make_shared<RecordingLogManager>();
  std::shared_ptr<IncidentState> m_state = std::make_shared<IncidentState>();
  std::shared_ptr<AgentMonitor> m_monitor;
};

TEST_F(AgentMonitorTest, FirstRunRecordsEverySectionThenIdlePassesOnlyList) {
  WriteModule("CPU", {"Disk1", "Disk2"});
  WriteModule("Mem", {"Swap"});
  WriteServiceFile({"CPU", "Mem"});
  WriteHeartbeats({"CPU", "Mem"});
  SaveForms("CPU", {{"Disk1", "Server 1", "DiskFull", kGuidDisk1}});

  std::shared_ptr<IncidentForms> forms = Pass();
  EXPECT_EQ(forms->AllForms().size(), 0u);
  EXPECT_EQ(Record(), "CPU::[Disk1][Disk2]:;:Mem::[Swap]:;:");
  EXPECT_EQ(Logged("Starting new configuration record").size(), 1u);
  EXPECT_EQ(Logged("# of configurations for module = CPU = 1").size(), 1u);
  EXPECT_EQ(Logged("No configuration changes detected. Will not check for open events").size(), 1u);
  EXPECT_FALSE(std::filesystem::exists(m_home / "ModuleMessages"));
  EXPECT_EQ(GetPrivateProfileSectionNames(HeartbeatFile()), (std::vector<std::string>{"CPU", "Mem"}));
  EXPECT_EQ(m_monitor->LastFileCount(), 2);
  EXPECT_FALSE(m_monitor->LastConfigurationUpdate().IsZero());
  EXPECT_EQ(Errors(), 0u);

  // Nothing changed: one listing, no file read, the record as it was.
  m_log->Clear();
  m_files->Clear();
  EXPECT_EQ(Pass()->AllForms().size(), 0u);
  EXPECT_EQ(m_files->Count("List"), 1);
  EXPECT_EQ(m_files->Count("ReadFile"), 0);
  EXPECT_EQ(Logged("LoadConfigurationFiles: Load Sections = False").size(), 1u);
  EXPECT_TRUE(Logged("Loading sections").empty());
  EXPECT_EQ(Record(), "CPU::[Disk1][Disk2]:;:Mem::[Swap]:;:");
}

TEST_F(AgentMonitorTest, RemovedSectionClosesItsEventsOnceAndOnlyThere) {
  StartWithTwoModules();
  WriteModule("CPU", {"Disk2"});

  std::shared_ptr<IncidentForms> forms = Pass();
  ASSERT_EQ(forms->AllForms().size(), 1u);
  const IncidentForm& closing = *forms->AllForms()[0];
  EXPECT_EQ(closing.AlertStatus(), AlertOff);
  EXPECT_EQ(closing.Resource(), "Server1");  // resources are held without blanks
  EXPECT_EQ(closing.Condition(), "DiskFull");
  EXPECT_EQ(closing.Priority(), 3);
  EXPECT_TRUE(closing.ProcessedByMM());
  EXPECT_EQ(closing.KeyAttributes(), "Detail");
  EXPECT_EQ(closing.ConfigMoniker(), "AgentCheck");
  EXPECT_EQ(Text(closing, "mvGUID"), kGuidDisk1);
  EXPECT_EQ(Text(closing, "mvConfigurationID"), "Disk1");
  EXPECT_EQ(Text(closing, "Detail"), "used 95% of 40 GB");
  EXPECT_EQ(Text(closing, "ClosedUser"), "<Closed By Agent Due To Deleted Configuration>");
  EXPECT_FALSE(closing.UpdateOccurred());

  // The module's own MonitorManager gets a marker; the other events are left alone.
  EXPECT_EQ(ReadBytes(MarkerPath("CPU", kGuidDisk1)), std::string(kGuidDisk1) + "\r\n");
  EXPECT_FALSE(std::filesystem::exists(MarkerPath("CPU", kGuidDisk2)));
  EXPECT_FALSE(std::filesystem::exists(m_home / "ModuleMessages/Mem"));
  EXPECT_EQ(GetPrivateProfileSectionNames(HeartbeatFile()), std::vector<std::string>{"Mem"});
  EXPECT_EQ(Record(), "CPU::[Disk2]:;:Mem::[Swap]:;:");
  EXPECT_EQ(Logged("LoadConfigurationFiles: Found removed configuration = Disk1 for module = CPU").size(), 1u);
  EXPECT_EQ(Logged("ProcessOpenEvents: Checking IncidentForm serialize file for module = CPU").size(), 1u);
  EXPECT_EQ(Logged("CreateEventCloseMessage: Created close request file with GUID " + std::string(kGuidDisk1)).size(),
            1u);
  EXPECT_EQ(Logged("ProcessOpenEvents: Sent a close incident for the event.").size(), 1u);
  EXPECT_EQ(Logged("LoadConfigurationFiles: Completed").size(), 1u);
  EXPECT_EQ(Errors(), 0u);

  // A later change elsewhere doesn't report the same removal again.
  m_log->Clear();
  WriteModule("Mem", {"Swap", "Page"});
  EXPECT_EQ(Pass()->AllForms().size(), 0u);
  EXPECT_TRUE(Logged("Found removed configuration").empty());
  EXPECT_EQ(Record(), "CPU::[Disk2]:;:Mem::[Swap][Page]:;:");
}

TEST_F(AgentMonitorTest, ARenamedSectionIsOneRemovalAMovedNameNoneAndADeletedFileAllOfItsSections) {
  StartWithTwoModules();
  // Disk2 is renamed (to a name that holds the old one); Swap moves from Mem to CPU under the same name.
  WriteModule("CPU", {"Disk1", "Disk22", "Swap"});
  WriteModule("Mem", {"Page"});
  std::shared_ptr<IncidentForms> forms = Pass();
  EXPECT_EQ(Logged("Found removed configuration").size(), 1u);
  EXPECT_EQ(Logged("Found removed configuration = Disk2 for module = CPU").size(), 1u);
  ASSERT_EQ(forms->AllForms().size(), 1u);
  EXPECT_EQ(Text(*forms->AllForms()[0], "mvGUID"), kGuidDisk2);
  EXPECT_FALSE(std::filesystem::exists(m_home / "ModuleMessages/Mem"));
  EXPECT_EQ(Record(), "CPU::[Disk1][Disk22][Swap]:;:Mem::[Page]:;:");

  m_log->Clear();
  DeleteModule("CPU");
  forms = Pass();
  EXPECT_EQ(Logged("Found removed configuration").size(), 3u);
  ASSERT_EQ(forms->AllForms().size(), 1u);
  EXPECT_EQ(Text(*forms->AllForms()[0], "mvConfigurationID"), "Disk1");
  EXPECT_TRUE(std::filesystem::exists(MarkerPath("CPU", kGuidDisk1)));
  EXPECT_EQ(Record(), "Mem::[Page]:;:");
  EXPECT_EQ(m_monitor->LastFileCount(), 1);
}

TEST_F(AgentMonitorTest, ModulesTheServiceDoesNotRunAreNotRecorded) {
  WriteModule("CPU", {"Disk1", "Disk2"});
  WriteModule("Stray", {"One"});
  WriteServiceFile({"CPU", "Empty"});
  WriteWholeFile(m_home / "ModuleConfigs/Empty.ini", "");
  WriteHeartbeats({"CPU"});
  SaveForms("CPU", {{"Disk1", "Server 1", "DiskFull", kGuidDisk1}});

  EXPECT_EQ(Pass()->AllForms().size(), 0u);
  EXPECT_EQ(Record(), "CPU::[Disk1][Disk2]:;:");
  EXPECT_EQ(Logged("LoadConfigurationFiles: No service file entry for module = Stray").size(), 1u);
  EXPECT_EQ(Logged("LoadConfigurationFiles: Invalid sections for module = Empty").size(), 1u);

  // The service stops running CPU: its sections count as removed, though the file stays.
  m_log->Clear();
  WriteServiceFile({"Empty"});
  std::shared_ptr<IncidentForms> forms = Pass();
  EXPECT_EQ(Logged("LoadConfigurationFiles: No service file entry for module = CPU").size(), 1u);
  EXPECT_EQ(Logged("Found removed configuration").size(), 2u);
  ASSERT_EQ(forms->AllForms().size(), 1u);
  EXPECT_EQ(Text(*forms->AllForms()[0], "mvConfigurationID"), "Disk1");
  EXPECT_TRUE(std::filesystem::exists(MarkerPath("CPU", kGuidDisk1)));
  EXPECT_EQ(Record(), "");
  EXPECT_TRUE(GetPrivateProfileSectionNames(HeartbeatFile()).empty());
}

TEST_F(AgentMonitorTest, WithoutAGuidThereIsNoMarkerAndWithoutAFormFileOnlyTheHeartbeatGoes) {
  WriteModule("CPU", {"Disk1", "Disk2"});
  WriteModule("Mem", {"Swap"});
  WriteModule("Net", {"Eth0", "Eth1"});
  WriteServiceFile({"CPU", "Mem", "Net"});
  WriteHeartbeats({"CPU", "Mem", "Net"});
  SaveForms("CPU", {{"Disk1", "Server 1", "DiskFull", std::nullopt}});
  Pass();
  WriteModule("CPU", {"Disk2"});
  WriteModule("Net", {"Eth0"});

  std::shared_ptr<IncidentForms> forms = Pass();
  ASSERT_EQ(forms->AllForms().size(), 1u);
  EXPECT_EQ(forms->AllForms()[0]->AlertStatus(), AlertOff);
  EXPECT_EQ(Text(*forms->AllForms()[0], "ClosedUser"), "<Closed By Agent Due To Deleted Configuration>");
  EXPECT_FALSE(std::filesystem::exists(m_home / "ModuleMessages"));
  EXPECT_TRUE(Logged("CreateEventCloseMessage").empty());
  EXPECT_EQ(GetPrivateProfileSectionNames(HeartbeatFile()), std::vector<std::string>{"Mem"});
  EXPECT_EQ(GetPrivateProfileString("Mem", "HBDate", "", HeartbeatFile()), "2024-03-05T10:30:00Z");
  EXPECT_FALSE(std::filesystem::exists(m_home / "Serialize/IFNet.SER"));
  EXPECT_EQ(Logged("ProcessOpenEvents: Completed").size(), 1u);
  EXPECT_EQ(Errors(), 0u);
}

TEST_F(AgentMonitorTest, FailuresAreLoggedPerRoutineAndEndOnlyThatRoutine) {
  StartWithTwoModules();
  // A file where the messages folder belongs: no marker can be written.
  WriteWholeFile(m_home / "ModuleMessages", "in the way");
  WriteModule("CPU", {"Disk2"});

  std::shared_ptr<IncidentForms> forms = Pass();
  const std::vector<std::string> failures = Logged("CreateEventCloseMesssage: ");
  ASSERT_EQ(failures.size(), 1u);
  EXPECT_EQ(m_log->Matching("CreateEventCloseMesssage: ")[0].level, logLevelError);
  EXPECT_EQ(Errors(), 1u);
  // The close incident goes out all the same.
  ASSERT_EQ(forms->AllForms().size(), 1u);
  EXPECT_EQ(Text(*forms->AllForms()[0], "mvGUID"), kGuidDisk1);
}

TEST_F(AgentMonitorTest, AFailedRecordBuildIsNotRepeatedUntilTheFilesChangeAndRaisesWithoutALog) {
  WriteModule("CPU", {"Disk1"});
  WriteServiceFile({"CPU"});
  std::shared_ptr<IncidentForms> forms = std::make_shared<IncidentForms>();
  std::shared_ptr<IncidentState> noState;
  LogManagerRef noLog;
  try {
    AgentMonitor().GetIncident(forms, noState, nullptr, noLog);
    ADD_FAILURE() << "no error raised";
  } catch (const Error& error) {
    EXPECT_EQ(error.Number(), kErrObjectRequired);
    EXPECT_EQ(error.Description(), "GetIncident: LoadConfigurationFiles: Object required");
  }

  LogManagerRef log = m_log;
  m_monitor->GetIncident(forms, noState, nullptr, log);
  const std::vector<LogLine> failures = m_log->Matching("LoadConfigurationFiles: Object required");
  ASSERT_EQ(failures.size(), 1u);
  EXPECT_EQ(failures[0].level, logLevelError);
  EXPECT_EQ(failures[0].category, "AgentMonitor");
  EXPECT_EQ(Logged("ProcessOpenEvents: Completed").size(), 0u);
  EXPECT_EQ(Logged("No configuration changes detected").size(), 1u);
  // The times were taken before the failure: the next pass sees no change.
  m_log->Clear();
  Pass();
  EXPECT_EQ(Logged("Load Sections = False").size(), 1u);
  EXPECT_FALSE(m_state->Exists(AgentMonitor::kRecordKey));
  WriteModule("CPU", {"Disk1", "Disk2"});
  Pass();
  EXPECT_EQ(Record(), "CPU::[Disk1][Disk2]:;:");
}

TEST_F(AgentMonitorTest, ACloseMessageReplacesAnOlderMarkerAndTheClassIsAMonitor) {
  WriteWholeFile(MarkerPath("Mem", kGuidSwap), "stale content that is longer than a GUID\r\n");
  CreateEventCloseMessage(m_home.Path(), kGuidSwap, "Mem", m_log, "Configuration");
  EXPECT_EQ(ReadBytes(MarkerPath("Mem", kGuidSwap)), std::string(kGuidSwap) + "\r\n");
  CreateEventCloseMessage(m_home.Path(), kGuidDisk1, "CPU", m_log, "Configuration");
  EXPECT_EQ(ReadBytes(MarkerPath("CPU", kGuidDisk1)), std::string(kGuidDisk1) + "\r\n");
  EXPECT_EQ(m_log->Matching("CreateEventCloseMessage: Creating close request file with GUID", "Configuration").size(),
            2u);
  EXPECT_EQ(m_log->Matching("CreateEventCloseMessage: Created close request file with GUID", "Configuration").size(),
            2u);

  ClassRegistry registry;
  RegisterAgentMonitor(registry);
  RegisterAgentMonitor(registry);
  ObjectRef object = registry.TryCreate("koradevservices.agentmonitor");
  ASSERT_NE(object, nullptr);
  EXPECT_EQ(object->ClassId(), AgentMonitor::kClassId);
  EXPECT_NE(std::dynamic_pointer_cast<IMonitor>(object), nullptr);
}

// Run by a MonitorManager of its own, the agent monitor closes what a removed
// configuration of another module left open: a "(Resolved)" incident goes out at once,
// and the other module drops its form at its next pass without a resolve of its own.
TEST_F(AgentMonitorTest, TheRemovedConfigurationsEventIsResolvedOnceAndLeavesItsModulesFormFile) {
  RegisterAgentMonitor(ClassRegistry::Global());
  WriteWholeFile(ServiceFile(), "[Disk]\r\nClassID=KORADevServices.MonitorManager\r\n"
                                "[AgentMon]\r\nClassID=KORADevServices.MonitorManager\r\n");
  // Older than the module files, whose times the fixture moves on with each edit.
  std::filesystem::last_write_time(ServiceFile(), m_iniTime);
  const std::string config = "mvFrequency=60\r\nmvFrequencyUnits=SECONDS\r\n";
  WriteIni("[Root]\r\n" + config + "[Var]\r\n" + config, "Disk");
  WriteIni("[Self]\r\n" + config, "AgentMon");
  Script().For("Root").reports = {{"Server1", "DiskFull"}};
  Script().For("Var").reports = {{"Server2", "DiskFull"}};
  const auto disk = MakeManager(ModeMorvane, "Disk");
  const auto agent = MakeManager(ModeMorvane, "AgentMon", AgentMonitor::kClassId);
  disk->Monitor();
  agent->Monitor();
  ASSERT_EQ(QueuedIncidents().size(), 2u);

  WriteIni("[Root]\r\n" + config, "Disk");  // "Var" is removed
  Advance(60);
  agent->Monitor();
  const std::vector<std::string> incidents = QueuedIncidents();
  ASSERT_EQ(incidents.size(), 3u);
  auto sent = std::make_shared<IncidentForms>();
  ASSERT_TRUE(sent->CreateFormFromString(incidents[2], "test"));
  EXPECT_EQ(sent->Item(1)->Condition(), "DiskFull(Resolved)");
  EXPECT_EQ(Text(*sent->Item(1), "ClosedUser"), "<Closed By Agent Due To Deleted Configuration>");
  EXPECT_EQ(Text(*sent->Item(1), "mvConfigurationID"), "Var");

  Script().For("Var").reports.clear();
  disk->Monitor();  // the ini changed: a pass, and the marker of the closed event is read
  EXPECT_EQ(QueuedIncidents().size(), 3u) << "no second resolve from the module itself";
  const std::shared_ptr<IncidentForms> left = LoadForms("Disk");
  ASSERT_EQ(left->AllForms().size(), 1u);
  EXPECT_EQ(left->AllForms()[0]->ConfigMoniker(), "Root");
}

}  // namespace
}  // namespace korad::testing
