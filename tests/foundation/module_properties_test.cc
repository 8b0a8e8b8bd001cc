// Module.pro as LoadProperties reads it: which lines count for a module, how they split,
// and which of two equal keys wins.
#include <gtest/gtest.h>

#include <tuple>

#include "foundation/agent_home_fixture.h"
#include "foundation/module_properties.h"
#include "platform/scripting_dictionary.h"

namespace korad {
namespace {

using testing::AgentHomeTest;

class ModulePropertiesTest : public AgentHomeTest {};

TEST_F(ModulePropertiesTest, AMissingFileIsAnEmptyMapAndEditsCountFromTheNextRead) {
  auto properties = LoadProperties("MonitorX", m_log);
  EXPECT_EQ(properties->Count(), 0u);
  ASSERT_EQ(m_log->Lines().size(), 2u);
  EXPECT_EQ(m_log->Lines()[0].text, "LoadProperties started");
  EXPECT_EQ(m_log->Lines()[1].text, "LoadProperties complete");

  WriteFile("ModuleConfigs/Module.pro", "GLOBAL.A=1\n");
  EXPECT_EQ(FindModuleProp(*LoadProperties("M", nullptr), "GLOBAL.A")->Value, "1");
  WriteFile("ModuleConfigs/Module.pro", "GLOBAL.A=2\n");
  EXPECT_EQ(FindModuleProp(*LoadProperties("M", nullptr), "GLOBAL.A")->Value, "2");
}

TEST_F(ModulePropertiesTest, LinesOfTheModuleAndGlobalLinesWithTheLaterOfTwoKeysWinning) {
  WriteFile("ModuleConfigs/Module.pro",
            "GLOBAL.Timeout=1.5\r\n"
            "MonitorX.KEY=1.5\r\n"           // splits at the value's dot: dropped
            "monitorx.Cfg.Key=1.5\r\n"
            "MonitorX.7.Limit=9\n"
            "MonitorX.2.5.Limit=3\n"         // the configuration part ends at the next dot
            "MonitorX.Limit=1\n"
            "MONITORX.LIMIT=2=two\n"         // later line, same map key; the value keeps its "="
            "Other.Limit=5\n"                // another module
            "no grammar here\n"
            "GLOBAL.Path=C:\\a.b\\c.d");      // no line end on the last line

  auto properties = LoadProperties("MonitorX", m_log);
  EXPECT_EQ(properties->Keys(), (std::vector<std::string>{"GLOBAL.TIMEOUT", "MONITORX.CFG.KEY", "MONITORX.7.LIMIT",
                                                           "MONITORX.2.5.LIMIT", "MONITORX.LIMIT", "GLOBAL.PATH"}));

  // Module, configuration, key and value of each line.
  using Parts = std::tuple<std::string, std::string, std::string, std::string>;
  auto parts = [&](const char* key) {
    const ModuleProp* p = FindModuleProp(*properties, key);
    return p ? Parts{p->ModuleName, p->Config, p->Key, p->Value} : Parts{};
  };
  EXPECT_EQ(parts("GLOBAL.TIMEOUT"), (Parts{"GLOBAL", "", "TIMEOUT", "1.5"}));
  EXPECT_EQ(FindModuleProp(*properties, "GLOBAL.PATH")->Value, "C:\\a.b\\c.d");
  EXPECT_EQ(parts("MONITORX.CFG.KEY"), (Parts{"MONITORX", "CFG", "KEY", "1.5"}));

  const ModuleProp* numbered = FindModuleProp(*properties, "MONITORX.7.LIMIT");
  EXPECT_EQ(numbered->Config, "");
  EXPECT_EQ(numbered->ConfigID, 7);
  EXPECT_EQ(numbered->Value, "9");
  // "2.5" is the configuration part only up to the first dot after the module: "2".
  EXPECT_EQ(FindModuleProp(*properties, "MONITORX.2.5.LIMIT")->ConfigID, 2);
  EXPECT_EQ(FindModuleProp(*properties, "MONITORX.2.5.LIMIT")->Key, "5.LIMIT");

  const ModuleProp* later = FindModuleProp(*properties, "MONITORX.LIMIT");
  EXPECT_EQ(later->Value, "2=two");
  EXPECT_EQ(later->Config, "");
  EXPECT_EQ(m_log->Matching("LoadProperties overwriting existing key").size(), 1u);
  EXPECT_EQ(m_log->Matching("LoadProperties adding new key").size(), 6u);
  EXPECT_EQ(m_log->Matching("LoadProperties loaded line ").size(), 10u);
  EXPECT_EQ(m_log->Matching("LoadProperties adding key = MONITORX.CFG.KEY with value = 1.5 (MONITORX,CFG,KEY)").size(),
            1u);
  EXPECT_EQ(m_log->Matching("LoadProperties checking Global or OTHER = MONITORX").size(), 1u);
  for (const auto& line : m_log->Lines()) {
    EXPECT_EQ(line.category, "MonitorX");
    EXPECT_EQ(line.level, logLevelDebug);
  }

  // The properties are objects with late binding, as scripts see them.
  const Value* item = properties->Find("MONITORX.CFG.KEY");
  ASSERT_NE(item, nullptr);
  ObjectRef object = item->ToObject();
  EXPECT_EQ(object->ClassId(), "KORADevServices.ModuleProp");
  EXPECT_EQ(object->GetProperty("config").ToText(), "CFG");
  object->LetProperty("ConfigID", Value("12"));
  EXPECT_EQ(object->GetProperty("ConfigID"), Value(int32_t{12}));
}

}  // namespace
}  // namespace korad
