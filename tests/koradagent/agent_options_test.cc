// The command line as an operator types it.
#include <gtest/gtest.h>

#include "agent_options.h"

namespace korad::agent {
namespace {

TEST(AgentOptions, HomeAndFlagsInAnyOrder) {
  ParsedOptions parsed = ParseAgentOptions({"--once", "--home", "/opt/agent", "--foreground"});
  ASSERT_TRUE(parsed.ok()) << parsed.error;
  EXPECT_EQ(parsed.options.home, "/opt/agent");
  EXPECT_TRUE(parsed.options.once);
  EXPECT_TRUE(parsed.options.foreground);
  EXPECT_FALSE(parsed.options.help);

  parsed = ParseAgentOptions({"--home=relative/home"});
  ASSERT_TRUE(parsed.ok()) << parsed.error;
  EXPECT_EQ(parsed.options.home, "relative/home");
  EXPECT_FALSE(parsed.options.once);
  EXPECT_FALSE(parsed.options.foreground);
}

TEST(AgentOptions, MistakesAreUsageErrorsWithAReason) {
  EXPECT_EQ(ParseAgentOptions({}).error, "--home is required");
  EXPECT_EQ(ParseAgentOptions({"--once"}).error, "--home is required");
  EXPECT_EQ(ParseAgentOptions({"--home"}).error, "--home needs a folder");
  EXPECT_EQ(ParseAgentOptions({"--home="}).error, "--home needs a folder");
  EXPECT_EQ(ParseAgentOptions({"--home", "/h", "--fast"}).error, "unknown argument '--fast'");
  EXPECT_EQ(ParseAgentOptions({"/h"}).error, "unknown argument '/h'");
}

TEST(AgentOptions, HelpNeedsNoHomeAndTheUsageNamesEveryOption) {
  const ParsedOptions parsed = ParseAgentOptions({"--help"});
  ASSERT_TRUE(parsed.ok());
  EXPECT_TRUE(parsed.options.help);
  EXPECT_TRUE(ParseAgentOptions({"-h"}).options.help);

  const std::string usage = UsageText("koradagent");
  EXPECT_EQ(usage.rfind("Usage: koradagent --home DIR [--foreground] [--once]\n", 0), 0u);
  for (const char* option : {"--home DIR", "--foreground", "--once", "--help", "Exit codes"}) {
    EXPECT_NE(usage.find(option), std::string::npos) << option;
  }
}

}  // namespace
}  // namespace korad::agent
