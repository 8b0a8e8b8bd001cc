// The tick and the configuration pass: what makes a run and what an idle tick costs, a
// plug-in that can't be created yet, a restart on the same home, a long-sleeping monitor;
// what a disabled, an invalid or a failing configuration does to the others, to its forms
// and to the heartbeat; the configuration error file; a stopping agent; the run modes.
#include <atomic>
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
  static std::string Flat(const std::string& error) { return error + "***mvCrLf******mvCrLf***"; }
};

TEST_F(MonitorPassTest, AnIdleTickCostsOneStatAndATouchedIniLetsTheScheduleDecide) {
  WriteIni("[CPU]\r\nmvFrequency=60\r\n");
  auto manager = MakeManager();
  manager->Monitor();
  ASSERT_EQ(Script().CallsFor("CPU"), 1u);
  ASSERT_TRUE(ErrorLines().empty()) << ErrorLines().front().text;
  const int instances = Script().instancesCreated;
  const size_t lines = LineCount();
  for (int tick = 0; tick < 5; ++tick) {  // 12:00:10 .. 12:00:50
    Advance(10);
    m_files->Clear();
    manager->Monitor();
    EXPECT_EQ(m_files->Count("Stat"), 1);
    EXPECT_EQ(m_files->Total(), 1) << "an idle tick asks the file system for one thing only";
  }
  Advance(9.6);  // 12:00:59.6: a fraction of a second doesn't bring the run due at 12:01:00 forward
  manager->Monitor();
  EXPECT_EQ(Script().CallsFor("CPU"), 1u);
  EXPECT_EQ(Script().instancesCreated, instances);
  EXPECT_EQ(LineCount(), lines) << "an idle tick logs nothing";

  TouchIni();
  Advance(0.1);
  manager->Monitor();
  EXPECT_EQ(Matching("MONITOR started for TestModule").size(), 2u);
  EXPECT_EQ(Matching("'CPU' on monitor 'TestModule' will not run now.").size(), 1u);
  EXPECT_EQ(Script().CallsFor("CPU"), 1u) << "a changed file is no reason to measure before time";
  const size_t afterTouch = LineCount();
  Advance(0.1);
  manager->Monitor();
  EXPECT_EQ(LineCount(), afterTouch) << "the new file time is remembered";
  Advance(0.2);  // 12:01:00: the frequency has come round
  manager->Monitor();
  EXPECT_EQ(Script().CallsFor("CPU"), 2u);
}

TEST_F(MonitorPassTest, ClockSetBackRunsAsAtAFirstRun) {
  WriteIni("[CPU]\r\nmvFrequency=1\r\nmvFrequencyUnits=HOURS\r\n");
  auto manager = MakeManager();
  manager->Monitor();
  Advance(60);
  manager->Monitor();
  ASSERT_EQ(Script().CallsFor("CPU"), 1u);
  Advance(-2 * 3600);
  manager->Monitor();
  EXPECT_EQ(Script().CallsFor("CPU"), 2u);
  EXPECT_EQ(Matching("'CPU' on monitor 'TestModule' will run now. First run time: ").size(), 2u);
}

TEST_F(MonitorPassTest, MissingPluginReportsOnceThenStaysSilentUntilItArrives) {
  static std::atomic<int> serial{0};
  const std::string lateId = "KORADevServices.Test.LateMonitor" + std::to_string(serial++);
  WriteIni("[CPU]\r\nmvFrequency=60\r\n");
  auto manager = MakeManager(ModeMorvane, kModule, lateId);
  manager->Monitor();
  ASSERT_EQ(ErrorLines().size(), 1u);
  EXPECT_EQ(ErrorLines()[0].text, "ERROR: MonitorManager.CreateMonitoringObjects: Could not create the monitor " +
                                      lateId + " (Error 429).  Monitor DLL may not be downloaded yet");
  EXPECT_EQ(ErrorLines()[0].category, kModule);
  for (int i = 0; i < 3; ++i) {
    Advance(700);  // past a heartbeat too
    manager->Monitor();
  }
  EXPECT_EQ(ErrorLines().size(), 1u) << "a plug-in still being downloaded doesn't fill the log";
  EXPECT_FALSE(Exists(HeartbeatFile())) << "no heartbeat while the monitor can't be created";

  ClassRegistry::Global().Register(lateId,
                                   [] { return std::static_pointer_cast<Object>(std::make_shared<TestMonitor>()); });
  Advance(1);
  manager->Monitor();
  EXPECT_EQ(Script().CallsFor("CPU"), 1u);
  EXPECT_EQ(ErrorLines().size(), 1u);
  EXPECT_TRUE(Exists(HeartbeatFile()));
}

TEST_F(MonitorPassTest, AMissingIniOrOneWithoutConfigurationsIsAnErrorOnEveryTick) {
  auto manager = MakeManager();
  manager->Monitor();
  manager->Monitor();
  ASSERT_EQ(ErrorLines().size(), 2u);
  EXPECT_EQ(ErrorLines()[0].text, "ERROR: MonitorManager.Monitor: Invalid configuration path " + IniPath() +
                                      " specified.");
  WriteIni("[Global]\r\nmvFrequency=60\r\n");
  manager->Monitor();
  ASSERT_EQ(ErrorLines().size(), 3u);
  EXPECT_EQ(ErrorLines()[2].text,
            "ERROR: MonitorManager.Monitor: There were no monitor configuration sections in " + IniPath());
  EXPECT_FALSE(Exists(StateFile()));
  EXPECT_FALSE(Exists(HeartbeatFile()));
}

TEST_F(MonitorPassTest, ANewManagerOnTheSameHomeResumesRunTimesFormsAndErrors) {
  Script().rules = [](ValidationRules& rules) { rules.Add("Threshold", true); };
  Script().For("CPU").reports = {{"Server1", "CpuHigh"}};
  WriteIni("[CPU]\r\nmvFrequency=300\r\nThreshold=90\r\n[Bad]\r\nmvFrequency=300\r\n");
  MakeManager()->Monitor();
  ASSERT_EQ(Script().CallsFor("CPU"), 1u);
  ASSERT_EQ(Script().CallsFor("Bad"), 0u);
  ASSERT_EQ(QueuedIncidents().size(), 1u);
  m_managers.clear();

  Advance(60);
  auto second = MakeManager();
  second->Monitor();
  EXPECT_EQ(Script().CallsFor("CPU"), 1u) << "the last run time came back from the state file";
  EXPECT_EQ(Matching("Configuration last runtime for config CPU = 2024-01-15 12:00:00").size(), 1u);
  EXPECT_EQ(HeartbeatError(), Flat("[mv[Bad]]: Invalid configuration for " + std::string(kTestMonitorClassId) +
                                   " Could not find 'Threshold' configuration for Resource 'Bad'"));
  Advance(300);
  second->Monitor();
  EXPECT_EQ(Script().CallsFor("CPU"), 2u);
  EXPECT_EQ(QueuedIncidents().size(), 1u) << "the open form came back: the same report is no new alert";
}

TEST_F(MonitorPassTest, LongSleepingMonitorUnloadsAndReloadsOnItsNextRun) {
  WriteIni("[CPU]\r\nmvFrequency=60\r\n");
  Script().For("CPU").reports = {{"Server1", "CpuHigh"}};
  double ahead = 600;
  Script().hook = [&](IncidentForms&, IncidentState& state, Configurations&) {
    state.Add("NextRuntime", Value(m_clock->UtcNow().AddSeconds(ahead)));
  };
  auto manager = MakeManager();
  manager->Monitor();
  ASSERT_EQ(QueuedIncidents().size(), 1u);
  ASSERT_EQ(Matching("Unloading serializers").size(), 1u);
  EXPECT_EQ(Matching("Unloading serializers")[0].level, logLevelInfo);
  Advance(60);
  manager->Monitor();
  EXPECT_EQ(Matching("RunOnce: False").size(), 2u) << "the second run starts unloaded";
  EXPECT_EQ(Script().CallsFor("CPU"), 2u);
  EXPECT_EQ(QueuedIncidents().size(), 1u) << "the reloaded form is the open one, not a new alert";

  ahead = 599;  // less than 600 seconds ahead keeps everything loaded
  Advance(60);
  manager->Monitor();
  Advance(60);
  manager->Monitor();
  EXPECT_EQ(Matching("Unloading serializers").size(), 2u);
  EXPECT_EQ(Matching("RunOnce: True").size(), 1u);
}

TEST_F(MonitorPassTest, EachConfigurationsTroubleStaysWithItAndStandsInTheHeartbeat) {
  Script().rules = [](ValidationRules& rules) { rules.Add("Threshold", false, "HIGH,LOW"); };
  WriteIni("[A]\r\nmvFrequency=60\r\n[B]\r\nmvFrequency=60\r\nThreshold=high\r\n[C]\r\nmvFrequency=60\r\n"
           "[D]\r\nmvFrequency=60\r\n[Old]\r\nmvFrequency=60\r\n");
  Script().For("A").raise = "disk unreadable";
  Script().For("B").reports = {{"Server1", "CpuHigh"}};
  Script().For("C").configError = "half measured";
  Script().For("D").reports = {{"Server2", "DiskFull"}};
  Script().For("D").configError = "sensor flaky";
  Script().For("Old").raise = "gone soon";
  auto manager = MakeManager();
  manager->Monitor();
  EXPECT_EQ(QueuedIncidents().size(), 2u);
  EXPECT_TRUE(ErrorLines().empty()) << "a plug-in's error is the configuration's, not the log's";
  EXPECT_EQ(HeartbeatError(),
            Flat("[mv[A]]: disk unreadable") + Flat("[mv[C]]: half measured") + Flat("[mv[D]]: sensor flaky") +
                Flat("[mv[Old]]: gone soon"));
  EXPECT_EQ(Script().instancesCreated, 6) << "one plug-in per configuration, and one to ask for the rules";

  // A fixed; B invalid; D disabled; Old removed. Not due: the changed file starts the pass.
  Script().For("A").raise.reset();
  Script().For("D").reports.clear();  // were it asked, its form would go off
  WriteIni("[A]\r\nmvFrequency=60\r\n[B]\r\nmvFrequency=60\r\nThreshold=MEDIUM\r\n[C]\r\nmvFrequency=60\r\n"
           "[D]\r\nmvFrequency=60\r\nmvDisabled=true\r\n");
  Advance(5);
  manager->Monitor();
  EXPECT_EQ(Matching("CleanConfigErrors: Removing Configuration Errors for Old").size(), 1u);
  Advance(60);
  manager->Monitor();
  EXPECT_EQ(Script().CallsFor("A"), 2u);
  EXPECT_EQ(Script().CallsFor("B"), 1u);
  EXPECT_EQ(Script().CallsFor("D"), 1u);
  EXPECT_EQ(Matching("Configuration D is disabled.  Cleared any configuration errors. ").size(), 2u);
  const std::string why = "Unacceptable value 'MEDIUM' for Key='Threshold',Resource 'B' Valid Values: HIGH,LOW";
  ASSERT_EQ(ErrorLines().size(), 1u);
  EXPECT_EQ(ErrorLines()[0].text, "ERROR: Cannot call GetIncidents on " + std::string(kTestMonitorClassId) +
                                       " due to a failed configuration validation. Message was: " + why);
  EXPECT_EQ(HeartbeatError(),
            Flat("[mv[B]]: Invalid configuration for " + std::string(kTestMonitorClassId) + " " + why) +
                Flat("[mv[C]]: half measured"));
  EXPECT_EQ(OpenForms("B"), 1u) << "an invalid configuration's form waits";
  EXPECT_EQ(OpenForms("D"), 1u) << "a disabled configuration's form stays";
  EXPECT_EQ(QueuedIncidents().size(), 2u) << "no resolve for either";
  EXPECT_EQ(Script().instancesCreated, 6);
  EXPECT_EQ(Script().rulesRequests, 1) << "the rules are asked for once";
}

TEST_F(MonitorPassTest, TheErrorFileRoundTripsAndTheHeartbeatKeepsItOnOneLine) {
  WriteWholeFile(ConfigErrorFile(),
                 "Disk=line one**morvaneCrLf**line two\r\nEq=a=b = c\r\nno equals sign here\r\n=no key\r\n"
                 "Lone=cr\rand lf\nGone=removed section\r\nPU=tail of CPU\r\ncpu=case differs\r\n");
  auto manager = MakeManager();
  MonitorManagerTestPeer peer(*manager);
  peer.LoadConfigurationErrors(kModule);
  EXPECT_EQ(Matching("LoadConfigurationErrors: Loaded Configuration Errors for TestModule").size(), 1u);
  // The search has no "-" in front: the error of a removed configuration that is the
  // tail of a remaining one stays.
  peer.CleanConfigErrors(std::vector<std::string>{"Global", "CPU", "Disk", "Eq", "Lone"});
  EXPECT_EQ(Matching("CleanConfigErrors: Removing Configuration Errors for Gone").size(), 1u);
  peer.CleanConfigErrors(std::nullopt);  // no section list: nothing is cleaned
  EXPECT_EQ(peer.BuildConfigurationError(),
            "[mv[Disk]]: line one\r\nline two\r\n\r\n[mv[Eq]]: a=b = c\r\n\r\n[mv[Lone]]: cr\rand lf\r\n\r\n"
            "[mv[PU]]: tail of CPU\r\n\r\n[mv[cpu]]: case differs\r\n\r\n");
  std::filesystem::remove(ConfigErrorFile());
  peer.SaveConfigurationErrors(kModule);
  EXPECT_EQ(ReadBytes(ConfigErrorFile()),
            "Disk=line one**morvaneCrLf**line two\r\nEq=a=b = c\r\nLone=cr\rand lf\r\nPU=tail of CPU\r\n"
            "cpu=case differs\r\n");

  peer.UpdateHeartbeats(kModule, peer.BuildConfigurationError());
  EXPECT_EQ(GetPrivateProfileString(kModule, "HBDate", "", HeartbeatFile()), "2024-01-15T12:00:00Z");
  EXPECT_EQ(HeartbeatError(), Flat("[mv[Disk]]: line one***mvCrLf***line two") + Flat("[mv[Eq]]: a=b = c") +
                                  Flat("[mv[Lone]]: crand lf") + Flat("[mv[PU]]: tail of CPU") +
                                  Flat("[mv[cpu]]: case differs"));
  // Another module's section is left alone; the next heartbeat replaces this one's.
  ASSERT_TRUE(WritePrivateProfileString("OtherModule", "HBDate", "2024-01-01T00:00:00Z", HeartbeatFile()));
  Advance(600);
  peer.UpdateHeartbeats(kModule, "");
  EXPECT_EQ(GetPrivateProfileString(kModule, "HBDate", "", HeartbeatFile()), "2024-01-15T12:10:00Z");
  EXPECT_EQ(HeartbeatError(), "");
  EXPECT_EQ(GetPrivateProfileString("OtherModule", "HBDate", "", HeartbeatFile()), "2024-01-01T00:00:00Z");
  EXPECT_TRUE(ErrorLines().empty());
}

TEST_F(MonitorPassTest, AMissingErrorFileIsAFirstRunAndADamagedOneAnError) {
  auto manager = MakeManager();
  MonitorManagerTestPeer peer(*manager);
  peer.LoadConfigurationErrors(kModule);
  EXPECT_TRUE(ErrorLines().empty());
  EXPECT_EQ(Matching("LoadConfigurationErrors: Loaded Configuration Errors for TestModule").size(), 1u);
  peer.SaveConfigurationErrors(kModule);
  EXPECT_EQ(ReadBytes(ConfigErrorFile()), "") << "saved even when empty";

  WriteWholeFile(ConfigErrorFile(), "CPU=first\r\nCPU=second\r\n");
  peer.LoadConfigurationErrors(kModule);
  ASSERT_EQ(ErrorLines().size(), 1u) << "a key written twice is no replacement";
  EXPECT_EQ(ErrorLines()[0].text.rfind("ERROR: MonitorManager.LoadConfigurationErrors: ", 0), 0u);
  EXPECT_EQ(peer.BuildConfigurationError(), "[mv[CPU]]: first\r\n\r\n");

  std::filesystem::remove(ConfigErrorFile());
  std::filesystem::create_directories(ConfigErrorFile());  // a folder where the file should be
  peer.LoadConfigurationErrors(kModule);
  ASSERT_EQ(ErrorLines().size(), 3u);
  EXPECT_EQ(
      ErrorLines()[1].text.rfind("ERROR: LoadConfigurationErrors: Failed load " + ConfigErrorFile() + " (Error = ", 0),
      0u);
  EXPECT_EQ(ErrorLines()[2].text.rfind("ERROR: MonitorManager.LoadConfigurationErrors: ", 0), 0u);

  // A SerializeLocation moves the file, trailing separator or not; blanks leave the name.
  const std::string elsewhere = m_home / "Elsewhere";
  std::filesystem::create_directories(elsewhere);
  manager->SetSerializeLocation(elsewhere + "/");
  WriteWholeFile(elsewhere + "/CEMyModule.SER", "CPU=x\r\n");
  peer.LoadConfigurationErrors("My Module");
  EXPECT_EQ(peer.BuildConfigurationError(), "[mv[CPU]]: x\r\n\r\n");
}

TEST_F(MonitorPassTest, StoppingAgentEndsThePassButItsWorkIsSaved) {
  WriteIni("[A]\r\nmvFrequency=60\r\n[B]\r\nmvFrequency=60\r\n[C]\r\nmvFrequency=60\r\n");
  Script().hook = [this](IncidentForms&, IncidentState&, Configurations& config) {
    if (config.ConfigMoniker() == "A") m_app->SetStatus(1);
  };
  auto manager = MakeManager();
  manager->Monitor();
  EXPECT_EQ(Script().CallsFor("A"), 1u);
  EXPECT_EQ(Script().CallsFor("B"), 0u);
  EXPECT_FALSE(Exists(HeartbeatFile())) << "no (Pass 3) after a broken pass";
  EXPECT_TRUE(manager->LastPassTime().IsZero());
  EXPECT_NE(ReadBytes(StateFile()).find("A-MVLASTRUNTIME="), std::string::npos);
  Advance(60);
  manager->Monitor();
  EXPECT_EQ(Script().calls.size(), 1u) << "while the agent stops, ticks end before anything is created";

  Script().hook = nullptr;
  m_app->SetStatus(kServiceRunning);
  Advance(1);
  manager->Monitor();
  EXPECT_EQ(Script().CallsFor("A"), 2u);
  EXPECT_EQ(Script().CallsFor("B"), 1u);
  EXPECT_EQ(Script().CallsFor("C"), 1u);
  EXPECT_TRUE(Exists(HeartbeatFile()));
}

TEST_F(MonitorPassTest, TheUnitTesterTouchesNoFileAndDebugModeSendsNothing) {
  WriteIni("[CPU]\r\nmvFrequency=60\r\nThreshold=90\r\n");
  Script().For("CPU").reports = {{"Server1", "CpuHigh"}};
  auto tester = MakeManager(ModeUnitTester);
  tester->SetIncidentCollection(std::make_shared<std::vector<std::string>>());
  m_files->Clear();
  tester->Monitor();
  ASSERT_EQ(Script().CallsFor("CPU"), 1u);
  EXPECT_EQ(Script().calls[0].runMode, ModeUnitTester);
  ASSERT_EQ(tester->IncidentCollection()->size(), 1u);
  const std::string& text = tester->IncidentCollection()->front();
  EXPECT_EQ(text.rfind("Resource=Server1;Condition=CpuHigh;Priority=0;", 0), 0u) << text;
  EXPECT_NE(text.find("Threshold=90;"), std::string::npos) << "the monitor's own keys become attributes";
  EXPECT_EQ(text.find("mvFrequency"), std::string::npos) << "the engine's keys don't";
  EXPECT_TRUE(m_files->Changed().empty());
  for (const std::string& path : m_files->Read()) EXPECT_EQ(path, IniPath()) << "read " << path;
  EXPECT_FALSE(Exists(StateFile()));
  EXPECT_FALSE(Exists(FormsFile()));
  EXPECT_FALSE(Exists(ConfigErrorFile()));

  MakeManager(ModeDebug)->Monitor();
  EXPECT_EQ(Script().CallsFor("CPU"), 2u);
  EXPECT_TRUE(QueuedMessages().empty());
  EXPECT_FALSE(Exists(HeartbeatFile()));
  EXPECT_TRUE(Exists(StateFile()));
  EXPECT_EQ(OpenForms("CPU"), 1u);
}

}  // namespace
}  // namespace korad::testing
