// ReCalculateForms over one configuration's reports, from 1,000 to 10,000 forms, against a
// baseline measured in the same run on the same forms: one filter pass ("Priority=0"),
// which reads every form's attributes once. Counters:
//   ratio_to_filter_pass  time of ReCalculateForms / time of the filter pass
//   us_per_form           ReCalculateForms' time per form
// The Time column is ReCalculateForms alone (manual time); the complexity fit is over it.
//
// Workloads:
//   OneIncident    every report is the same incident, the first one sent: N - 1 merges,
//                  each report bringing a relevant change (the worst case for the merge)
//   TenPerIncident N / 10 incidents reported 10 times each, interleaved
//   PlainScan      OneIncident merged by the step-for-step scan (every form tried against
//                  every later one), for comparison with the indexed run
#include <benchmark/benchmark.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "contracts/interfaces.h"
#include "incident/incident_forms.h"

namespace {

using korad::IncidentFormRef;
using korad::IncidentForms;
using korad::Value;
using Clock = std::chrono::steady_clock;

// Counts what it is told and keeps nothing, as a log at a low level would.
class DiscardingLog final : public korad::ILogManager {
 public:
  void Log(std::string_view, std::string_view, korad::KORADSLog_Level) override { ++m_lines; }
  void LogInfo(std::string_view, std::string_view) override { ++m_lines; }
  bool DetailLoggingOn() override { return false; }
  void SetDetailLoggingOn(bool) override {}

 private:
  size_t m_lines = 0;
};

// `count` reports of `incidents` incidents, one minute apart, the first of each incident
// already sent; each later report changes a value relevant to updates.
// Reports arrive in time order, so the view is sorted as it stands.
std::shared_ptr<IncidentForms> MakePass(int count, int incidents) {
  auto forms = std::make_shared<IncidentForms>();
  forms->SetLogManager(std::make_shared<DiscardingLog>());
  forms->SetConfigMoniker("DiskSpace");
  const korad::OleDate start = *korad::OleDate::FromCivil(2024, 1, 15, 12);
  std::vector<bool> seen(static_cast<size_t>(incidents), false);
  for (int i = 0; i < count; ++i) {
    const int incident = i % incidents;
    IncidentFormRef form =
        forms->Add("srv" + std::to_string(incident), "DiskFull",
                   {Value("KeyAttributes:=Drive"), Value("Drive:=C"), Value("Used:=" + std::to_string(i))});
    form->SetAlertStatus(korad::AlertOn);
    form->SetOccurrenceTimeUTC(start.AddSeconds(60.0 * i));
    form->GetAttributes()->Item(Value("Used"))->SetRelevantToUpdates(true);
    if (!seen[static_cast<size_t>(incident)]) {
      form->SetProcessedByMM(true);
      seen[static_cast<size_t>(incident)] = true;
    }
  }
  return forms;
}

double Seconds(Clock::time_point since) { return std::chrono::duration<double>(Clock::now() - since).count(); }

// The step-for-step merge loop and removal of the merged forms (no sort: the view is
// already in time order; no AlertOnce marking).
void PlainMerge(IncidentForms& forms) {
  for (int32_t p = 0; forms.Count() > p;) {
    ++p;
    if (forms.CalculatePerformMerge(forms.Item(p), p)) --p;
  }
  forms.Remove({Value("AlertStatus=5")});
}

void Run(benchmark::State& state, int incidentsPerTen, bool plain) {
  const int count = static_cast<int>(state.range(0));
  const int incidents = incidentsPerTen == 0 ? 1 : count / 10;
  double recalculate = 0;
  double baseline = 0;
  int64_t left = 0;
  for (auto _ : state) {
    auto forms = MakePass(count, incidents);
    auto start = Clock::now();
    forms->SetFilterString("Priority=0");
    benchmark::DoNotOptimize(forms->Count());
    forms->ResetFilter();
    const double filterPass = Seconds(start);

    start = Clock::now();
    if (plain) {
      PlainMerge(*forms);
    } else {
      forms->ReCalculateForms();
    }
    const double merge = Seconds(start);
    state.SetIterationTime(merge);
    recalculate += merge;
    baseline += filterPass;
    left = forms->Count();
  }
  state.SetComplexityN(count);
  state.counters["ratio_to_filter_pass"] = recalculate / baseline;
  state.counters["us_per_form"] = recalculate / static_cast<double>(state.iterations()) / count * 1e6;
  state.counters["forms_left"] = static_cast<double>(left);
}

void OneIncident(benchmark::State& state) { Run(state, 0, false); }
void TenPerIncident(benchmark::State& state) { Run(state, 1, false); }
void PlainScan(benchmark::State& state) { Run(state, 0, true); }

}  // namespace

BENCHMARK(OneIncident)->Arg(1000)->Arg(2000)->Arg(5000)->Arg(10000)->UseManualTime()->Unit(benchmark::kMillisecond)->Complexity();
BENCHMARK(TenPerIncident)->Arg(1000)->Arg(2000)->Arg(5000)->Arg(10000)->UseManualTime()->Unit(benchmark::kMillisecond)->Complexity();
BENCHMARK(PlainScan)->Arg(1000)->Arg(2000)->Arg(5000)->Arg(10000)->UseManualTime()->Unit(benchmark::kMillisecond)->Complexity();

BENCHMARK_MAIN();
