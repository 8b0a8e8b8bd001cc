// koradctl's command line: help at each level, usage errors with exit code 2 and a usage
// line, a missing home with exit code 1.
#include "ctl_options.h"
#include "ctl_test_support.h"

namespace korad::ctl::testing {
namespace {

using CommandLineTest = CtlTest;

TEST_F(CommandLineTest, HelpAtEachLevelNeedsNoHomeAndNamesItsCommand) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"--help"}, "Usage: koradctl --home DIR COMMAND"},
      {{"queue", "--help"}, "Usage: koradctl --home DIR queue list|show|drain|send"},
      {{"queue", "show", "-h"}, "Usage: koradctl --home DIR queue show QUEUE"},
      {{"help", "queue", "drain"}, "Usage: koradctl --home DIR queue drain QUEUE"},
      {{"queue", "send", "--help", "--bogus"}, "Usage: koradctl --home DIR queue send QUEUE FILE"},
      {{"incidents", "--follow", "--help"}, "Usage: koradctl --home DIR incidents [--follow]"},
      {{"state", "show", "--help"}, "Usage: koradctl --home DIR state show MODULE"},
      {{"--help", "heartbeats"}, "Usage: koradctl --home DIR heartbeats"},
  };
  for (const auto& [args, usage] : cases) {
    const RunResult result = RunRaw(args);
    EXPECT_EQ(result.code, kExitOk) << args[0];
    EXPECT_EQ(result.out.rfind(usage, 0), 0u) << result.out;
    EXPECT_EQ(result.err, "");
  }
}

TEST_F(CommandLineTest, BadUsageExitsTwoWithTheCommandsUsageLine) {
  struct Case {
    std::vector<std::string> args;
    std::string error;
    std::string usage;
  };
  const std::vector<Case> cases = {
      {{}, "no command given", "Usage: koradctl --home DIR COMMAND"},
      {{"frobnicate"}, "unknown command 'frobnicate'", "Usage: koradctl --home DIR COMMAND"},
      {{"queue"}, "queue needs a subcommand", "Usage: koradctl --home DIR queue list|show|drain|send"},
      {{"queue", "peek", "Q"}, "unknown command 'queue peek'", "Usage: koradctl --home DIR queue list|show|drain|send"},
      {{"queue", "show"}, "queue show needs QUEUE", "Usage: koradctl --home DIR queue show QUEUE"},
      {{"queue", "send", "Q"}, "queue send needs FILE", "Usage: koradctl --home DIR queue send QUEUE FILE"},
      {{"queue", "list", "extra"}, "unexpected argument 'extra'", "Usage: koradctl --home DIR queue list"},
      {{"incidents", "--folow"}, "unknown option '--folow'", "Usage: koradctl --home DIR incidents"},
      {{"incidents", "--interval", "5"}, "--interval needs a whole number from 10 to 60000, not '5'",
       "Usage: koradctl --home DIR incidents"},
      {{"incidents", "--count"}, "--count needs a value", "Usage: koradctl --home DIR incidents"},
      {{"queue", "send", "Q", "F", "--ttl", "-1"}, "--ttl needs a whole number from 0 to 2147483647, not '-1'",
       "Usage: koradctl --home DIR queue send"},
      {{"state", "show"}, "state show needs MODULE", "Usage: koradctl --home DIR state show MODULE"},
  };
  for (const Case& c : cases) {
    const RunResult result = Run(c.args);
    EXPECT_EQ(result.code, kExitUsage) << c.error;
    EXPECT_EQ(result.out, "");
    const std::vector<std::string> lines = Lines(result.err);
    ASSERT_GE(lines.size(), 2u) << c.error;
    EXPECT_EQ(lines[0], "koradctl: " + c.error);
    EXPECT_EQ(lines[1].rfind(c.usage, 0), 0u) << lines[1];
    EXPECT_EQ(lines.back().rfind("Run \"koradctl ", 0), 0u) << lines.back();
  }
  const RunResult noHome = RunRaw({"heartbeats"});
  EXPECT_EQ(noHome.code, kExitUsage);
  EXPECT_EQ(Lines(noHome.err)[0], "koradctl: --home DIR is required");
}

TEST_F(CommandLineTest, AMissingHomeFailsAndHomeMayStandAnywhere) {
  const RunResult missing = RunRaw({"--home", m_home / "nowhere", "queue", "list"});
  EXPECT_EQ(missing.code, kExitFailure);
  EXPECT_EQ(missing.err, "koradctl: no agent home at " + (m_home / "nowhere") + "\n");

  SendIncident(Report{});
  const RunResult listed = RunRaw({"queue", "list", "--home=" + m_home.Path() + "/"});
  EXPECT_EQ(listed.code, kExitOk) << listed.err;
  EXPECT_EQ(listed.out, "MvRouterQ | 1 | " + (m_home / "Connectors/MvRouterQ") + "\n");
}

}  // namespace
}  // namespace korad::ctl::testing
