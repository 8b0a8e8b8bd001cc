// One schedule script evaluation as the monitor makes it: a new host, AllowUI and Language
// set, the four library blocks added, UTCNow set by statement, one expression evaluated.
// Measured against the conversion of a date text to a date in the same run. Counters:
//   ratio_to_text_to_date  one evaluation / one Value("2024-01-15 10:30:00").ToDate()
//   ns_per_evaluation      the evaluation's own time
//   ns_per_text_to_date    the baseline's own time
#include <benchmark/benchmark.h>

#include <chrono>
#include <string>
#include <vector>

#include "contracts/value.h"
#include "platform/vbscript/vbscript_control.h"

namespace {

using Steady = std::chrono::steady_clock;
constexpr int kRepeats = 20;

template <class F>
double Seconds(F&& call) {
  const auto start = Steady::now();
  for (int i = 0; i < kRepeats; ++i) call();
  return std::chrono::duration<double>(Steady::now() - start).count();
}

std::string Join(const std::vector<std::string>& lines) {
  std::string code;
  for (const std::string& line : lines) code += (code.empty() ? "" : "\r\n") + line;
  return code;
}

std::vector<std::string> LibraryBlocks(const std::string& f, const std::string& l, const std::string& o) {
  std::vector<std::string> days = {
      "function Days_Of_The_Week(Monday,Tuesday,Wednesday,Thursday,Friday,Saturday,Sunday)",
      "sWeekDayName = WeekDayName(WeekDay(Date()),True)", "Select Case sWeekDayName"};
  for (const char* day : {"Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday", "Sunday"}) {
    days.push_back(std::string("   Case \"") + std::string(day, 3) + "\": Days_Of_The_Week = Left(UCase(" + day +
                   "),1) = \"Y\"");
  }
  days.push_back("End Select");
  days.push_back("end function");
  return {
      Join({"function Slow_Poll_While_Closed(Multiplier)",
            "Slow_Poll_While_Closed = " + o + " OR (UTCNow >= DateAdd(\"s\"," + f + "*Multiplier,DateValue(\"" + l +
                "\")))",
            "end function"}),
      Join({"function Slow_Poll(Multiplier)",
            "Slow_Poll = (UTCNow >= DateAdd(\"s\"," + f + "*Multiplier,DateValue(\"" + l + "\")))", "end function"}),
      Join(days),
      Join({"function Only_Between_Specified_Times(StartTime,EndTime)", "Dim bResult", "Dim tmNow",
            "bResult = False", "If IsDate(StartTime) And IsDate(EndTime) Then", "    tmNow = TimeValue(UTCNow)",
            "    If TimeValue(EndTime) > TimeValue(StartTime) Then",
            "        bResult = ((tmNow >= TimeValue(StartTime)) And (tmNow <= TimeValue(EndTime)))", "    Else",
            "        bResult = ((tmNow <= TimeValue(EndTime)) Or (tmNow >= TimeValue(StartTime)))", "    End If",
            "End If", "Only_Between_Specified_Times = bResult", "end function"}),
  };
}

const std::string kScript = "Slow_Poll(5) And Days_Of_The_Week(\"Y\",\"Y\",\"Y\",\"Y\",\"Y\",\"Y\",\"Y\")";

bool EvaluateOnce(const std::vector<std::string>& blocks) {
  korad::VbScriptControl host;
  host.SetAllowUI(false);
  host.SetLanguage("VBScript");
  for (const std::string& block : blocks) host.AddCode(block);
  host.ExecuteStatement("UTCNow = #2024-01-15 23:00:00#");
  return host.Eval(kScript).ToBoolean();
}

void BM_ScheduleScriptEvaluation(benchmark::State& state) {
  const auto blocks = LibraryBlocks("60", "2024-01-15 10:30:00", "False");
  const korad::Value text("2024-01-15 10:30:00");
  if (!EvaluateOnce(blocks)) state.SkipWithError("the script should be True");
  double subject = 0, baseline = 0;
  for (auto _ : state) {
    subject += Seconds([&] { benchmark::DoNotOptimize(EvaluateOnce(blocks)); });
    baseline += Seconds([&] { benchmark::DoNotOptimize(text.ToDate()); });
  }
  const double calls = static_cast<double>(state.iterations()) * kRepeats;
  state.counters["ratio_to_text_to_date"] = subject / baseline;
  state.counters["ns_per_evaluation"] = subject * 1e9 / calls;
  state.counters["ns_per_text_to_date"] = baseline * 1e9 / calls;
}
BENCHMARK(BM_ScheduleScriptEvaluation);

// The same expression on a host that already holds the library: what the evaluation
// itself costs, without building the host and parsing the blocks.
void BM_EvaluationOnAPreparedHost(benchmark::State& state) {
  korad::VbScriptControl host;
  for (const std::string& block : LibraryBlocks("60", "2024-01-15 10:30:00", "False")) host.AddCode(block);
  const korad::Value text("2024-01-15 10:30:00");
  double subject = 0, baseline = 0;
  for (auto _ : state) {
    subject += Seconds([&] {
      host.ExecuteStatement("UTCNow = #2024-01-15 23:00:00#");
      benchmark::DoNotOptimize(host.Eval(kScript).ToBoolean());
    });
    baseline += Seconds([&] { benchmark::DoNotOptimize(text.ToDate()); });
  }
  const double calls = static_cast<double>(state.iterations()) * kRepeats;
  state.counters["ratio_to_text_to_date"] = subject / baseline;
  state.counters["ns_per_evaluation"] = subject * 1e9 / calls;
}
BENCHMARK(BM_EvaluationOnAPreparedHost);

}  // namespace

BENCHMARK_MAIN();
