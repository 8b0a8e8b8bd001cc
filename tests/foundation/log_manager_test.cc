// LogManager and RaiseErrLogManager: what reaches the log writer, and what the debug run
// modes show instead.
#include <gtest/gtest.h>

#include <memory>

#include "contracts/class_registry.h"
#include "foundation/foundation_classes.h"
#include "foundation/log_manager.h"
#include "platform/platform.h"
#include "support/recording_log.h"

namespace korad {
namespace {

using testing::FakeApplication;
using testing::LogLine;

class LogManagerTest : public ::testing::Test {
 protected:
  void SetUp() override { Platform::Current().SetApplication(m_app); }
  void TearDown() override { Platform::Current().SetApplication(nullptr); }

  std::vector<LogLine> Written() const { return m_app->Writer().Lines(); }

  std::shared_ptr<FakeApplication> m_app = std::make_shared<FakeApplication>();
};

TEST_F(LogManagerTest, ServiceModeWritesEveryLevelAndMarksErrors) {
  LogManager log;
  log.Log("default level", "Cat");
  log.Log("unset level", "Cat", logLevelDefault);
  log.Log("exception", "Cat", logLevelException);
  log.Log("high warning", "Cat", logLevelWarningHigh);
  log.Log("debug line", "Mod", logLevelDebug);  // the detail flag plays no part in Log

  std::vector<std::string> shown;
  for (const LogLine& line : Written()) {
    shown.push_back(line.category + "|" + std::to_string(line.level) + "|" + line.text);
  }
  EXPECT_EQ(shown, (std::vector<std::string>{"Cat|" + std::to_string(logLevelError) + "|ERROR: default level",
                                             "Cat|" + std::to_string(logLevelDefault) + "|ERROR: unset level",
                                             "Cat|" + std::to_string(logLevelException) + "|ERROR: exception",
                                             "Cat|" + std::to_string(logLevelWarningHigh) + "|high warning",
                                             "Mod|" + std::to_string(logLevelDebug) + "|debug line"}));
  EXPECT_EQ(m_app->LoggerFetches(), 5) << "the writer is fetched anew for every line";
}

TEST_F(LogManagerTest, InfoLinesNeedTheDetailFlagAndEventsDoNot) {
  LogManager log;
  log.LogInfo("quiet", "Src");
  log.SetDetailLoggingOn(true);
  log.LogInfo("detailed", "Src");
  log.ILogManager_LogEvent("event", "Svc");
  log.m_eRunMode = ModeDebug;
  ::testing::internal::CaptureStderr();
  log.ILogManager_LogEvent("event in debug", "Svc");
  ::testing::internal::GetCapturedStderr();

  const auto lines = Written();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0].text, "detailed");
  EXPECT_EQ(lines[0].kind, LogLine::Info);
  EXPECT_EQ(lines[0].level, logLevelInfo);
  EXPECT_EQ(lines[1].kind, LogLine::Event);
  EXPECT_EQ(lines[2].text, "event in debug");
}

TEST_F(LogManagerTest, DebugModesShowErrorsAndLowWarningsOnlyAndWriteNothing) {
  for (RunMode mode : {ModeDebug, ModeUnitTester}) {
    LogManager log;
    log.m_eRunMode = mode;
    ::testing::internal::CaptureStderr();
    log.Log("broken", "Cat");
    log.Log("unset", "Cat", logLevelDefault);
    log.Log("high", "Cat", logLevelWarningHigh);
    log.Log("medium", "Cat", logLevelWarningMedium);
    log.Log("low", "Cat", logLevelWarningLow);
    log.Log("info", "Cat", logLevelInfo);
    log.LogInfo("note", "Src");  // shown whatever the detail flag says
    const std::string shown = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(shown, "ERROR: broken\nERROR: unset\nWARNING: low\nINFORMATION: note\n");
  }
  EXPECT_TRUE(Written().empty());
}

TEST_F(LogManagerTest, RunModeAndDetailFlagAreReachableByName) {
  ClassRegistry registry;
  RegisterFoundationClasses(registry);
  ObjectRef object = registry.TryCreate("koradevservices.logmanager");
  ASSERT_NE(object, nullptr);
  object->LetProperty("m_eRunMode", Value(int32_t{2}));
  object->LetProperty("DetailLoggingOn", Value(true));
  auto& log = dynamic_cast<LogManager&>(*object);
  EXPECT_EQ(log.m_eRunMode, ModeUnitTester);
  EXPECT_TRUE(log.DetailLoggingOn());
  EXPECT_EQ(object->GetProperty("m_eRunMode").ToLong(), 2);
}

TEST(RaiseErrLogManager, LevelsBelowInfoRaiseWithTheCategoryAsSource) {
  RaiseErrLogManager log;
  for (KORADSLog_Level level : {logLevelDefault, logLevelNone, logLevelError, logLevelWarningLow}) {
    try {
      log.Log("it broke", "MyModule", level);
      ADD_FAILURE() << "level " << level << " should raise";
    } catch (const Error& e) {
      EXPECT_EQ(e.Number(), kLibraryError);
      EXPECT_EQ(e.Source(), "MyModule");
      EXPECT_EQ(e.Description(), "it broke");
    }
  }
  EXPECT_NO_THROW(log.Log("fine", "MyModule", logLevelInfo));
  EXPECT_NO_THROW(log.Log("fine", "MyModule", logLevelDebug));
  log.SetDetailLoggingOn(true);
  EXPECT_FALSE(log.DetailLoggingOn());
}

TEST(FoundationClasses, InterfaceClassesAreCreatableByIdWithEmptyBodies) {
  ClassRegistry registry;
  RegisterFoundationClasses(registry);
  for (const char* id : {"KORADevServices.IMonitor", "KORADevServices.IActor", "KORADevServices.ISerializable",
                         "KORADevServices.ILogManager", "KORADevServices.IRemoveModule",
                         "KORADevServices.RaiseErrLogManager", "KORADevServices.Attributes",
                         "KORADevServices.Configurations", "KORADevServices.ValidationRules",
                         "KORADevServices.ModuleProp"}) {
    EXPECT_NE(registry.TryCreate(id), nullptr) << id;
  }
  auto monitor = std::dynamic_pointer_cast<IMonitor>(registry.TryCreate("KORADEVSERVICES.IMONITOR"));
  ASSERT_NE(monitor, nullptr);
  EXPECT_EQ(IMonitor::kInterfaceId, "{460A07DB-33E9-4687-8742-64826E79E525}");
}

}  // namespace
}  // namespace korad
