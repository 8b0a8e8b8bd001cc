// The check command monitor run by the engine, pass by pass: a check that flaps back to
// its problem while the resolve waits keeps the incident open, and the numbers a check
// prints go out as updates only when the configuration asks for them.
#include <sys/stat.h>

#include <string>
#include <vector>

#include "korad_linux/monitors.h"
#include "monitor/monitor_fixture.h"

namespace korad::testing {
namespace {

class FlappingCheckTest : public MonitorTest {
 protected:
  void SetUp() override {
    MonitorTest::SetUp();
    RegisterLinuxMonitors(ClassRegistry::Global());
    // CRITICAL on its calls 1-2 and 5-7, OK otherwise; the numbers change on every call.
    m_check = m_home / "check_flap";
    WriteWholeFile(m_check,
                   "#!/bin/sh\nn=$(cat \"$1\" 2>/dev/null || echo 0); n=$((n+1)); echo $n > \"$1\"\n"
                   "case $n in 1|2|5|6|7) echo \"CRITICAL - call $n | calls=$n\"; exit 2;; esac\n"
                   "echo \"OK - call $n | calls=$n\"; exit 0\n");
    ::chmod(m_check.c_str(), 0755);
  }
  std::string Config(const std::string& name, const std::string& extra = {}) {
    return "[" + name + "]\r\nmvFrequency=60\r\nmvFrequencyUnits=SECONDS\r\nmvWaitResolve=3\r\nCommand=" + m_check +
           " " + std::string(m_home / (name + ".count")) + "\r\n" + extra;
  }
  // "call:configuration:condition" of every incident sent in `calls` passes.
  std::vector<std::string> Run(int calls) {
    auto manager = MakeManager(ModeMorvane, kModule, CommandMonitor::kClassId);
    std::vector<std::string> sent;
    for (int call = 1; call <= calls; ++call) {
      if (call > 1) Advance(60);
      const size_t before = QueuedIncidents().size();
      manager->Monitor();
      const std::vector<std::string> bodies = QueuedIncidents();
      for (size_t i = before; i < bodies.size(); ++i) {
        auto forms = std::make_shared<IncidentForms>();
        EXPECT_TRUE(forms->CreateFormFromString(bodies[i], "test"));
        const IncidentFormRef form = forms->Item(1);
        sent.push_back(std::to_string(call) + ":" +
                       form->GetAttributes()->Item(Value("mvConfigurationID"))->Value().ToText() + ":" +
                       form->Condition());
      }
    }
    return sent;
  }
  std::string m_check;
};

TEST_F(FlappingCheckTest, AFlapBackCancelsTheResolveWaitAndNumbersAloneStaySilent) {
  WriteIni(Config("Quiet") + Config("Chatty", "ReportUpdates=True\r\n"));
  EXPECT_EQ(Run(12), (std::vector<std::string>{"1:Quiet:CRITICAL", "1:Chatty:CRITICAL", "2:Chatty:CRITICAL(Updated)",
                                               "5:Quiet:CRITICAL(Updated)", "5:Chatty:CRITICAL(Updated)",
                                               "6:Chatty:CRITICAL(Updated)", "7:Chatty:CRITICAL(Updated)",
                                               "11:Quiet:CRITICAL(Resolved)", "11:Chatty:CRITICAL(Resolved)"}));
  EXPECT_TRUE(ErrorLines().empty());
}

}  // namespace
}  // namespace korad::testing
