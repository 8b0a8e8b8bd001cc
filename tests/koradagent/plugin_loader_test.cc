// Plug-ins in the modules folder: loaded once each, their classes made by id, the
// library's symbols resolved against this program, and new files found on a miss.
#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

#include "agent_service.h"
#include "agent_test_support.h"
#include "library_classes.h"
#include "plugin_loader.h"

namespace korad::agent {
namespace {

using namespace std::chrono_literals;
using testing::AgentHomeTest;

constexpr const char* kPluginClass = "KoradTest.PluginProbe";

class PluginLoaderTest : public AgentHomeTest {
 protected:
  void SetUp() override {
    AgentHomeTest::SetUp();
    RegisterLibraryClasses(ClassRegistry::Global());  // what the plug-in creates
  }
  std::string Modules() const { return m_home / "Modules"; }
  void CopyPlugin(const std::string& name) {
    std::filesystem::create_directories(Modules());
    std::filesystem::copy_file(KORAD_TEST_PLUGIN, Modules() + "/" + name);
  }
  bool WaitForLog(const std::string& fragment) {
    for (int i = 0; i < 2000; ++i) {
      if (!m_app->Matching(fragment).empty()) return true;
      std::this_thread::sleep_for(5ms);
    }
    return false;
  }
};

TEST_F(PluginLoaderTest, EachFileLoadsOnceAndItsClassesUseTheLibraryOfTheProgram) {
  PluginLoader loader(Modules(), m_registry);
  EXPECT_EQ(loader.LoadNew(), 0) << "no modules folder yet";

  CopyPlugin("probe.so");
  korad::testing::WriteWholeFile(Modules() + "/broken.so", "not a shared object");
  korad::testing::WriteWholeFile(Modules() + "/readme.txt", "not a plug-in");
  EXPECT_EQ(loader.LoadNew(), 1);
  EXPECT_EQ(loader.LoadedFiles(), std::vector<std::string>{Modules() + "/probe.so"});
  EXPECT_EQ(m_app->Matching("Plug-in '" + Modules() + "/broken.so' can't be loaded: ", logLevelError).size(), 1u);
  EXPECT_EQ(loader.LoadNew(), 0) << "nothing is loaded twice, and a broken file isn't tried again unchanged";
  EXPECT_EQ(m_app->Matching("broken.so").size(), 1u);

  ObjectRef probe = m_registry.TryCreate("koradtest.pluginprobe");
  ASSERT_NE(probe, nullptr);
  probe->LetProperty("Label", Value("disk-C"));
  probe->CallMethod("Init");
  EXPECT_EQ(probe->GetProperty("FormCount").ToLong(), 1) << "an IncidentForms made by the library, used by the plug-in";
  EXPECT_EQ(probe->GetProperty("FirstResource").ToText(), "disk-C");
  probe->CallMethod("Execute");
  const auto lines = m_app->Matching("plug-in probe 'disk-C' executed");
  ASSERT_EQ(lines.size(), 1u) << "the plug-in's LogManager writes through this program's platform";
  EXPECT_EQ(lines[0].category, "KoradTestPlugin");
  probe.reset();

  korad::testing::WriteWholeFile(Modules() + "/broken.so", "still not a shared object, but a new file");
  EXPECT_EQ(loader.LoadNew(), 0);
  EXPECT_EQ(m_app->Matching("broken.so").size(), 2u) << "a changed file is tried again";
}

TEST_F(PluginLoaderTest, AMissRescansTheFolderForPluginsThatArrivedLater) {
  {
    PluginLoader loader(Modules(), m_registry);
    loader.InstallMissHandler();
    EXPECT_EQ(m_registry.TryCreate(kPluginClass), nullptr);
    CopyPlugin("late.so");
    EXPECT_NE(m_registry.TryCreate(kPluginClass), nullptr);
    EXPECT_EQ(loader.LoadedFiles().size(), 1u);
    EXPECT_EQ(m_registry.TryCreate("KoradTest.NoSuchClass"), nullptr);
    EXPECT_EQ(loader.LoadedFiles().size(), 1u);
  }
  // A loader that is gone leaves no handler behind to be called on a miss.
  EXPECT_EQ(m_registry.TryCreate("KoradTest.NoSuchClass"), nullptr);
}

TEST_F(PluginLoaderTest, ASectionWhosePluginArrivesWhileTheAgentRunsStartsWithIt) {
  WriteServiceFile("[External]\nClassID=KoradTest.PluginProbe\nLabel=ext\nInitializeMethod=Init\n"
                   "ExecuteMethod=Execute\nFrequency=1\nUnits=hours\n");
  ServiceSettings settings;
  settings.home = m_home.Path();
  settings.retryInterval = 20ms;
  AgentService service(settings, m_registry);
  std::string error;
  ASSERT_TRUE(service.Start(error)) << error;
  ASSERT_TRUE(WaitForLog("class 'KoradTest.PluginProbe' can't be created"));
  CopyPlugin("external.so");
  ASSERT_TRUE(WaitForLog("plug-in probe 'ext' executed"));
  service.Stop();
  EXPECT_EQ(service.Plugins().LoadedFiles(), std::vector<std::string>{Modules() + "/external.so"});
}

}  // namespace
}  // namespace korad::agent
