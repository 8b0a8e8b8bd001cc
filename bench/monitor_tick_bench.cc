// MonitorManager's tick and pass, against baselines measured in the same run. Counters:
//   BM_IdleTick (the call that finds nothing due, on the system clock):
//     ratio_to_stat       one idle Monitor() / one stat() of the ini plus a read of its mtime
//     allocs_per_call     heap allocations per idle call (global operator new counted)
//     passes_during_run   full passes that happened while measuring (must be 0)
//     ns_per_call         the idle call's own time
//   BM_FullPass (100, 1,000 and 10,000 configurations, a plug-in that reports nothing,
//   ModeDebug, a stepping clock so that every configuration is due on every pass; a
//   pass that grows linearly keeps us_per_config flat across the three):
//     ratio_to_walk       one pass / the walk of the same ini with GetNextConfiguration,
//                         which every pass does anyway
//     us_per_config       the pass's time per configuration
//   BM_OpenForms (one configuration whose plug-in reports 10,000 problems on every pass,
//   so that 10,000 forms stay open; ModeDebug, a stepping clock):
//     ms_per_pass         one steady pass: merge the reports into the open forms, decide
//                         for each, save state and forms
//     ratio_to_form_save  one pass / saving the same 10,000 forms with IncFormSerialize
#include <sys/stat.h>

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <new>
#include <string>

#include "bench/bench_timing.h"
#include "contracts/class_registry.h"
#include "foundation/configurations.h"
#include "foundation/foundation_classes.h"
#include "foundation/module_config_reader.h"
#include "foundation/section_readers.h"
#include "incident/inc_form_serialize.h"
#include "incident/incident_classes.h"
#include "incident/incident_forms.h"
#include "monitor/monitor_manager.h"
#include "platform/application.h"
#include "platform/clock.h"
#include "platform/platform.h"
#include "platform/platform_classes.h"
#include "tests/support/temp_folder.h"

namespace {
std::atomic<long> g_allocations{0};
}  // namespace

// None inlined: the compiler would otherwise see free() meet a pointer from operator new.
[[gnu::noinline]] void* operator new(std::size_t size) {
  g_allocations.fetch_add(1, std::memory_order_relaxed);
  if (void* p = std::malloc(size ? size : 1)) return p;
  throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new[](std::size_t size) {
  g_allocations.fetch_add(1, std::memory_order_relaxed);
  if (void* p = std::malloc(size ? size : 1)) return p;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* p) noexcept { std::free(p); }
[[gnu::noinline]] void operator delete[](void* p) noexcept { std::free(p); }
[[gnu::noinline]] void operator delete(void* p, std::size_t) noexcept { std::free(p); }
[[gnu::noinline]] void operator delete[](void* p, std::size_t) noexcept { std::free(p); }

namespace {

using korad::OleDate;
using SteadyClock = std::chrono::steady_clock;
constexpr const char* kPluginId = "KORADevServices.Bench.TrivialMonitor";

using korad::bench::Seconds;

// Reports nothing and declares no keys: the engine's own cost shows.
class TrivialMonitor final : public korad::Object, public korad::IMonitor {
 public:
  static inline std::atomic<long> calls{0};
  std::string_view ClassId() const noexcept override { return kPluginId; }
  void GetIncident(std::shared_ptr<korad::IncidentForms>&, std::shared_ptr<korad::IncidentState>&,
                   const std::shared_ptr<korad::Configurations>&, korad::LogManagerRef&) override {
    calls.fetch_add(1, std::memory_order_relaxed);
  }
  void SetValidationRules(const std::shared_ptr<korad::ValidationRules>&) override {}
};

// Reports `count` distinct problems on every run.
constexpr const char* kReportingPluginId = "KORADevServices.Bench.ReportingMonitor";
class ReportingMonitor final : public korad::Object, public korad::IMonitor {
 public:
  static inline std::atomic<int> count{0};
  std::string_view ClassId() const noexcept override { return kReportingPluginId; }
  void GetIncident(std::shared_ptr<korad::IncidentForms>& forms, std::shared_ptr<korad::IncidentState>&,
                   const std::shared_ptr<korad::Configurations>&, korad::LogManagerRef&) override {
    for (int i = 0; i < count.load(); ++i) {
      forms->Add("Server" + std::to_string(i), "DiskFull")->SetAlertStatus(korad::AlertOn);
    }
  }
  void SetValidationRules(const std::shared_ptr<korad::ValidationRules>&) override {}
};

// A clock that moves only when told, in UTC.
class SteppingClock final : public korad::Clock {
 public:
  OleDate UtcNow() override { return m_now; }
  OleDate UtcToLocal(OleDate utc) override { return utc; }
  OleDate LocalToUtc(OleDate local) override { return local; }
  int32_t TickCount() override { return 0; }
  void Sleep(int32_t) override {}
  void Advance(double seconds) { m_now = m_now.AddSeconds(seconds); }

 private:
  OleDate m_now = *OleDate::FromCivil(2024, 1, 15, 12, 0, 0);
};

void RegisterOnce() {
  static std::once_flag once;
  std::call_once(once, [] {
    korad::ClassRegistry& registry = korad::ClassRegistry::Global();
    korad::RegisterPlatformClasses(registry);
    korad::RegisterFoundationClasses(registry);
    korad::RegisterIncidentClasses(registry);
    registry.RegisterClass<korad::MonitorManager>(korad::MonitorManager::kClassId);
    registry.RegisterClass<TrivialMonitor>(kPluginId);
    registry.RegisterClass<ReportingMonitor>(kReportingPluginId);
  });
}

// An agent home with the module's ini, the platform pointed at it.
struct BenchHome {
  explicit BenchHome(int configurations) {
    std::filesystem::create_directories(home / "BIN");
    std::string ini;
    for (int i = 0; i < configurations; ++i) {
      ini += "[Config" + std::to_string(i) + "]\r\nmvFrequency=60\r\nThreshold=" + std::to_string(i) + "\r\n";
    }
    korad::testing::WriteWholeFile(IniPath(), ini);
    application = korad::MakeHostApplication(home.Path());
    application->SetStatus(korad::kServiceRunning);
    korad::Platform::Current().SetApplication(application);
  }
  ~BenchHome() {
    korad::Platform::Current().SetClock(nullptr);
    korad::Platform::Current().SetApplication(nullptr);
  }
  std::string IniPath() const { return home / "ModuleConfigs/Bench.INI"; }
  std::shared_ptr<korad::MonitorManager> Manager(korad::RunMode mode, const char* plugin = kPluginId) const {
    auto manager = std::make_shared<korad::MonitorManager>();
    manager->SetRunMode(mode);
    manager->SetMoniker("Bench");
    manager->SetMyMonitorID(plugin);
    manager->Init();
    return manager;
  }

  korad::testing::TempHome home;
  std::shared_ptr<korad::HostApplication> application;
};

void BM_IdleTick(benchmark::State& state) {
  RegisterOnce();
  BenchHome bench(1);
  auto manager = bench.Manager(korad::ModeMorvane);
  manager->Monitor();  // the first call is due: one full pass, then an hour of idle ticks
  if (TrivialMonitor::calls.load() == 0) return state.SkipWithError("the first pass did not run");
  const long callsBefore = TrivialMonitor::calls.load();
  const std::string path = bench.IniPath();

  constexpr int kRepeats = 2000;
  double subject = 0, baseline = 0;
  long allocations = 0;
  struct stat st;
  for (auto _ : state) {
    const long before = g_allocations.load(std::memory_order_relaxed);
    subject += Seconds(kRepeats, [&] { manager->Monitor(); });
    allocations += g_allocations.load(std::memory_order_relaxed) - before;
    baseline += Seconds(kRepeats, [&] {
      benchmark::DoNotOptimize(::stat(path.c_str(), &st));
      benchmark::DoNotOptimize(st.st_mtim.tv_nsec);
    });
  }
  const double calls = static_cast<double>(state.iterations()) * kRepeats;
  state.counters["ratio_to_stat"] = subject / baseline;
  state.counters["allocs_per_call"] = static_cast<double>(allocations) / calls;
  state.counters["passes_during_run"] = static_cast<double>(TrivialMonitor::calls.load() - callsBefore);
  state.counters["ns_per_call"] = subject * 1e9 / calls;
}
BENCHMARK(BM_IdleTick);

void BM_FullPass(benchmark::State& state) {
  RegisterOnce();
  const int configurations = static_cast<int>(state.range(0));
  BenchHome bench(configurations);
  auto clock = std::make_shared<SteppingClock>();
  korad::Platform::Current().SetClock(clock);
  auto manager = bench.Manager(korad::ModeDebug);
  manager->Monitor();  // loads, creates the plug-ins and writes the files once
  const std::string path = bench.IniPath();

  double subject = 0, baseline = 0;
  for (auto _ : state) {
    clock->Advance(60);
    const long before = TrivialMonitor::calls.load();
    subject += Seconds(1, [&] { manager->Monitor(); });
    if (TrivialMonitor::calls.load() - before != configurations) {
      return state.SkipWithError("not every configuration ran");
    }
    baseline += Seconds(1, [&] {
      korad::SectionArray globalValues;
      korad::SectionNameArray sections;
      korad::ReadSectionIntoArray("Bench", path, "Global", globalValues, nullptr);
      korad::GetSectionNames(path, sections);
      int32_t index = 0;
      bool noMore = true;
      auto config = korad::GetNextConfiguration("Bench", "", path, nullptr, sections, globalValues, index, noMore);
      while (!noMore) {
        const std::string last = config->ConfigMoniker();
        config = korad::GetNextConfiguration("Bench", last, path, nullptr, sections, globalValues, index, noMore);
      }
    });
  }
  state.counters["ratio_to_walk"] = subject / baseline;
  state.counters["us_per_config"] = subject * 1e6 / (static_cast<double>(state.iterations()) * configurations);
  state.counters["ms_per_pass"] = subject * 1e3 / static_cast<double>(state.iterations());
}
BENCHMARK(BM_FullPass)->Arg(100)->Arg(1000)->Arg(10000)->Iterations(5)->Unit(benchmark::kMillisecond);

void BM_OpenForms(benchmark::State& state) {
  RegisterOnce();
  const int forms = static_cast<int>(state.range(0));
  ReportingMonitor::count = forms;
  BenchHome bench(1);
  auto clock = std::make_shared<SteppingClock>();
  korad::Platform::Current().SetClock(clock);
  auto manager = bench.Manager(korad::ModeDebug, kReportingPluginId);
  manager->Monitor();  // the first pass opens the forms
  clock->Advance(60);
  manager->Monitor();  // and the second reaches the steady state

  double subject = 0, baseline = 0;
  for (auto _ : state) {
    clock->Advance(60);
    subject += Seconds(1, [&] { manager->Monitor(); });
    auto loaded = std::make_shared<korad::IncidentForms>();
    korad::IncFormSerialize serializer;
    serializer.Load(loaded, "Bench");
    baseline += Seconds(1, [&] { serializer.Save(loaded, "BenchCopy"); });
  }
  auto saved = std::make_shared<korad::IncidentForms>();
  korad::IncFormSerialize().Load(saved, "Bench");
  if (static_cast<int>(saved->AllForms().size()) != forms) return state.SkipWithError("the forms didn't stay open");
  state.counters["ms_per_pass"] = subject * 1e3 / static_cast<double>(state.iterations());
  state.counters["ratio_to_form_save"] = subject / baseline;
}
BENCHMARK(BM_OpenForms)->Arg(10000)->Iterations(3)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
