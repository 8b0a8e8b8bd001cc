// GetConfigurationCRC over real service files and module configuration files: what
// counts as a change of configuration and what doesn't.
#include <gtest/gtest.h>

#include "foundation/agent_home_fixture.h"
#include "foundation/configuration_crc.h"
#include "platform/utility.h"

namespace korad {
namespace {

using testing::AgentHomeTest;

class ConfigurationCrcTest : public AgentHomeTest {
 protected:
  // A service file with a monitor, an actor, the agent's own monitor and a section of
  // another kind; `swapped` writes every list in another order.
  std::string ServiceFile(const std::string& name, bool swapped, const std::string& cpuIni,
                          const std::string& agentIni) {
    const std::string cpu = "[Cpu]\nClassID=KORADevServices.MonitorManager\nConfigurationSource=" + cpuIni + "\n";
    const std::string act = "[Act]\nclassid=koradevservices.actionmanager\nConfigurationSource=" + m_home / "ModuleConfigs/Act.ini" + "\n";
    const std::string own = "[MvAgentMonitor]\nClassID=KORADevServices.MonitorManager\nConfigurationSource=" + agentIni + "\n";
    const std::string other = "[Logging]\nClassID=Something.Else\nConfigurationSource=" + agentIni + "\n";
    return WriteFile("BIN/" + name, swapped ? other + act + own + cpu : cpu + own + act + other);
  }
  std::string Crc(const std::string& path) { return GetConfigurationCRC(path, m_log); }
};

TEST_F(ConfigurationCrcTest, OrderAndLogInfoDontCountButValuesDo) {
  WriteFile("ModuleConfigs/Act.ini", "[Mail]\nServer=smtp\n");
  const std::string cpuA = WriteFile("ModuleConfigs/CpuA.ini",
                                     "[Global]\nLogInfo=0\nFrequency=60\n[Core0]\nLimit=90\nWait=2\n[Core1]\nLimit=80\n");
  const std::string cpuB = WriteFile("ModuleConfigs/CpuB.ini",
                                     "[Core1]\n  Limit = 80  \n[Core0]\nWait=2\nLimit=90\n[Global]\nFrequency=60\nLOGINFO=1\n");
  const std::string agentA = WriteFile("ModuleConfigs/AgentA.ini", "[Self]\nLimit=1\n");
  const std::string agentB = WriteFile("ModuleConfigs/AgentB.ini", "[Self]\nLimit=2\n");

  const std::string crc = Crc(ServiceFile("A.ini", false, cpuA, agentA));
  EXPECT_EQ(Crc(ServiceFile("B.ini", true, cpuB, agentB)), crc)
      << "order, blanks, LogInfo and the agent's own monitor don't count";

  const std::string cpuC = WriteFile("ModuleConfigs/CpuC.ini",
                                     "[Global]\nFrequency=60\n[Core0]\nLimit=95\nWait=2\n[Core1]\nLimit=80\n");
  EXPECT_NE(Crc(ServiceFile("C.ini", false, cpuC, agentA)), crc);

  // The text the CRC is taken of, and the CRC of it.
  const std::string text = "Act[Mail]Server=smtpCpu[Core0]Limit=90Wait=2[Core1]Limit=80[Global]Frequency=60";
  EXPECT_EQ(crc, Utility().CrcText(Utility().CrcOfText(text)));
}

TEST_F(ConfigurationCrcTest, TracesUnderItsOwnSource) {
  WriteFile("ModuleConfigs/Act.ini", "[Mail]\nServer=smtp\nLogInfo=1\n");
  const std::string cpu = WriteFile("ModuleConfigs/Cpu.ini", "[Core0]\nLimit=90\n");
  const std::string path = ServiceFile("MvAgent.ini", false, cpu, cpu);
  Crc(path);
  std::vector<std::string> texts;
  for (const auto& line : m_log->Lines()) {
    EXPECT_EQ(line.category, "GetConfigurationCRC");
    EXPECT_EQ(line.level, logLevelDebug);
    texts.push_back(line.text);
  }
  EXPECT_EQ(texts, (std::vector<std::string>{
                       "Calculating configuration CRC from " + path,
                       "Getting configurations for Act",
                       "Appending module Act",
                       "Adding section Mail",
                       "Adding line 'Server=smtp'",
                       "Getting configurations for Cpu",
                       "Appending module Cpu",
                       "Adding section Core0",
                       "Adding line 'Limit=90'",
                       "Calculating CRC on Act[Mail]Server=smtpCpu[Core0]Limit=90",
                   }));

  m_log->Clear();
  EXPECT_EQ(Crc(m_home / "BIN/Missing.ini"), Utility().CrcText(Utility().CrcOfText("")));
  EXPECT_EQ(m_log->Lines().back().text, "Calculating CRC on ");
}

}  // namespace
}  // namespace korad
