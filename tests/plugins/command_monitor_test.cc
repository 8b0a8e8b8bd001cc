// The check command monitor running small shell checks: states by exit code, the first
// line, further lines and performance data as attributes, time limits and programs that
// can't run; and the parsing of check output on its own.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>

#include "korad_linux/check_output.h"
#include "korad_linux/monitors.h"
#include "plugins/monitor_fixture.h"
#include "support/temp_folder.h"

namespace korad {
namespace {

using testing::MonitorFixture;
using testing::TempFolder;

TEST(CheckOutput, TextFurtherLinesAndPerformanceDataFromEveryLine) {
  const CheckOutput output = ParseCheckOutput(
      "DISK WARNING - 12% free | /=88%;80;90;0;100\r\n"
      "second line\n"
      "third line | 'home dir'=5GB;;;0 load1=0.5\n"
      "load5=U\n");
  EXPECT_EQ(output.text, "DISK WARNING - 12% free");
  EXPECT_EQ(output.longText, "second line\nthird line");
  EXPECT_EQ(output.perfData, "/=88%;80;90;0;100 'home dir'=5GB;;;0 load1=0.5 load5=U");
  ASSERT_EQ(output.perf.size(), 4u);
  EXPECT_EQ(output.perf[0].label, "/");
  EXPECT_EQ(output.perf[0].value, "88");
  EXPECT_EQ(output.perf[0].unit, "%");
  EXPECT_EQ(output.perf[0].warn, "80");
  EXPECT_EQ(output.perf[0].crit, "90");
  EXPECT_EQ(output.perf[0].min, "0");
  EXPECT_EQ(output.perf[0].max, "100");
  EXPECT_EQ(output.perf[1].label, "home dir");
  EXPECT_EQ(output.perf[1].value, "5");
  EXPECT_EQ(output.perf[1].unit, "GB");
  EXPECT_EQ(output.perf[1].warn, "");
  EXPECT_EQ(output.perf[1].min, "0");
  EXPECT_EQ(output.perf[1].max, "");
  EXPECT_EQ(output.perf[3].value, "U");
}

TEST(CheckOutput, QuotedLabelsAndItemsWithoutAValue) {
  const std::vector<PerfDatum> perf = ParsePerfData("  'it''s'=-1.5s;~:10;@5:6 junk =3 x=7c  ");
  ASSERT_EQ(perf.size(), 2u);
  EXPECT_EQ(perf[0].label, "it's");
  EXPECT_EQ(perf[0].value, "-1.5");
  EXPECT_EQ(perf[0].unit, "s");
  EXPECT_EQ(perf[0].warn, "~:10");
  EXPECT_EQ(perf[0].crit, "@5:6");
  EXPECT_EQ(perf[1].label, "x");
  EXPECT_EQ(perf[1].unit, "c");
  EXPECT_TRUE(ParseCheckOutput("").text.empty());
}

class CommandMonitorTest : public MonitorFixture {
 protected:
  std::string Script(const std::string& name, const std::string& body) {
    const std::string path = folder / name;
    testing::WriteBytes(path, "#!/bin/sh\n" + body);
    ::chmod(path.c_str(), 0755);
    return path;
  }

  std::vector<IncidentFormRef> RunCommand(const std::string& command, Keys more = {}) {
    more.emplace_back("Command", command);
    EXPECT_EQ(Configure<CommandMonitor>(more), "");
    return Run();
  }

  TempFolder folder;
};

TEST_F(CommandMonitorTest, ExitCodesBecomeConditionsAndOkClearsThemAll) {
  const std::string check = Script("check_state", "echo \"STATE $1 | v=$1;1;2\"\nexit $1\n");
  EXPECT_TRUE(RunCommand(check + " 0").empty());
  EXPECT_EQ(Cleared(), (std::vector<std::string>{"check_state: WARNING", "check_state: CRITICAL",
                                                 "check_state: UNKNOWN"}));
  RunCommand(check + " 2");
  EXPECT_EQ(Cleared(), (std::vector<std::string>{"check_state: WARNING", "check_state: UNKNOWN"}))
      << "a check moves from one state to another: the one it left is cleared";

  const char* expected[] = {"", "WARNING", "CRITICAL", "UNKNOWN", "UNKNOWN"};
  for (int code : {1, 2, 3, 7}) {
    const std::vector<IncidentFormRef> reported = RunCommand(check + " " + std::to_string(code));
    ASSERT_EQ(reported.size(), 1u) << code;
    EXPECT_EQ(reported[0]->Condition(), expected[std::min(code, 4)]);
    EXPECT_EQ(reported[0]->Resource(), "check_state");
    EXPECT_EQ(reported[0]->KeyAttributes(), "Command");
    EXPECT_EQ(Attribute(reported[0], "ExitCode"), std::to_string(code));
    EXPECT_EQ(Attribute(reported[0], "Output"), "STATE " + std::to_string(code));
    EXPECT_EQ(Attribute(reported[0], "Perf_v"), std::to_string(code));
    EXPECT_EQ(Attribute(reported[0], "Perf_v_Warn"), "1");
    EXPECT_EQ(Attribute(reported[0], "Perf_v_Crit"), "2");
    EXPECT_EQ(Attribute(reported[0], "Perf_v_UOM"), "<none>");
    EXPECT_EQ(Attribute(reported[0], "Command"), check + " " + std::to_string(code));
  }
}

TEST_F(CommandMonitorTest, LongOutputPerformanceDataAndAResourceOfItsOwn) {
  const std::string check = Script("check_disk",
                                   "echo 'DISK CRITICAL - / at 97% | /=97%;80;90;0;100'\n"
                                   "echo '/ is nearly full'\n"
                                   "echo 'see the log | inodes=40%;;;0;100'\n"
                                   "exit 2\n");
  const std::vector<IncidentFormRef> reported = RunCommand(check, {{"Resource", "RootDisk"}, {"ReportUpdates", "True"}});
  ASSERT_EQ(reported.size(), 1u);
  EXPECT_EQ(reported[0]->Resource(), "RootDisk");
  EXPECT_EQ(reported[0]->Condition(), "CRITICAL");
  EXPECT_EQ(Attribute(reported[0], "Output"), "DISK CRITICAL - / at 97%");
  EXPECT_EQ(Attribute(reported[0], "LongOutput"), "/ is nearly full\nsee the log");
  EXPECT_EQ(Attribute(reported[0], "PerfData"), "/=97%;80;90;0;100 inodes=40%;;;0;100");
  EXPECT_EQ(Attribute(reported[0], "Perf__"), "97");  // "/" is no name character
  EXPECT_EQ(Attribute(reported[0], "Perf___UOM"), "%");
  EXPECT_EQ(Attribute(reported[0], "Perf_inodes_Max"), "100");
  EXPECT_TRUE(reported[0]->GetAttributes()->Item(Value("Output"))->RelevantToUpdates());
}

TEST_F(CommandMonitorTest, ArgumentsWithBlanksArriveWholeAndErrorTextStandsInForMissingOutput) {
  ::mkdir((folder / "my checks").c_str(), 0755);
  const std::string check = Script("my checks/check_args", "echo \"[$1][$2]\" >&2\nexit 1\n");
  const std::vector<IncidentFormRef> reported = RunCommand("\"" + check + "\" \"a b\" c\\\"d");
  ASSERT_EQ(reported.size(), 1u);
  EXPECT_EQ(reported[0]->Resource(), "check_args");
  EXPECT_EQ(Attribute(reported[0], "Output"), "[a b][c\"d]");
}

TEST_F(CommandMonitorTest, ACheckPastItsTimeIsKilledAndUnknown) {
  const std::string check = Script("check_slow", "echo partial\nsleep 20\necho never\n");
  const auto start = std::chrono::steady_clock::now();
  const std::vector<IncidentFormRef> reported = RunCommand(check, {{"TimeoutSeconds", "0.3"}});
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  ASSERT_EQ(reported.size(), 1u);
  EXPECT_EQ(reported[0]->Condition(), "UNKNOWN");
  EXPECT_EQ(Attribute(reported[0], "TimedOut"), "True");
  EXPECT_EQ(Attribute(reported[0], "Output"), "Timed out after 0.3 seconds");
}

TEST_F(CommandMonitorTest, AProgramThatCannotRunIsUnknownAndABadTimeoutIsAnError) {
  const std::vector<IncidentFormRef> reported = RunCommand(folder / "check_absent");
  ASSERT_EQ(reported.size(), 1u);
  EXPECT_EQ(reported[0]->Condition(), "UNKNOWN");
  EXPECT_EQ(Attribute(reported[0], "Output").rfind("Could not run " + (folder / "check_absent") + ": File not found", 0),
            0u);

  ASSERT_EQ(Configure<CommandMonitor>({{"Command", "true"}, {"TimeoutSeconds", "0"}}), "");
  EXPECT_EQ(RunError(), "KoradLinux.CommandMonitor: TimeoutSeconds = '0' is not a positive number");
  EXPECT_EQ(Configure<CommandMonitor>({}), "Could not find 'Command' configuration for Resource 'Check1'");
}

}  // namespace
}  // namespace korad
