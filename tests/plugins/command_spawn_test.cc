// The check command monitor when its program can't be started at all (a full process
// table, a refused exec): the check is UNKNOWN with the reason as its output, and a
// later start that works clears it.
#include <gtest/gtest.h>

#include "korad_linux/monitors.h"
#include "plugins/monitor_fixture.h"
#include "support/fake_process_launcher.h"

namespace korad {
namespace {

class CommandSpawnTest : public testing::MonitorFixture {
 protected:
  void SetUp() override { Platform::Current().SetProcessLauncher(m_launcher); }
  void TearDown() override { Platform::Current().SetProcessLauncher(nullptr); }
  std::shared_ptr<testing::FakeProcessLauncher> m_launcher = std::make_shared<testing::FakeProcessLauncher>();
};

TEST_F(CommandSpawnTest, AFailedSpawnIsUnknownUntilTheCheckRunsAgain) {
  ASSERT_EQ(Configure<CommandMonitor>({{"Command", "/usr/lib/checks/check_load -w 5"}}), "");
  m_launcher->spawnFails = kErrPathFileAccess;
  std::vector<IncidentFormRef> reported = Run();
  ASSERT_EQ(reported.size(), 1u);
  EXPECT_EQ(reported[0]->Resource(), "check_load");
  EXPECT_EQ(reported[0]->Condition(), "UNKNOWN");
  EXPECT_EQ(Attribute(reported[0], "Output").rfind("Could not run /usr/lib/checks/check_load: Path/File access error", 0), 0u)
      << Attribute(reported[0], "Output");
  EXPECT_EQ(Attribute(reported[0], "ExitCode"), "<none>");
  EXPECT_EQ(m_launcher->Launched(),
            (std::vector<std::vector<std::string>>{{"/usr/lib/checks/check_load", "-w", "5"}}));

  m_launcher->spawnFails = 0;
  m_launcher->outcome.output = "LOAD OK - 0.5\n";
  EXPECT_TRUE(Run().empty());
  EXPECT_EQ(Cleared(), (std::vector<std::string>{"check_load: WARNING", "check_load: CRITICAL", "check_load: UNKNOWN"}));
}

}  // namespace
}  // namespace korad
