// A check's command written as for a shell: quoted arguments arrive whole, and a quote
// left open is a configuration error, not a guess.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "korad_linux/monitors.h"
#include "plugins/monitor_fixture.h"
#include "support/temp_folder.h"

namespace korad {
namespace {

class CommandWordsTest : public testing::MonitorFixture {};

TEST_F(CommandWordsTest, ShellQuotingReachesTheCheckAndAnOpenQuoteIsRefused) {
  testing::TempFolder folder;
  const std::string check = folder / "check_dummy";
  testing::WriteBytes(check, "#!/bin/sh\necho \"[$1][$2][$3]\"\nexit 1\n");
  ::chmod(check.c_str(), 0755);

  const std::string command = check + " 1 'half way' \"it's\"";
  ASSERT_EQ(Configure<CommandMonitor>({{"Command", command}}), "");
  const std::vector<IncidentFormRef> reported = Run();
  ASSERT_EQ(reported.size(), 1u);
  EXPECT_EQ(Attribute(reported[0], "Output"), "[1][half way][it's]");

  ASSERT_EQ(Configure<CommandMonitor>({{"Command", "check_dummy 1 'half way"}}), "");
  EXPECT_EQ(RunError(),
            "KoradLinux.CommandMonitor: Command = 'check_dummy 1 'half way' is not a command line "
            "(the single quote at character 15 is never closed)");
}

}  // namespace
}  // namespace korad
