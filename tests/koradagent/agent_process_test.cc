// The built program on a temporary home: exit codes, a plug-in loaded by the program
// itself, and a clean stop on SIGTERM.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "support/child_process.h"
#include "support/temp_folder.h"

namespace korad::agent {
namespace {

using namespace std::chrono_literals;
using korad::testing::ReadBytes;
using korad::testing::TempHome;
using korad::testing::WriteWholeFile;

constexpr const char* kProgram = KORAD_BUILD_DIR "/koradagent";

class AgentProcessTest : public ::testing::Test {
 protected:
  // Starts the program with `args`; its stdout and stderr go to files in the home.
  void Spawn(const std::vector<std::string>& args) {
    ASSERT_TRUE(m_agent.Start(kProgram, args, m_home / "stdout.txt", m_home / "stderr.txt"));
  }
  int WaitForExit(std::chrono::milliseconds limit) { return m_agent.WaitForExit(limit); }
  int Run(const std::vector<std::string>& args) {
    Spawn(args);
    return WaitForExit(20s);
  }
  std::string Log() const { return ReadBytes(m_home / "LogFiles/MvAgent.log"); }
  bool WaitForLog(const std::string& fragment) {
    for (int i = 0; i < 1000; ++i) {
      if (Log().find(fragment) != std::string::npos) return true;
      std::this_thread::sleep_for(10ms);
    }
    return false;
  }
  void InstallPlugin() {
    std::filesystem::create_directories(m_home / "Modules");
    std::filesystem::copy_file(KORAD_TEST_PLUGIN, m_home / "Modules/probe.so");
  }

  TempHome m_home;
  korad::testing::ChildProcess m_agent;
};

TEST_F(AgentProcessTest, StopsCleanlyOnSigtermWithinSeconds) {
  InstallPlugin();
  WriteWholeFile(m_home / "BIN/MvAgent.ini",
                 "[State One]\nClassID=KORADevServices.IncidentState\nExecuteMethod=RemoveAll\nFrequency=1\n"
                 "Units=hours\n"
                 "[State Two]\nClassID=KORADevServices.IncidentState\nExecuteMethod=RemoveAll\nFrequency=1\n"
                 "Units=minutes\n"
                 "[Probe]\nClassID=KoradTest.PluginProbe\nLabel=in the program\nInitializeMethod=Init\n"
                 "ExecuteMethod=Execute\nFrequency=0.05\nUnits=seconds\n");
  Spawn({"--home", m_home.Path()});
  ASSERT_TRUE(WaitForLog("plug-in probe 'in the program' executed")) << Log();
  ASSERT_TRUE(WaitForLog("Section 'State Two': running KORADevServices.IncidentState")) << Log();

  ASSERT_TRUE(m_agent.Kill(SIGTERM));
  EXPECT_EQ(WaitForExit(5s), 0) << Log();
  EXPECT_NE(Log().find("Stop requested by SIGTERM"), std::string::npos);
  EXPECT_NE(Log().find("Agent stopped"), std::string::npos);
}

TEST_F(AgentProcessTest, OnceRunsEachSectionAndExitsZero) {
  InstallPlugin();
  WriteWholeFile(m_home / "BIN/MvAgent.ini",
                 "[Probe]\nClassID=KoradTest.PluginProbe\nLabel=once\nInitializeMethod=Init\nExecuteMethod=Execute\n"
                 "Frequency=1\nUnits=days\nStart=04:00\n");
  EXPECT_EQ(Run({"--home", m_home.Path(), "--once", "--foreground"}), 0) << ReadBytes(m_home / "stderr.txt");
  EXPECT_NE(Log().find("plug-in probe 'once' executed"), std::string::npos) << Log();
  EXPECT_NE(ReadBytes(m_home / "stderr.txt").find("6 [KoradTestPlugin] plug-in probe 'once' executed"),
            std::string::npos)
      << "--foreground copies the lines to stderr";
}

TEST_F(AgentProcessTest, ExitCodesForHelpUsageAndFatalErrors) {
  EXPECT_EQ(Run({"--help"}), 0);
  EXPECT_NE(ReadBytes(m_home / "stdout.txt").find("--home DIR"), std::string::npos);

  EXPECT_EQ(Run({"--home"}), 2);
  EXPECT_NE(ReadBytes(m_home / "stderr.txt").find("koradagent: --home needs a folder"), std::string::npos);
  EXPECT_EQ(Run({"--nonsense"}), 2);

  EXPECT_EQ(Run({"--home", m_home / "missing"}), 1);
  EXPECT_NE(ReadBytes(m_home / "stderr.txt").find("does not exist"), std::string::npos);
  EXPECT_EQ(Run({"--home", m_home.Path()}), 1) << "a home without BIN/MvAgent.ini";
  EXPECT_NE(ReadBytes(m_home / "stderr.txt").find("MvAgent.ini' does not exist"), std::string::npos);
}

}  // namespace
}  // namespace korad::agent
