// The configuration pass: what a disabled, an invalid or a failing configuration does to
// the others, to its forms and to the heartbeat; a stopping agent; an ini without
// configurations; and the unit tester's run that touches no file.
#include <string>

#include "monitor/monitor_fixture.h"
#include "platform/profile.h"

namespace korad::testing {
namespace {

class MonitorPassTest : public MonitorTest {
 protected:
  std::string HeartbeatError() { return GetPrivateProfileString(kModule, "CurrentError", "<none>", HeartbeatFile()); }
  size_t OpenForms(const std::string& moniker) {
    size_t n = 0;
    const std::shared_ptr<IncidentForms> forms = LoadForms();
    for (const IncidentFormRef& form : forms->AllForms()) n += form->ConfigMoniker() == moniker;
    return n;
  }

  std::shared_ptr<MonitorManager> m_manager;
};

TEST_F(MonitorPassTest, DisabledConfigurationKeepsItsFormsAndDropsItsError) {
  WriteIni("[CPU]\r\nmvFrequency=60\r\n[Disk]\r\nmvFrequency=60\r\n");
  Script().For("CPU").reports = {{"Server1", "CpuHigh"}};
  Script().For("CPU").configError = "sensor flaky";
  m_manager = MakeManager();
  m_manager->Monitor();
  ASSERT_EQ(QueuedIncidents().size(), 1u);
  ASSERT_EQ(HeartbeatError(), "[mv[CPU]]: sensor flaky***mvCrLf******mvCrLf***");

  WriteIni("[CPU]\r\nmvFrequency=60\r\nmvDisabled=true\r\n[Disk]\r\nmvFrequency=60\r\n");
  Script().For("CPU").reports.clear();  // were it asked, its form would go off
  Advance(60);
  m_manager->Monitor();
  EXPECT_EQ(Script().CallsFor("CPU"), 1u);
  EXPECT_EQ(Script().CallsFor("Disk"), 2u);
  EXPECT_EQ(Matching("Configuration CPU is disabled.  Cleared any configuration errors. ").size(), 1u);
  EXPECT_EQ(QueuedIncidents().size(), 1u) << "no resolve for a disabled configuration";
  EXPECT_EQ(OpenForms("CPU"), 1u);
  EXPECT_EQ(HeartbeatError(), "");
}

TEST_F(MonitorPassTest, FailedValidationHoldsTheFormsAndStandsInTheHeartbeat) {
  Script().rules = [](ValidationRules& rules) { rules.Add("Threshold", true, "HIGH,LOW"); };
  WriteIni("[CPU]\r\nmvFrequency=60\r\nThreshold=high\r\n");
  Script().For("CPU").reports = {{"Server1", "CpuHigh"}};
  m_manager = MakeManager();
  m_manager->Monitor();
  ASSERT_EQ(Script().CallsFor("CPU"), 1u);
  ASSERT_EQ(QueuedIncidents().size(), 1u);

  WriteIni("[CPU]\r\nmvFrequency=60\r\nThreshold=MEDIUM\r\n");
  Advance(60);
  m_manager->Monitor();
  EXPECT_EQ(Script().CallsFor("CPU"), 1u);
  const std::string why = "Unacceptable value 'MEDIUM' for Key='Threshold',Resource 'CPU' Valid Values: HIGH,LOW";
  ASSERT_EQ(ErrorLines().size(), 1u);
  EXPECT_EQ(ErrorLines()[0].text, "ERROR: Cannot call GetIncidents on " + std::string(kTestMonitorClassId) +
                                       " due to a failed configuration validation. Message was: " + why);
  EXPECT_EQ(HeartbeatError(),
            "[mv[CPU]]: Invalid configuration for " + std::string(kTestMonitorClassId) + " " + why +
                "***mvCrLf******mvCrLf***");
  // The error file is saved with the forms, by a pass in which a plug-in ran.
  EXPECT_EQ(ReadBytes(ConfigErrorFile()), "");
  EXPECT_EQ(OpenForms("CPU"), 1u);
  EXPECT_EQ(QueuedIncidents().size(), 1u) << "the open form waits";
  EXPECT_EQ(Script().rulesRequests, 1) << "the rules are asked for once";
}

TEST_F(MonitorPassTest, PluginFailureStaysWithItsConfiguration) {
  WriteIni("[A]\r\nmvFrequency=60\r\n[B]\r\nmvFrequency=60\r\n[C]\r\nmvFrequency=60\r\n");
  Script().For("A").raise = "disk unreadable";
  Script().For("B").reports = {{"Server1", "CpuHigh"}};
  Script().For("C").configError = "half measured";
  m_manager = MakeManager();
  m_manager->Monitor();
  EXPECT_EQ(Script().CallsFor("B"), 1u);
  EXPECT_EQ(Script().CallsFor("C"), 1u);
  EXPECT_EQ(QueuedIncidents().size(), 1u);
  EXPECT_TRUE(ErrorLines().empty()) << "a plug-in's error is the configuration's, not the log's";
  EXPECT_EQ(HeartbeatError(), "[mv[A]]: disk unreadable***mvCrLf******mvCrLf***[mv[C]]: half "
                              "measured***mvCrLf******mvCrLf***");
  EXPECT_EQ(Script().instancesCreated, 4) << "one plug-in per configuration, and one to ask for the rules";

  // Fixed: the error goes with the next successful call.
  Script().For("A").raise.reset();
  Advance(60);
  m_manager->Monitor();
  EXPECT_EQ(HeartbeatError(), "[mv[C]]: half measured***mvCrLf******mvCrLf***");
  EXPECT_EQ(Script().instancesCreated, 4);
}

TEST_F(MonitorPassTest, RemovedConfigurationLosesItsError) {
  WriteIni("[Old]\r\nmvFrequency=60\r\n[CPU]\r\nmvFrequency=60\r\n");
  Script().For("Old").raise = "gone soon";
  m_manager = MakeManager();
  m_manager->Monitor();
  ASSERT_EQ(HeartbeatError(), "[mv[Old]]: gone soon***mvCrLf******mvCrLf***");

  WriteIni("[CPU]\r\nmvFrequency=60\r\n");
  Advance(5);  // not due: the changed file alone starts the pass
  m_manager->Monitor();
  EXPECT_EQ(Matching("CleanConfigErrors: Removing Configuration Errors for Old").size(), 1u);
  EXPECT_EQ(HeartbeatError(), "");
}

TEST_F(MonitorPassTest, IniWithOnlyGlobalIsAnError) {
  WriteIni("[Global]\r\nmvFrequency=60\r\n");
  m_manager = MakeManager();
  m_manager->Monitor();
  ASSERT_EQ(ErrorLines().size(), 1u);
  EXPECT_EQ(ErrorLines()[0].text,
            "ERROR: MonitorManager.Monitor: There were no monitor configuration sections in " + IniPath());
  EXPECT_FALSE(Exists(StateFile()));
  EXPECT_FALSE(Exists(HeartbeatFile()));
}

TEST_F(MonitorPassTest, StoppingAgentEndsThePassButItsWorkIsSaved) {
  WriteIni("[A]\r\nmvFrequency=60\r\n[B]\r\nmvFrequency=60\r\n[C]\r\nmvFrequency=60\r\n");
  Script().hook = [this](IncidentForms&, IncidentState&, Configurations& config) {
    if (config.ConfigMoniker() == "A") m_app->SetStatus(1);
  };
  m_manager = MakeManager();
  m_manager->Monitor();
  EXPECT_EQ(Script().CallsFor("A"), 1u);
  EXPECT_EQ(Script().CallsFor("B"), 0u);
  EXPECT_FALSE(Exists(HeartbeatFile())) << "no (Pass 3) after a broken pass";
  EXPECT_TRUE(m_manager->LastPassTime().IsZero());
  EXPECT_NE(ReadBytes(StateFile()).find("A-MVLASTRUNTIME="), std::string::npos);

  // While the agent stops, ticks end before anything is created.
  Advance(60);
  m_manager->Monitor();
  EXPECT_EQ(Script().calls.size(), 1u);

  Script().hook = nullptr;
  m_app->SetStatus(kServiceRunning);
  Advance(1);
  m_manager->Monitor();
  EXPECT_EQ(Script().CallsFor("A"), 2u);
  EXPECT_EQ(Script().CallsFor("B"), 1u);
  EXPECT_EQ(Script().CallsFor("C"), 1u);
  EXPECT_TRUE(Exists(HeartbeatFile()));
}

TEST_F(MonitorPassTest, UnitTesterCollectsIncidentsAndTouchesNoFile) {
  WriteIni("[CPU]\r\nmvFrequency=60\r\nThreshold=90\r\n");
  Script().For("CPU").reports = {{"Server1", "CpuHigh"}};
  m_manager = MakeManager(ModeUnitTester);
  m_manager->SetIncidentCollection(std::make_shared<std::vector<std::string>>());
  m_files->Clear();
  m_manager->Monitor();
  ASSERT_EQ(Script().CallsFor("CPU"), 1u);
  EXPECT_EQ(Script().calls[0].runMode, ModeUnitTester);
  ASSERT_TRUE(m_manager->IncidentCollection());
  ASSERT_EQ(m_manager->IncidentCollection()->size(), 1u);
  const std::string& text = m_manager->IncidentCollection()->front();
  EXPECT_EQ(text.rfind("Resource=Server1;Condition=CpuHigh;Priority=0;", 0), 0u) << text;
  EXPECT_NE(text.find("Threshold=90;"), std::string::npos) << "the monitor's own keys become attributes";
  EXPECT_EQ(text.find("mvFrequency"), std::string::npos) << "the engine's keys don't";

  EXPECT_TRUE(m_files->Changed().empty());
  for (const std::string& path : m_files->Read()) EXPECT_EQ(path, IniPath()) << "read " << path;
  EXPECT_FALSE(Exists(StateFile()));
  EXPECT_FALSE(Exists(FormsFile()));
  EXPECT_FALSE(Exists(ConfigErrorFile()));
  EXPECT_TRUE(QueuedMessages().empty());
}

TEST_F(MonitorPassTest, DebugModeSavesStateButSendsNothing) {
  WriteIni("[CPU]\r\nmvFrequency=60\r\n");
  Script().For("CPU").reports = {{"Server1", "CpuHigh"}};
  m_manager = MakeManager(ModeDebug);
  m_manager->Monitor();
  EXPECT_EQ(Script().CallsFor("CPU"), 1u);
  EXPECT_TRUE(QueuedMessages().empty());
  EXPECT_FALSE(Exists(HeartbeatFile()));
  EXPECT_TRUE(Exists(StateFile()));
  EXPECT_EQ(OpenForms("CPU"), 1u);
}

}  // namespace
}  // namespace korad::testing
