// The Monitor tick: what makes a run, what an idle call costs, a plug-in that can't be
// created yet, a restart on the same home, and a long-sleeping monitor that unloads.
#include <atomic>
#include <string>

#include "monitor/monitor_fixture.h"
#include "platform/profile.h"

namespace korad::testing {
namespace {

class MonitorTickTest : public MonitorTest {};

TEST_F(MonitorTickTest, IdleTickCostsOneStatAndCreatesNothing) {
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
  EXPECT_EQ(Script().CallsFor("CPU"), 1u);
  EXPECT_EQ(Script().instancesCreated, instances);
  EXPECT_EQ(LineCount(), lines) << "an idle tick logs nothing";

  // The frequency has come round: the configuration runs again.
  Advance(10);
  manager->Monitor();
  EXPECT_EQ(Script().CallsFor("CPU"), 2u);
}

TEST_F(MonitorTickTest, TouchedIniStartsAPassThatLetsTheScheduleDecide) {
  WriteIni("[CPU]\r\nmvFrequency=60\r\n");
  auto manager = MakeManager();
  manager->Monitor();
  Advance(10);
  manager->Monitor();
  ASSERT_TRUE(Matching("will not run now").empty());

  TouchIni();
  Advance(1);
  manager->Monitor();
  EXPECT_EQ(Matching("MONITOR started for TestModule").size(), 2u);
  EXPECT_EQ(Matching("'CPU' on monitor 'TestModule' will not run now.").size(), 1u);
  EXPECT_EQ(Script().CallsFor("CPU"), 1u) << "a changed file is no reason to measure before time";

  // The new file time is remembered: the next tick is idle again.
  const size_t lines = LineCount();
  Advance(1);
  manager->Monitor();
  EXPECT_EQ(LineCount(), lines);
}

TEST_F(MonitorTickTest, ClockSetBackRunsAsAtAFirstRun) {
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

TEST_F(MonitorTickTest, MissingPluginReportsOnceThenStaysSilentUntilItArrives) {
  static std::atomic<int> serial{0};
  const std::string lateId = "KORADevServices.Test.LateMonitor" + std::to_string(serial++);
  WriteIni("[CPU]\r\nmvFrequency=60\r\n");
  auto manager = MakeManager(ModeMorvane, kModule, lateId);

  manager->Monitor();
  ASSERT_EQ(ErrorLines().size(), 1u);
  EXPECT_EQ(ErrorLines()[0].text, "ERROR: MonitorManager.CreateMonitoringObjects: Could not create the monitor " + lateId +
                                      " (Error 429).  Monitor DLL may not be downloaded yet");
  EXPECT_EQ(ErrorLines()[0].category, kModule);
  for (int i = 0; i < 3; ++i) {
    Advance(700);  // past a heartbeat too
    manager->Monitor();
  }
  EXPECT_EQ(ErrorLines().size(), 1u) << "a plug-in still being downloaded doesn't fill the log";
  EXPECT_FALSE(Exists(HeartbeatFile())) << "no heartbeat while the monitor can't be created";

  ClassRegistry::Global().Register(lateId, [] {
    ++TestMonitorScript::Current().instancesCreated;
    return std::static_pointer_cast<Object>(std::make_shared<TestMonitor>());
  });
  Advance(1);
  manager->Monitor();
  EXPECT_EQ(Script().CallsFor("CPU"), 1u);
  EXPECT_EQ(ErrorLines().size(), 1u);
  EXPECT_TRUE(Exists(HeartbeatFile()));
}

TEST_F(MonitorTickTest, MissingIniIsReportedEveryTick) {
  auto manager = MakeManager();
  manager->Monitor();
  manager->Monitor();
  ASSERT_EQ(ErrorLines().size(), 2u);
  EXPECT_EQ(ErrorLines()[0].text, "ERROR: MonitorManager.Monitor: Invalid configuration path " + IniPath() +
                                      " specified.");
}

TEST_F(MonitorTickTest, NewManagerOnTheSameHomeResumesRunTimesAndErrors) {
  Script().rules = [](ValidationRules& rules) { rules.Add("Threshold", true); };
  Script().For("CPU").reports = {{"Server1", "CpuHigh"}};
  {
    WriteIni("[CPU]\r\nmvFrequency=300\r\nThreshold=90\r\n[Bad]\r\nmvFrequency=300\r\n");
    auto first = MakeManager();
    first->Monitor();
    ASSERT_EQ(Script().CallsFor("CPU"), 1u);
    ASSERT_EQ(Script().CallsFor("Bad"), 0u);
    ASSERT_EQ(QueuedIncidents().size(), 1u);
    m_managers.clear();
  }

  Advance(60);
  auto second = MakeManager();
  second->Monitor();
  EXPECT_EQ(Script().CallsFor("CPU"), 1u) << "the last run time came back from the state file";
  EXPECT_EQ(Matching("Configuration last runtime for config CPU = 2024-01-15 12:00:00").size(), 1u);
  EXPECT_EQ(GetPrivateProfileString(kModule, "CurrentError", "", HeartbeatFile()),
            "[mv[Bad]]: Invalid configuration for " + std::string(kTestMonitorClassId) +
                " Could not find 'Threshold' configuration for Resource 'Bad'***mvCrLf******mvCrLf***");

  // The open form came back too: the same report on its next run is no new alert.
  Advance(300);
  second->Monitor();
  EXPECT_EQ(Script().CallsFor("CPU"), 2u);
  EXPECT_EQ(QueuedIncidents().size(), 1u);
}

TEST_F(MonitorTickTest, LongSleepingMonitorUnloadsAndReloadsOnItsNextRun) {
  WriteIni("[CPU]\r\nmvFrequency=60\r\n");
  Script().For("CPU").reports = {{"Server1", "CpuHigh"}};
  Script().hook = [this](IncidentForms&, IncidentState& state, Configurations&) {
    state.Add("NextRuntime", Value(m_clock->UtcNow().AddSeconds(600)));
  };
  auto manager = MakeManager();
  manager->Monitor();
  ASSERT_EQ(QueuedIncidents().size(), 1u);
  const auto unloads = Matching("Unloading serializers");
  ASSERT_EQ(unloads.size(), 1u);
  EXPECT_EQ(unloads[0].level, logLevelInfo);

  Advance(60);
  manager->Monitor();
  EXPECT_EQ(Matching("RunOnce: False").size(), 2u) << "the second run starts unloaded";
  EXPECT_EQ(Script().CallsFor("CPU"), 2u);
  EXPECT_EQ(QueuedIncidents().size(), 1u) << "the reloaded form is the open one, not a new alert";

  // A NextRuntime less than 600 seconds ahead keeps everything loaded.
  Script().hook = [this](IncidentForms&, IncidentState& state, Configurations&) {
    state.Add("NextRuntime", Value(m_clock->UtcNow().AddSeconds(599)));
  };
  Advance(60);
  manager->Monitor();
  Advance(60);
  manager->Monitor();
  EXPECT_EQ(Matching("Unloading serializers").size(), 2u);
  EXPECT_EQ(Matching("RunOnce: True").size(), 1u);
}

}  // namespace
}  // namespace korad::testing
