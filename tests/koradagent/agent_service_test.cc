// The service driving sections: properties, initialisation, schedules, stopping,
// following the service file, and classes that can't be made yet.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "agent_service.h"
#include "agent_test_support.h"

namespace korad::agent {
namespace {

using namespace std::chrono_literals;
using testing::AgentHomeTest;
using Instances = std::vector<testing::ProbeBoard::Instance>;

class AgentServiceTest : public AgentHomeTest {
 protected:
  ServiceSettings Settings(bool once = false) {
    ServiceSettings settings;
    settings.home = m_home.Path();
    settings.once = once;
    settings.retryInterval = 20ms;
    settings.reloadCheckInterval = 10ms;
    return settings;
  }
  // Waits (up to 10 s) until `count` log lines hold `fragment`.
  bool WaitForLog(const std::string& fragment, size_t count) {
    for (int i = 0; i < 2000; ++i) {
      if (m_app->Matching(fragment).size() >= count) return true;
      std::this_thread::sleep_for(5ms);
    }
    return false;
  }
  // Waits until the instance labelled `label` (the latest one) has `executes` runs.
  bool WaitForExecutes(const std::string& label, int executes) {
    return m_board->WaitFor([&](const Instances& all) {
      for (auto it = all.rbegin(); it != all.rend(); ++it) {
        if (it->label == label) return it->executes >= executes;
      }
      return false;
    });
  }
};

TEST_F(AgentServiceTest, ASectionGetsItsPropertiesOneInitAndRepeatedExecutes) {
  WriteServiceFile("[Logging]\nLevel=7\n" +
                   ProbeSection("Fast", "InitializeMethod=Init\nExecuteMethod=Execute\nFrequency=0.01\n"
                                        "Units=seconds\nColor=red\nBogus=1\nSize=3\n"));
  AgentService service(Settings(), m_registry);
  std::string error;
  ASSERT_TRUE(service.Start(error)) << error;
  EXPECT_EQ(m_app->Status(), kServiceRunning);
  EXPECT_EQ(service.SectionNames(), std::vector<std::string>{"Fast"});
  ASSERT_TRUE(WaitForExecutes("Fast", 3));
  service.Stop();

  const Instances all = m_board->Instances();
  ASSERT_EQ(all.size(), 1u) << "one object for the section's life";
  const auto& fast = all[0];
  using Properties = std::vector<std::pair<std::string, std::string>>;
  EXPECT_EQ(fast.properties, (Properties{{"Label", "Fast"}, {"Color", "red"}, {"Size", "3"}}))
      << "host keys are not properties; a property the class lacks is skipped";
  EXPECT_EQ(fast.inits, 1);
  EXPECT_GE(fast.executes, 3);
  EXPECT_TRUE(fast.destroyed) << "the object goes with the stopped section";
  EXPECT_NE(m_app->Status(), kServiceRunning);

  const auto warnings = m_app->Matching("property 'Bogus' not set");
  ASSERT_EQ(warnings.size(), 1u);
  EXPECT_EQ(warnings[0].text.rfind("Section 'Fast': property 'Bogus' not set: Probe: ", 0), 0u) << warnings[0].text;
  EXPECT_EQ(warnings[0].category, "MvAgent");
  EXPECT_EQ(m_app->Matching("Agent stopped").size(), 1u);
}

TEST_F(AgentServiceTest, StopWakesSleepingSectionsAtOnce) {
  std::string sections;
  for (int i = 1; i <= 10; ++i) {
    sections += ProbeSection("Hourly" + std::to_string(i), "ExecuteMethod=Execute\nFrequency=1\nUnits=hours\n");
  }
  sections += ProbeSection("Later", "ExecuteMethod=Execute\nFrequency=1\nUnits=days\nStart=00:00\n");
  WriteServiceFile(sections);
  AgentService service(Settings(), m_registry);
  std::string error;
  ASSERT_TRUE(service.Start(error)) << error;
  ASSERT_TRUE(m_board->WaitFor([](const Instances& all) {
    int ran = 0;
    for (const auto& i : all) ran += i.executes;
    return all.size() == 11 && ran == 10;  // each hourly section ran once and sleeps now
  }));

  const auto before = std::chrono::steady_clock::now();
  service.Stop();
  const auto took = std::chrono::steady_clock::now() - before;
  EXPECT_LT(took, 2s) << "sleeping threads must not wait out their hour";
  for (const auto& i : m_board->Instances()) EXPECT_TRUE(i.destroyed) << i.label;
}

TEST_F(AgentServiceTest, ARunningExecuteSeesTheStatusFallWhenTheAgentStops) {
  WriteServiceFile(ProbeSection("Long", "ExecuteMethod=WaitWhileRunning\nFrequency=1\nUnits=hours\n"));
  AgentService service(Settings(), m_registry);
  std::string error;
  ASSERT_TRUE(service.Start(error)) << error;
  ASSERT_TRUE(WaitForExecutes("Long", 1));
  service.Stop();
  const Instances all = m_board->Instances();
  ASSERT_EQ(all.size(), 1u);
  EXPECT_EQ(all[0].statusSeenAtEnd, kServiceStopPending);
  EXPECT_EQ(m_app->Status(), kServiceStopped);
}

TEST_F(AgentServiceTest, RunFollowsTheServiceFileAddingRemovingAndRestartingSections) {
  const std::string every = "ExecuteMethod=Execute\nFrequency=0.02\nUnits=seconds\n";
  WriteServiceFile(ProbeSection("Same", every) + ProbeSection("Changed", every + "Color=red\n") +
                   ProbeSection("Removed", every));
  AgentService service(Settings(), m_registry);
  std::string error;
  ASSERT_TRUE(service.Start(error)) << error;
  std::thread runner([&] { service.Run(); });
  ASSERT_TRUE(WaitForExecutes("Removed", 1));
  ASSERT_TRUE(WaitForExecutes("Changed", 1));

  WriteServiceFile(ProbeSection("Same", every) + ProbeSection("Changed", every + "Color=blue\n") +
                   ProbeSection("Added", every));
  ASSERT_TRUE(WaitForExecutes("Added", 1));
  ASSERT_TRUE(m_board->WaitFor([](const Instances& all) {
    int changed = 0;
    for (const auto& i : all) changed += i.label == "Changed" && i.executes > 0 ? 1 : 0;
    return changed == 2;
  }));
  EXPECT_EQ(service.SectionNames(), (std::vector<std::string>{"Added", "Changed", "Same"}));

  service.RequestStop();
  runner.join();
  service.Stop();

  EXPECT_EQ(m_board->WithLabel("Same").size(), 1u) << "an unchanged section keeps its object";
  const auto changed = m_board->WithLabel("Changed");
  ASSERT_EQ(changed.size(), 2u);
  EXPECT_EQ(changed[0].properties.back().second, "red");
  EXPECT_EQ(changed[1].properties.back().second, "blue");
  EXPECT_TRUE(changed[0].destroyed);
  const auto removed = m_board->WithLabel("Removed");
  ASSERT_EQ(removed.size(), 1u);
  EXPECT_TRUE(removed[0].destroyed);
  EXPECT_EQ(m_app->Matching("Service file changed: 1 sections added, 1 removed, 1 changed").size(), 1u);
  EXPECT_EQ(m_app->Matching("Section 'Removed' stopped").size(), 1u);
}

TEST_F(AgentServiceTest, AClassThatCantBeCreatedIsLoggedOnceAndTriedUntilItCanBe) {
  WriteServiceFile("[Late]\nClassID=KoradTest.Late\nLabel=Late\nInitializeMethod=Init\nExecuteMethod=Execute\n"
                   "Frequency=1\nUnits=hours\n");
  AgentService service(Settings(), m_registry);
  std::string error;
  ASSERT_TRUE(service.Start(error)) << error;
  ASSERT_TRUE(WaitForLog("can't be created", 3));
  // The class arrives later, as a plug-in copied in by a transfer would.
  m_registry.Register("KoradTest.Late", [board = m_board] { return std::make_shared<testing::Probe>(board); });
  ASSERT_TRUE(WaitForExecutes("Late", 1));
  service.Stop();

  const auto errors = m_app->Matching("can't be created", logLevelError);
  ASSERT_EQ(errors.size(), 1u) << "one line, however often it is tried";
  EXPECT_EQ(errors[0].text,
            "Section 'Late': class 'KoradTest.Late' can't be created: no such class in the library or the "
            "plug-ins; trying again every 0.02 seconds");
  const size_t tries = m_app->Matching("can't be created").size();
  EXPECT_GE(tries, 3u);
  EXPECT_EQ(m_app->Matching("Section 'Late': running KoradTest.Late after " + std::to_string(tries) + " failed tries")
                .size(),
            1u);
  EXPECT_EQ(m_board->Instances().at(0).inits, 1);
}

TEST_F(AgentServiceTest, AFailingInitIsRetriedBeforeAnyExecute) {
  m_board->SetFailInits("Shy", 2);
  WriteServiceFile(ProbeSection("Shy", "InitializeMethod=Init\nExecuteMethod=Execute\nFrequency=1\nUnits=hours\n"));
  AgentService service(Settings(), m_registry);
  std::string error;
  ASSERT_TRUE(service.Start(error)) << error;
  ASSERT_TRUE(WaitForExecutes("Shy", 1));
  service.Stop();

  const Instances shy = m_board->WithLabel("Shy");
  ASSERT_EQ(shy.size(), 3u) << "a new object for each try";
  EXPECT_EQ(shy[0].executes + shy[1].executes, 0);
  EXPECT_EQ(shy[2].inits, 1);
  EXPECT_EQ(shy[2].executes, 1);
  EXPECT_EQ(m_app->Matching("Section 'Shy': Init failed: Probe: not ready yet", logLevelError).size(), 1u);
}

TEST_F(AgentServiceTest, AnExecuteThatKeepsFailingWritesOneErrorLine) {
  WriteServiceFile(ProbeSection("Broken", "ExecuteMethod=Fail\nFrequency=0.01\nUnits=seconds\n"));
  AgentService service(Settings(), m_registry);
  std::string error;
  ASSERT_TRUE(service.Start(error)) << error;
  ASSERT_TRUE(WaitForExecutes("Broken", 4));
  service.Stop();
  EXPECT_EQ(m_app->Matching("Section 'Broken': Fail failed: Probe: always fails", logLevelError).size(), 1u);
  EXPECT_GE(m_app->Matching("Section 'Broken': Fail failed: Probe: always fails", logLevelDebug).size(), 3u);
}

TEST_F(AgentServiceTest, OnceRunsInitAndOneExecuteOfEverySectionWhateverItsSchedule) {
  WriteServiceFile(ProbeSection("A", "InitializeMethod=Init\nExecuteMethod=Execute\nFrequency=1\nUnits=days\n"
                                     "Start=03:00\n") +
                   ProbeSection("B", "InitializeMethod=Init\nExecuteMethod=Execute\n") +
                   ProbeSection("NoExecute", "InitializeMethod=Init\n") +
                   "[Missing]\nClassID=KoradTest.Missing\nExecuteMethod=Execute\n");
  AgentService service(Settings(true), m_registry);
  std::string error;
  ASSERT_TRUE(service.Start(error)) << error;
  service.Run();  // returns when every section is done
  service.Stop();

  for (const char* label : {"A", "B"}) {
    const auto instances = m_board->WithLabel(label);
    ASSERT_EQ(instances.size(), 1u) << label;
    EXPECT_EQ(instances[0].inits, 1) << label;
    EXPECT_EQ(instances[0].executes, 1) << label;
  }
  EXPECT_EQ(m_board->WithLabel("NoExecute").at(0).inits, 1);
  EXPECT_EQ(m_app->Matching("Section 'Missing': class 'KoradTest.Missing' can't be created: no such class in the "
                            "library or the plug-ins")
                .at(0)
                .text.find("trying again"),
            std::string::npos)
      << "nothing is tried again in a single run";
}

TEST_F(AgentServiceTest, StartNeedsTheHomeAndTheServiceFile) {
  {
    AgentService service(Settings(), m_registry);
    std::string error;
    EXPECT_FALSE(service.Start(error));
    EXPECT_EQ(error, "service file '" + m_home.Path() + "/BIN/MvAgent.ini' does not exist");
  }
  ServiceSettings settings = Settings();
  settings.home = m_home / "nowhere";
  AgentService service(settings, m_registry);
  std::string error;
  EXPECT_FALSE(service.Start(error));
  EXPECT_EQ(error, "home folder '" + settings.home + "' does not exist");
}

}  // namespace
}  // namespace korad::agent
