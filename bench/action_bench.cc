// ActionManager.PerformAction against ObjectMap::SetXml of the same message, measured in
// the same run. The agent runs in its service mode on a temporary home: the section's ini
// is read on every run and the audit line goes to the log file, as in production.
// Counters:
//   BM_PerformAction (a trivial actor, a message of 30 attributes):
//     ratio_to_set_xml   one PerformAction / one SetXml of the message text
//     us_per_action      the run's own time
//   BM_ResidentSize (100,000 runs after 1,000 to warm up):
//     rss_growth_kb      resident size after the runs less resident size before
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>

#include "action/action.h"
#include "action/action_classes.h"
#include "action/action_manager.h"
#include "bench/bench_timing.h"
#include "contracts/class_registry.h"
#include "foundation/foundation_classes.h"
#include "platform/application.h"
#include "platform/object_map.h"
#include "platform/platform.h"
#include "platform/platform_classes.h"
#include "tests/support/temp_folder.h"

namespace {

using SteadyClock = std::chrono::steady_clock;
constexpr const char* kActorId = "KORADevServices.Bench.TrivialActor";

using korad::bench::Seconds;

// Declares nothing and answers at once: the engine's own cost shows.
class TrivialActor final : public korad::Object, public korad::IActor {
 public:
  std::string_view ClassId() const noexcept override { return kActorId; }
  void PerformAction(const std::shared_ptr<korad::Action>& action, const std::shared_ptr<korad::Configurations>&,
                     korad::LogManagerRef&) override {
    action->SetResponse("ok");
  }
  void SetValidationRules(const std::shared_ptr<korad::ValidationRules>&,
                          const std::shared_ptr<korad::ValidationRules>&) override {}
};

void RegisterOnce() {
  static std::once_flag once;
  std::call_once(once, [] {
    korad::ClassRegistry& registry = korad::ClassRegistry::Global();
    korad::RegisterPlatformClasses(registry);
    korad::RegisterFoundationClasses(registry);
    korad::RegisterActionClasses(registry);
    registry.RegisterClass<TrivialActor>(kActorId);
  });
}

// 30 attributes as the server sends them: action, event (with a date) and user entries.
std::string ThirtyAttributeMessage() {
  korad::ObjectMap map;
  for (int i = 0; i < 10; ++i)
    map.Add("ACTION.Setting" + std::to_string(i), korad::Value("value " + std::to_string(i)));
  map.Add("EVENT.Source", korad::Value("Server1"));
  map.Add("EVENT.Class", korad::Value("DiskFull"));
  map.Add("EVENT.SourceDescription", korad::Value("The web server"));
  map.Add("EVENT.ClassDescription", korad::Value("Disk almost full"));
  map.Add("EVENT.Priority", korad::Value(int32_t{2}));
  map.AddDate("EVENT.InitialIncidentOccurrence", *korad::OleDate::FromCivil(2026, 3, 5, 14, 30, 0),
              *korad::OleDate::FromCivil(2026, 3, 5, 14, 30, 0));
  for (int i = 0; i < 9; ++i) map.Add("EVENT.Detail" + std::to_string(i), korad::Value(int32_t{i * 100}));
  map.Add("USER.Name", korad::Value("bob"));
  for (int i = 0; i < 4; ++i) map.Add("USER.Field" + std::to_string(i), korad::Value("user " + std::to_string(i)));
  return map.Xml();
}

struct BenchAgent {
  BenchAgent() {
    RegisterOnce();
    std::filesystem::create_directories(home / "BIN");
    korad::testing::WriteWholeFile(home / "ModuleConfigs/Bench.INI", "[Bench]\r\nTimeoutSeconds=60\r\n");
    application = korad::MakeHostApplication(home.Path());
    application->SetStatus(korad::kServiceRunning);
    korad::Platform::Current().SetApplication(application);
    manager = std::make_shared<korad::ActionManager>();
    manager->SetMyActorID(kActorId);
    manager->SetConfigurationSection("Bench");
  }
  ~BenchAgent() {
    manager.reset();
    korad::Platform::Current().SetApplication(nullptr);
  }
  korad::testing::TempHome home;
  std::shared_ptr<korad::HostApplication> application;
  std::shared_ptr<korad::ActionManager> manager;
};

void BM_PerformAction(benchmark::State& state) {
  BenchAgent agent;
  const std::string message = ThirtyAttributeMessage();
  if (agent.manager->PerformAction(message) != "ok") return state.SkipWithError("the action did not run");
  korad::ObjectMap map;
  constexpr int kRepeats = 200;
  double subject = 0, baseline = 0;
  for (auto _ : state) {
    subject += Seconds(kRepeats, [&] { benchmark::DoNotOptimize(agent.manager->PerformAction(message)); });
    baseline += Seconds(kRepeats, [&] {
      map.SetXml(message);
      benchmark::DoNotOptimize(map.Count());
    });
  }
  state.counters["ratio_to_set_xml"] = subject / baseline;
  state.counters["us_per_action"] = subject * 1e6 / (static_cast<double>(state.iterations()) * kRepeats);
}
BENCHMARK(BM_PerformAction)->Unit(benchmark::kMicrosecond);

long ResidentKB() {
  std::ifstream statm("/proc/self/statm");
  long size = 0, resident = 0;
  statm >> size >> resident;
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

void BM_ResidentSize(benchmark::State& state) {
  BenchAgent agent;
  const std::string message = ThirtyAttributeMessage();
  for (int i = 0; i < 1000; ++i) agent.manager->PerformAction(message);
  long growth = 0;
  for (auto _ : state) {
    const long before = ResidentKB();
    for (int i = 0; i < 100000; ++i) agent.manager->PerformAction(message);
    growth = ResidentKB() - before;
  }
  state.counters["rss_growth_kb"] = static_cast<double>(growth);
}
BENCHMARK(BM_ResidentSize)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
