// An ActionManager on a temporary agent home (a FakeApplication, status 4, whose recording
// writer gets every line the manager logs in ModeMorvane) with TestActor, which declares
// the rules of TestActorScript, keeps each call (the Action too, to be read after the
// run), and answers `response`, raises `raise` or hands back a new logger. Message()
// builds an action message through an ObjectMap, as the server does.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "action/action.h"
#include "action/action_classes.h"
#include "action/action_manager.h"
#include "action/active_event.h"
#include "action/user.h"
#include "contracts/class_registry.h"
#include "foundation/configurations.h"
#include "foundation/foundation_classes.h"
#include "foundation/log_manager.h"
#include "foundation/validation_rules.h"
#include "platform/object_map.h"
#include "platform/platform.h"
#include "platform/platform_classes.h"
#include "support/recording_log.h"
#include "support/temp_folder.h"

namespace korad::testing {

inline constexpr std::string_view kTestActorClassId = "KORADevServices.Test.TestActor";
inline constexpr const char* kSection = "TestActor";

struct TestActorScript {
  struct Call {
    std::shared_ptr<Action> action;
    std::shared_ptr<Configurations> configurations;
    LogManagerRef logManager;
  };
  std::function<void(ValidationRules&)> configRules;
  std::function<void(ValidationRules&)> attrRules;
  std::optional<std::string> raise;
  bool replaceLogger = false;

  std::vector<Call> calls;
  int instancesCreated = 0;

  void Reset() { *this = TestActorScript(); }
  static TestActorScript& Current() {
    static TestActorScript script;
    return script;
  }
};

class TestActor final : public Object, public IActor {
 public:
  std::string_view ClassId() const noexcept override { return kTestActorClassId; }
  void PerformAction(const std::shared_ptr<Action>& action, const std::shared_ptr<Configurations>& configurations,
                     LogManagerRef& logManager) override {
    TestActorScript& script = TestActorScript::Current();
    script.calls.push_back({action, configurations, logManager});
    if (script.replaceLogger) logManager = CreateObjectAs<LogManager>(LogManager::kClassId);
    if (script.raise) RaiseLibraryError(*script.raise);
    action->SetResponse("done");
  }
  void SetValidationRules(const std::shared_ptr<ValidationRules>& configRules,
                          const std::shared_ptr<ValidationRules>& attrRules) override {
    if (auto& rules = TestActorScript::Current().configRules) rules(*configRules);
    if (auto& rules = TestActorScript::Current().attrRules) rules(*attrRules);
  }
};

inline void RegisterActionTestClasses() {
  static const bool done = [] {
    ClassRegistry& registry = ClassRegistry::Global();
    RegisterPlatformClasses(registry);
    RegisterFoundationClasses(registry);
    RegisterActionClasses(registry);
    registry.Register(kTestActorClassId, [] {
      ++TestActorScript::Current().instancesCreated;
      return std::static_pointer_cast<Object>(std::make_shared<TestActor>());
    });
    return true;
  }();
  (void)done;
}

using Entry = std::pair<std::string, Value>;
inline std::shared_ptr<ObjectMap> MessageMap(const std::vector<Entry>& entries) {
  auto map = std::make_shared<ObjectMap>();
  for (const auto& [key, value] : entries) map->Add(key, value);
  return map;
}
inline std::string Message(const std::vector<Entry>& entries) { return MessageMap(entries)->Xml(); }

class ActionTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { RegisterActionTestClasses(); }
  void SetUp() override {
    std::filesystem::create_directories(m_home / "BIN");
    std::filesystem::create_directories(m_home / "ModuleConfigs");
    Platform::Current().SetApplication(m_app);
    Actor().Reset();
    WriteIni(std::string("[") + kSection + "]\n");
  }
  void TearDown() override {
    Actor().Reset();
    Platform::Current().SetApplication(nullptr);
  }

  TestActorScript& Actor() { return TestActorScript::Current(); }
  void WriteIni(const std::string& text) {
    WriteBytes(m_home / (std::string("ModuleConfigs/") + kSection + ".INI"), text);
  }
  std::shared_ptr<ActionManager> MakeManager(RunMode mode = ModeMorvane) {
    auto manager = std::make_shared<ActionManager>();
    manager->SetRunMode(mode);
    manager->SetMyActorID(kTestActorClassId);
    manager->SetConfigurationSection(kSection);
    return manager;
  }
  Action& Seen() { return *Actor().calls.back().action; }
  // Lines under `category` (any when empty) whose text contains `fragment`.
  std::vector<LogLine> Logged(std::string_view fragment, std::string_view category = {}) const {
    std::vector<LogLine> found;
    for (const LogLine& line : m_app->Writer().Lines()) {
      const bool inCategory = category.empty() || line.category == category;
      if (inCategory && line.text.find(fragment) != std::string::npos) found.push_back(line);
    }
    return found;
  }

  TempHome m_home;
  std::shared_ptr<FakeApplication> m_app = std::make_shared<FakeApplication>(m_home.Path());
};

// "Key=value;..." of the custom entries, in order.
inline std::string Dump(Attributes& attributes) {
  std::string text;
  for (const AttributeRef& a : attributes) text += (text.empty() ? "" : ";") + a->Key() + "=" + a->Value().ToText();
  return text;
}

}  // namespace korad::testing
