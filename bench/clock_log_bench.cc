// Local time conversion and log lines, against the calls they stand in for, measured in
// the same run. Counters:
//   ratio_to_mktime     LocalToUtc / mktime with tm_isdst = -1 (TZ as the process has it)
//   ratio_to_localtime  UtcToLocal / a bare localtime_r
//   ratio_to_stat       a dropped log line (logger fetched, level above the filter) / a bare stat()
//   ratio_to_write      a written log line / a raw write() of the same bytes to an O_APPEND file
//   ns_per_call         the call's own time
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>

#include "platform/application.h"
#include "platform/clock.h"
#include "platform/platform.h"

namespace {

using Steady = std::chrono::steady_clock;
constexpr int kRepeats = 1000;

template <class F>
double Seconds(F&& call) {
  const auto start = Steady::now();
  for (int i = 0; i < kRepeats; ++i) call(i);
  return std::chrono::duration<double>(Steady::now() - start).count();
}

void Report(benchmark::State& state, const char* ratioName, double subject, double baseline) {
  state.counters[ratioName] = subject / baseline;
  state.counters["ns_per_call"] = subject * 1e9 / (static_cast<double>(state.iterations()) * kRepeats);
}

// A home with a LogFiles folder that the benchmark removes afterwards.
class BenchHome {
 public:
  BenchHome() {
    m_path = (std::filesystem::temp_directory_path() / "korad-log-bench-XXXXXX").string();
    if (!::mkdtemp(m_path.data())) m_path.clear();
  }
  ~BenchHome() {
    if (!m_path.empty()) std::filesystem::remove_all(m_path);
  }
  const std::string& Path() const { return m_path; }

 private:
  std::string m_path;
};

void BM_LocalToUtc(benchmark::State& state) {
  auto clock = korad::MakeSystemClock();
  const korad::OleDate local = *korad::OleDate::FromCivil(2024, 7, 15, 8, 30);
  double subject = 0, baseline = 0;
  for (auto _ : state) {
    subject += Seconds([&](int i) { benchmark::DoNotOptimize(clock->LocalToUtc(local.AddSeconds(i))); });
    baseline += Seconds([&](int i) {
      tm parts{};
      parts.tm_year = 124;
      parts.tm_mon = 6;
      parts.tm_mday = 15;
      parts.tm_hour = 8;
      parts.tm_min = 30;
      parts.tm_sec = i;
      parts.tm_isdst = -1;
      benchmark::DoNotOptimize(mktime(&parts));
    });
  }
  Report(state, "ratio_to_mktime", subject, baseline);
}
BENCHMARK(BM_LocalToUtc);

void BM_UtcToLocal(benchmark::State& state) {
  auto clock = korad::MakeSystemClock();
  const korad::OleDate utc = *korad::OleDate::FromCivil(2024, 7, 15, 12, 30);
  const time_t base = static_cast<time_t>(utc.ToUnixMillis() / 1000);
  double subject = 0, baseline = 0;
  for (auto _ : state) {
    subject += Seconds([&](int i) { benchmark::DoNotOptimize(clock->UtcToLocal(utc.AddSeconds(i))); });
    baseline += Seconds([&](int i) {
      const time_t t = base + i;
      tm parts{};
      benchmark::DoNotOptimize(localtime_r(&t, &parts));
    });
  }
  Report(state, "ratio_to_localtime", subject, baseline);
}
BENCHMARK(BM_UtcToLocal);

void BM_DroppedLogLine(benchmark::State& state) {
  BenchHome home;
  auto& platform = korad::Platform::Current();
  platform.SetApplication(korad::MakeHostApplication(home.Path()));
  const std::string ini = home.Path() + "/BIN/MvAgent.ini";
  struct stat st {};
  double subject = 0, baseline = 0;
  for (auto _ : state) {
    subject +=
        Seconds([&](int) { platform.GetApplication().Logger()->WriteLine("a trace line", "Bench", 7, 0); });
    baseline += Seconds([&](int) { benchmark::DoNotOptimize(::stat(ini.c_str(), &st)); });
  }
  Report(state, "ratio_to_stat", subject, baseline);
  platform.SetApplication(nullptr);
}
BENCHMARK(BM_DroppedLogLine);

void BM_WrittenLogLine(benchmark::State& state) {
  BenchHome home;
  auto application = korad::MakeHostApplication(home.Path());
  const std::string text = "Pass completed for configuration 12 of monitor CPU";
  const std::string line = "2024-07-15 12:30:00.123Z 6 [Bench] " + text + "\n";
  const std::string rawPath = home.Path() + "/raw.log";
  const int fd = ::open(rawPath.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  double subject = 0, baseline = 0;
  for (auto _ : state) {
    subject += Seconds([&](int) { application->Logger()->WriteLine(text, "Bench", 6, 0); });
    baseline += Seconds([&](int) { benchmark::DoNotOptimize(::write(fd, line.data(), line.size())); });
  }
  ::close(fd);
  Report(state, "ratio_to_write", subject, baseline);
}
BENCHMARK(BM_WrittenLogLine)->Iterations(50);  // 50,000 lines: a few rotations at the default size

}  // namespace

BENCHMARK_MAIN();
