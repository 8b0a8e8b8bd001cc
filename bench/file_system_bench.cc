// The file system and the ini writer against bare system calls, measured in the same run.
// Counters:
//   ratio_to_stat          Exists / a bare stat() of the same name
//   ratio_to_raw_write     WriteFileAtomic / open(O_TRUNC)-write-close of the same bytes
//   ratio_to_synced_write  WriteFileAtomic / the same raw write with an fsync
//   ratio_to_atomic_write  WritePrivateProfileString / WriteFileAtomic of the file's bytes
//   us_per_call            the call's own time
// Writes create a file each (temporary name, rename), so they run few iterations: creating
// many files in a tight loop slows this machine down for a while.
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

#include "bench/bench_timing.h"
#include "platform/file_system.h"
#include "platform/profile.h"
#include "tests/support/temp_folder.h"

namespace {

using Clock = std::chrono::steady_clock;

using korad::bench::Seconds;

using korad::testing::TempFolder;

void RawWrite(const std::string& path, const std::string& data, bool sync) {
  int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  benchmark::DoNotOptimize(::write(fd, data.data(), data.size()));
  if (sync) ::fsync(fd);
  ::close(fd);
}

// Arg 0: the name as written exists. Arg 1: it exists in another case. Arg 2: it doesn't
// exist at all (the idle tick's usual question). A folder of 20 files.
void BM_Exists(benchmark::State& state) {
  TempFolder folder;
  if (folder.Path().empty()) return state.SkipWithError("mkdtemp failed");
  auto fs = korad::MakeLinuxFileSystem();
  for (int i = 0; i < 20; ++i) RawWrite(folder.Path() + "/File" + std::to_string(i) + ".ser", "x", false);
  // A folder's listing is reused only once its last change is a while old, as the
  // agent's folders mostly are.
  std::this_thread::sleep_for(std::chrono::milliseconds(2100));
  const std::string asked = folder.Path() + (state.range(0) == 0   ? "/File7.ser"
                                             : state.range(0) == 1 ? "/FILE7.SER"
                                                                   : "/Close.req");
  constexpr int kRepeats = 1000;
  double subject = 0, baseline = 0;
  struct stat st;
  for (auto _ : state) {
    subject += Seconds(kRepeats, [&] { benchmark::DoNotOptimize(fs->Exists(asked)); });
    baseline += Seconds(kRepeats, [&] { benchmark::DoNotOptimize(::stat(asked.c_str(), &st)); });
  }
  state.counters["ratio_to_stat"] = subject / baseline;
  state.counters["us_per_call"] = subject * 1e6 / (static_cast<double>(state.iterations()) * kRepeats);
}
BENCHMARK(BM_Exists)->Arg(0)->Arg(1)->Arg(2);

void BM_WriteFileAtomic(benchmark::State& state) {
  TempFolder folder;
  if (folder.Path().empty()) return state.SkipWithError("mkdtemp failed");
  auto fs = korad::MakeLinuxFileSystem();
  const std::string data(static_cast<size_t>(state.range(0)), 's');
  const std::string path = folder.Path() + "/state.xml";
  double subject = 0, raw = 0, synced = 0;
  for (auto _ : state) {
    subject += Seconds(1, [&] { fs->WriteFileAtomic(path, data); });
    raw += Seconds(1, [&] { RawWrite(path, data, false); });
    synced += Seconds(1, [&] { RawWrite(path, data, true); });
  }
  state.counters["ratio_to_raw_write"] = subject / raw;
  state.counters["ratio_to_synced_write"] = subject / synced;
  state.counters["us_per_call"] = subject * 1e6 / static_cast<double>(state.iterations());
}
BENCHMARK(BM_WriteFileAtomic)->Arg(512)->Arg(16384)->Iterations(40);

// One key of a 60-key ini rewritten: the lock, the parse and the serialisation on top of
// the atomic write of the same bytes.
void BM_WritePrivateProfileString(benchmark::State& state) {
  TempFolder folder;
  if (folder.Path().empty()) return state.SkipWithError("mkdtemp failed");
  auto fs = korad::MakeLinuxFileSystem();
  const std::string ini = folder.Path() + "/MvAgent.ini";
  for (int s = 0; s < 6; ++s) {
    for (int k = 0; k < 10; ++k) {
      korad::WritePrivateProfileString("Section" + std::to_string(s), "Key" + std::to_string(k),
                                       "value " + std::to_string(k), ini);
    }
  }
  const std::string bytes = fs->ReadFile(ini);
  const std::string copy = folder.Path() + "/copy.ini";
  int flip = 0;
  double subject = 0, baseline = 0;
  for (auto _ : state) {
    subject += Seconds(1, [&] {
      korad::WritePrivateProfileString("Section3", "Key5", (++flip & 1) ? "a" : "b", ini);
    });
    baseline += Seconds(1, [&] { fs->WriteFileAtomic(copy, bytes); });
  }
  state.counters["ratio_to_atomic_write"] = subject / baseline;
  state.counters["us_per_call"] = subject * 1e6 / static_cast<double>(state.iterations());
}
BENCHMARK(BM_WritePrivateProfileString)->Iterations(40);

}  // namespace

BENCHMARK_MAIN();
