// The module configuration reader over real files: the walker's way through the
// sections, the full reader, the precedence of a value from section line to Module.pro,
// and validation against a plug-in's rules.
#include <gtest/gtest.h>

#include <filesystem>

#include "foundation/agent_home_fixture.h"
#include "foundation/configurations.h"
#include "foundation/module_config_reader.h"
#include "foundation/validation_rules.h"
#include "support/error_number.h"

namespace korad {
namespace {

using testing::AgentHomeTest;

struct Step {
  std::string moniker;
  int32_t index;
  std::string shared;  // the view's value of the Global key "Shared"
  bool operator==(const Step&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Step& step) {
  return out << "{" << step.moniker << ", " << step.index << ", " << step.shared << "}";
}

class ModuleConfigReaderTest : public AgentHomeTest {
 protected:
  // Walks the file as the monitor cycle does, until the walker says there's no more.
  std::vector<Step> Walk(const std::string& path) {
    SectionNameArray sections;
    EXPECT_TRUE(GetSectionNames(path, sections));
    SectionArray globals;
    ReadSectionIntoArray("MonitorX", path, "Global", globals, m_log);
    std::vector<Step> steps;
    std::string last;
    int32_t index = 0;
    for (int guard = 0; guard < 10; ++guard) {
      bool noMore = false;
      auto view = GetNextConfiguration("MonitorX", last, path, m_log, sections, globals, index, noMore);
      if (noMore) {
        EXPECT_EQ(view->Count(), 0);
        return steps;
      }
      last = view->ConfigMoniker();
      steps.push_back({last, index, view->Exists("Shared") ? view->Item("Shared")->Value() : ""});
    }
    ADD_FAILURE() << "the walk doesn't end";
    return steps;
  }
};

TEST_F(ModuleConfigReaderTest, TheWalkerSkipsGlobalWhereverItStands) {
  const std::string first = WriteFile("ModuleConfigs/First.ini", "[Global]\nShared=g\n[A]\nX=1\n[B]\nX=2\n");
  EXPECT_EQ(Walk(first), (std::vector<Step>{{"A", 1, "g"}, {"B", 2, "g"}}));

  const std::string middle = WriteFile("ModuleConfigs/Middle.ini", "[A]\nX=1\n[Global]\nShared=g\n[B]\nX=2\n");
  EXPECT_EQ(Walk(middle), (std::vector<Step>{{"A", 0, "g"}, {"B", 2, "g"}}));

  const std::string last = WriteFile("ModuleConfigs/Last.ini", "[A]\nX=1\n[B]\nX=2\n[Global]\nShared=g\n");
  EXPECT_EQ(Walk(last), (std::vector<Step>{{"A", 0, "g"}, {"B", 1, "g"}}));

  const std::string alone = WriteFile("ModuleConfigs/Alone.ini", "[Global]\nShared=g\n");
  EXPECT_EQ(Walk(alone), std::vector<Step>{});

  const std::string none = WriteFile("ModuleConfigs/NoGlobal.ini", "[A]\n[B]\nX=2\n[C]\nX=3\n");
  EXPECT_EQ(Walk(none), (std::vector<Step>{{"A", 0, ""}, {"B", 1, ""}, {"C", 2, ""}}));
}

TEST_F(ModuleConfigReaderTest, TheWalkerTracesItsWayAndAMissingSourceIsNoError) {
  const std::string path = WriteFile("ModuleConfigs/Two.ini", "[A]\nX=1\n[B]\nX=2\n");
  SectionNameArray sections = std::vector<std::string>{"A", "B"};
  int32_t index = 0;
  bool noMore = false;
  auto view = GetNextConfiguration("MonitorX", "A", path, m_log, sections, std::nullopt, index, noMore);
  EXPECT_FALSE(noMore);
  EXPECT_EQ(view->ConfigMoniker(), "B");
  std::vector<std::string> texts;
  for (const auto& line : m_log->Lines()) {
    if (line.text.rfind("LoadProperties", 0) == 0) continue;
    EXPECT_EQ(line.category, "MonitorX");
    EXPECT_EQ(line.level, logLevelDebug);
    texts.push_back(line.text);
  }
  EXPECT_EQ(texts, (std::vector<std::string>{
                       "GetNextConfiguration - Configuration Source: " + path + " Last Run Index = 0",
                       "GetNextConfiguration - Checking valid file path",
                       "GetNextConfiguration - Valid file path - IsArray = True",
                       "GetNextConfiguration - Numsections = 2",
                       "GetConfigurations - Section Name: B",
                       "GetConfigurations (SectionB) configs count: 1",
                       "GetNextConfiguration(B) count = 0",
                   }));

  for (const std::string& source : {std::string(), m_home / "ModuleConfigs/Missing.ini"}) {
    index = 0;
    noMore = false;
    view = GetNextConfiguration("MonitorX", "", source, m_log, sections, std::nullopt, index, noMore);
    EXPECT_TRUE(noMore);
    EXPECT_EQ(view->Count(), 0);
  }
  index = 0;
  view = GetNextConfiguration("MonitorX", "", path, m_log, std::nullopt, std::nullopt, index, noMore);
  EXPECT_TRUE(noMore) << "sections that aren't an array";
}

// Every level of the chain over real files, each key decided at a different level.
TEST_F(ModuleConfigReaderTest, PrecedenceFromSectionLineToConfigurationLineByName) {
  const std::string path = WriteFile("ModuleConfigs/MonitorX.ini",
                                     "[Global]\n"
                                     "P2=global-section\n"
                                     "P3=global-section\n"
                                     "[CPU]\n"
                                     "mvConfigurationName=Named\n"
                                     "P1=section\n"
                                     "P2=section\n"
                                     "P3=section\n"
                                     "P4=section\n"
                                     "P5=section\n"
                                     "P6=section\n"
                                     "P7=<[?mvProperty.Shared]>\n"
                                     "P1=second line of a key\n");
  WriteFile("ModuleConfigs/Module.pro",
            "MonitorX.Named.P6=by-name\n"  // order in the file doesn't matter, the level does
            "MonitorX.CPU.P6=by-section\n"
            "MonitorX.P6=module\n"
            "GLOBAL.P6=pro-global\n"
            "MonitorX.CPU.P5=by-section\n"
            "MonitorX.P5=module\n"
            "GLOBAL.P5=pro-global\n"
            "MonitorX.P4=module\n"
            "GLOBAL.P4=pro-global\n"
            "GLOBAL.P3=pro-global\n"
            "OtherModule.P2=other\n"
            "GLOBAL.Shared=[?mvProperty.Shared] shared\n");

  SectionNameArray sections;
  ASSERT_TRUE(GetSectionNames(path, sections));
  SectionArray globals;
  ReadSectionIntoArray("MonitorX", path, "Global", globals, m_log);
  int32_t index = 0;
  bool noMore = true;
  auto view = GetNextConfiguration("MonitorX", "", path, m_log, sections, globals, index, noMore);
  ASSERT_FALSE(noMore);
  ASSERT_EQ(view->ConfigMoniker(), "CPU");
  const char* decided[] = {"section", "global-section", "pro-global", "module", "by-section", "by-name"};
  for (int p = 1; p <= 6; ++p) EXPECT_EQ(view->Item("P" + std::to_string(p))->Value(), decided[p - 1]) << p;
  EXPECT_EQ(view->Item("P7")->Value(), "<[?mvProperty.Shared] shared>")
      << "property macros are replaced once, after the overrides";
  EXPECT_EQ(m_log->Matching(") mpdule level match for key P6. Setting value pro-global to module").size(), 1u);
  EXPECT_EQ(m_log->Matching(") config level match for key P6. Setting value by-section to by-name").size(), 1u);
  EXPECT_EQ(m_log->Matching(") Replacing mvProperty value in configuration").size(), 1u);

  // The full reader doesn't apply Module.pro: Global over section is all it knows.
  SectionNameArray allSections;
  auto all = GetConfigurations("MonitorX", path, m_log, allSections);
  EXPECT_EQ(allSections, (std::vector<std::string>{"Global", "CPU"}));
  all->SetConfigMoniker("CPU");
  EXPECT_EQ(all->Item("P1")->Value(), "section");
  EXPECT_EQ(all->Item("P2")->Value(), "global-section");
  EXPECT_EQ(all->Item("P6")->Value(), "section");
  EXPECT_EQ(all->Item("P7")->Value(), "<[?mvProperty.Shared]>");
  all->SetConfigMoniker("Global");
  EXPECT_EQ(all->Count(), 2);
  EXPECT_EQ(m_log->Matching("GetConfigurations - Section Count: 1").size(), 1u) << "the highest index, not the count";
}

TEST_F(ModuleConfigReaderTest, TheFullReaderRefusesMissingAndUnreadableFiles) {
  SectionNameArray sections;
  auto empty = GetConfigurations("MonitorX", "", m_log, sections);
  EXPECT_EQ(empty->Count(), 0);
  EXPECT_FALSE(sections);

  std::filesystem::create_directories(m_home / "ModuleConfigs/Folder.ini");
  const std::pair<const char*, const char*> refusals[] = {
      {"Missing.ini", "Specified configuration file does not exist"},
      {"Folder.ini", "Could not retrieve sections from the configuration file"}};
  for (const auto& [name, description] : refusals) {
    try {
      GetConfigurations("MonitorX", m_home / (std::string("ModuleConfigs/") + name), m_log, sections);
      ADD_FAILURE() << name << " was read";
    } catch (const Error& error) {
      EXPECT_EQ(error.Number(), kLibraryError);
      EXPECT_EQ(error.Description(), description);
    }
  }
  auto none = GetConfigurations("MonitorX", WriteFile("ModuleConfigs/Empty.ini", ""), m_log, sections);
  EXPECT_EQ(none->Count(), 0);
  EXPECT_FALSE(sections);
}

class ValidationTest : public AgentHomeTest {
 protected:
  void SetUp() override {
    AgentHomeTest::SetUp();
    m_configurations.SetConfigMoniker("Disk C");
    m_configurations.Add("Mode", " b ");
    m_configurations.Add("Blank", "  ");
  }
  Configurations m_configurations;
  ValidationRules m_rules;
  std::string m_error = "stale";
};

TEST_F(ValidationTest, DefaultsFillInAndValidValuesCompareTrimmedAndUpperCased) {
  m_rules.Add("Mode", true, "A, B");
  m_rules.Add("Optional", false, "X,Y", "");
  m_rules.Add("Blank", true, "", "7");
  m_rules.Add("Free", false, "", "default");
  EXPECT_EQ(ValidateConfigurations(m_configurations, m_rules, m_error), Value(true));
  EXPECT_EQ(m_error, "");
  EXPECT_EQ(m_configurations.Item("Optional")->Value(), "") << "an absent optional key is added blank and passes";
  EXPECT_EQ(m_configurations.Item("Blank")->Value(), "7");
  EXPECT_EQ(m_configurations.Item("Free")->Value(), "default");
  EXPECT_EQ(m_configurations.Item("Mode")->Value(), " b ");
  for (const ConfigurationRef& configuration : m_configurations) {
    EXPECT_TRUE(configuration->Excluded()) << configuration->Key() << " passed and is marked";
  }
}

TEST_F(ValidationTest, MissingRequiredKeysAndUnacceptableValuesFailWithTheirText) {
  m_rules.Add("Mode", true, "A,C");
  EXPECT_EQ(ValidateConfigurations(m_configurations, m_rules, m_error), Value());
  EXPECT_EQ(m_error, "Unacceptable value ' b ' for Key='Mode',Resource 'Disk C' Valid Values: A,C");

  ValidationRules required;
  required.Add("Path");
  EXPECT_EQ(ValidateConfigurations(m_configurations, required, m_error), Value());
  EXPECT_EQ(m_error, "Could not find 'Path' configuration for Resource 'Disk C'");

  m_configurations.SetConfigMoniker("global");
  EXPECT_EQ(ValidateConfigurations(m_configurations, required, m_error), Value(true)) << "Global isn't validated";
  EXPECT_EQ(m_error, "");
}

}  // namespace
}  // namespace korad
