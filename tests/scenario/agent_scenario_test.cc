// The product end to end: koradagent on a temporary home runs a command monitor whose
// check program reads a file. The incident reaches the outbound queue once the alert
// delay has passed, and its resolve once the condition has cleared and the resolve delay
// has passed; an agent killed in the middle of a delay and started again loses no form
// and no counter; SIGTERM during a pass ends the agent cleanly with whole state files.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "foundation/log_manager.h"
#include "incident/inc_form_serialize.h"
#include "incident/incident_forms.h"
#include "incident/incident_state.h"
#include "incident/xml_serializer.h"
#include "monitor/queue_names.h"
#include "platform/connector.h"
#include "support/child_process.h"
#include "support/recording_log.h"
#include "support/temp_folder.h"

namespace korad::testing {
namespace {

using namespace std::chrono_literals;

constexpr const char* kAgent = KORAD_BUILD_DIR "/koradagent";
constexpr const char* kPlugin = KORAD_BUILD_DIR "/modules/korad_linux.so";
constexpr const char* kModule = "Checks";

class AgentScenarioTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(m_home / "BIN");
    std::filesystem::create_directories(m_home / "ModuleConfigs");
    std::filesystem::create_directories(m_home / "Modules");
    std::filesystem::copy_file(kPlugin, m_home / "Modules/korad_linux.so");
    // The service ticks the monitor five times a second; the configuration runs each second.
    WriteWholeFile(m_home / "BIN/MvAgent.ini",
                   std::string("[") + kModule +
                       "]\r\nClassID=KORADevServices.MonitorManager\r\nInitializeMethod=Init\r\n"
                       "ExecuteMethod=Monitor\r\nMyMonitorID=KoradLinux.CommandMonitor\r\nMoniker=" +
                       kModule + "\r\nFrequency=0.2\r\nUnits=seconds\r\n[Logging]\r\nLevel=7\r\nMaxSizeKB=8192\r\n");
  }

  // A check that is CRITICAL while the flag file exists, after `sleepSeconds` of work.
  void WriteCheck(int waitAlert, int waitResolve, double sleepSeconds = 0) {
    const std::string script = m_home / "check_flag.sh";
    WriteWholeFile(script, "#!/bin/sh\nsleep " + std::to_string(sleepSeconds) + "\nif [ -f '" + Flag() +
                               "' ]; then echo 'CRITICAL - flag is up|flag=1;;;0;1'; exit 2; fi\n"
                               "echo 'OK - no flag|flag=0;;;0;1'\nexit 0\n");
    std::filesystem::permissions(script, std::filesystem::perms::owner_all);
    WriteWholeFile(m_home / (std::string("ModuleConfigs/") + kModule + ".INI"),
                   "[FlagCheck]\r\nmvFrequency=1\r\nmvFrequencyUnits=SECONDS\r\nmvWaitAlert=" +
                       std::to_string(waitAlert) + "\r\nmvWaitResolve=" + std::to_string(waitResolve) +
                       "\r\nCommand=" + script + "\r\nTimeoutSeconds=10\r\n");
  }
  std::string Flag() const { return m_home / "flag"; }
  void RaiseFlag() { WriteWholeFile(Flag(), "up"); }
  void LowerFlag() { std::filesystem::remove(Flag()); }

  void StartAgent() {
    ASSERT_TRUE(m_agent.Start(kAgent, {"--home", m_home.Path()}, m_home / "stdout.txt", m_home / "stderr.txt"));
  }
  std::string Log() const { return ReadBytes(m_home / "LogFiles/MvAgent.log"); }

  // The conditions of the incidents on the outbound queue, oldest first.
  std::vector<std::string> Incidents() {
    std::vector<std::string> conditions;
    for (const ConnectorMessage& message : MakeDirectoryConnector(m_home / "Connectors/MvRouterQ")->Peek(1000)) {
      if (message.TargetQueue() != kIncidentQueue) continue;
      auto forms = std::make_shared<IncidentForms>();
      conditions.push_back(forms->CreateFormFromString(message.Body(), "scenario") && forms->Count() == 1
                               ? forms->Item(1)->Condition()
                               : "<unreadable>");
    }
    return conditions;
  }
  bool WaitForIncidents(size_t count, std::chrono::milliseconds limit) {
    return WaitFor([&] { return Incidents().size() >= count; }, limit);
  }

  // The open forms of the module as its form file holds them, loaded with a logger
  // that records any damage the reader meets.
  std::vector<IncidentFormRef> SavedForms() {
    auto forms = std::make_shared<IncidentForms>();
    m_readLog = std::make_shared<RecordingLogManager>();
    forms->SetLogManager(m_readLog);
    IncFormSerialize serializer;
    serializer.SetLogManager(m_readLog);
    serializer.SetSerializeLocation(m_home / "Serialize");
    serializer.Load(forms, kModule);
    return forms->AllForms();
  }
  int32_t SavedSendPolls() {
    const std::vector<IncidentFormRef> forms = SavedForms();
    return forms.size() == 1 ? forms[0]->MVSendAlertPolls() : -100;
  }

  TempHome m_home;
  ChildProcess m_agent;
  std::shared_ptr<RecordingLogManager> m_readLog;
};

TEST_F(AgentScenarioTest, AnIncidentGoesOutAfterItsDelayAndResolvesAfterItsOwn) {
  WriteCheck(/*waitAlert=*/2, /*waitResolve=*/2);
  RaiseFlag();
  StartAgent();
  ASSERT_TRUE(WaitForIncidents(1, 20s)) << Log();
  EXPECT_EQ(Incidents(), std::vector<std::string>{"CRITICAL"});
  // The alert went out on the third pass that saw the flag: two passes were held back.
  EXPECT_NE(Log().find("Decrementing MVSendAlertPolls for Incident with Resource 'check_flag.sh' and Condition "
                       "'CRITICAL'(FlagCheck) to 0"),
            std::string::npos)
      << Log();

  LowerFlag();
  ASSERT_TRUE(WaitForIncidents(2, 20s)) << Log();
  EXPECT_EQ(Incidents(), (std::vector<std::string>{"CRITICAL", "CRITICAL(Resolved)"}));
  EXPECT_NE(Log().find("Decrementing MVResolveAlertPolls"), std::string::npos);
  ASSERT_TRUE(WaitFor([&] { return SavedForms().empty(); }, 10s)) << "the resolved form leaves the form file";

  ASSERT_TRUE(m_agent.Kill(SIGTERM));
  EXPECT_EQ(m_agent.WaitForExit(5s), 0) << ReadBytes(m_home / "stderr.txt");
}

TEST_F(AgentScenarioTest, AnAgentKilledInTheMiddleOfADelayCountsOnWhereItStood) {
  WriteCheck(/*waitAlert=*/6, /*waitResolve=*/0);
  RaiseFlag();
  StartAgent();
  // Kill it once the form file shows the delay half counted.
  ASSERT_TRUE(WaitFor([&] { return SavedSendPolls() == 3; }, 20s)) << Log();
  ASSERT_TRUE(m_agent.Kill(SIGKILL));
  m_agent.WaitForExit(5s);
  EXPECT_EQ(SavedSendPolls(), 3) << "the counter is on disk";
  EXPECT_TRUE(Incidents().empty());

  StartAgent();
  // The delay goes on from 3: 2, 1, 0, then the alert; a counter started afresh would
  // show 5 or 4 on the way.
  std::vector<int32_t> seen;
  ASSERT_TRUE(WaitFor(
      [&] {
        const int32_t polls = SavedSendPolls();
        if (seen.empty() || seen.back() != polls) seen.push_back(polls);
        return !Incidents().empty();
      },
      30s))
      << Log();
  for (const int32_t polls : seen) EXPECT_LE(polls, 3) << "a counter went back up after the restart";
  EXPECT_EQ(Incidents(), std::vector<std::string>{"CRITICAL"}) << "one alert, no duplicate from the restart";
  ASSERT_TRUE(m_agent.Kill(SIGTERM));
  EXPECT_EQ(m_agent.WaitForExit(5s), 0);
}

TEST_F(AgentScenarioTest, SigtermDuringAPassEndsTheAgentWithWholeStateFiles) {
  WriteCheck(/*waitAlert=*/1, /*waitResolve=*/0, /*sleepSeconds=*/1.5);
  RaiseFlag();
  StartAgent();
  ASSERT_TRUE(WaitFor([&] { return !SavedForms().empty(); }, 20s)) << Log();
  // Now a pass is running or about to: the check takes 1.5 seconds each time.
  ASSERT_TRUE(WaitFor([&] { return Log().find("Monitor (FlagCheck): Calling GetIncident") != std::string::npos; },
                      5s));
  const auto stopAsked = std::chrono::steady_clock::now();
  ASSERT_TRUE(m_agent.Kill(SIGTERM));
  EXPECT_EQ(m_agent.WaitForExit(5s), 0) << ReadBytes(m_home / "stderr.txt");
  EXPECT_LT(std::chrono::steady_clock::now() - stopAsked, 5s);

  const std::vector<IncidentFormRef> forms = SavedForms();
  ASSERT_EQ(forms.size(), 1u);
  EXPECT_EQ(forms[0]->Condition(), "CRITICAL");
  EXPECT_TRUE(m_readLog->Lines().empty()) << "the form file reads without damage";
  auto state = std::make_shared<IncidentState>();
  auto stateLog = std::make_shared<RecordingLogManager>();
  state->SetLogManager(stateLog);
  XMLSerializer stateSerializer;
  stateSerializer.SetSerializeLocation(m_home / "Serialize");
  stateSerializer.Load(state, kModule);
  state->SetConfigMoniker("FlagCheck");
  EXPECT_TRUE(state->Exists("mvLastRuntime"));
  for (const LogLine& line : stateLog->Lines()) {
    EXPECT_GT(line.level, logLevelError) << "the state file reads without damage: " << line.text;
  }
}

}  // namespace
}  // namespace korad::testing
