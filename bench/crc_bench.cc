// The CRC of texts and files against zlib's bare crc32 over the same bytes, measured in
// the same run. Counters:
//   ratio_to_zlib       time of the call / time of crc32 over the bytes in memory
//   ratio_to_read_crc   (files) time of CrcOfFile / time of a plain open-read-crc32 loop
//   ns_per_call         the call's own time; the benchmark's Time column covers the baselines too
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>
#include <zlib.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench/bench_timing.h"
#include "platform/utility.h"

namespace {

using Clock = std::chrono::steady_clock;

std::string MakeBytes(size_t size) {
  std::string bytes(size, '\0');
  uint32_t x = 2463534242u;
  for (char& c : bytes) {
    x ^= x << 13;
    x ^= x >> 17;
    x ^= x << 5;
    c = static_cast<char>(x);
  }
  return bytes;
}

uint32_t BareCrc(const std::string& bytes) {
  return static_cast<uint32_t>(
      crc32(0, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size())));
}

uint32_t ReadAndCrc(const std::string& path) {
  int fd = ::open(path.c_str(), O_RDONLY);
  uLong crc = 0;
  char buffer[65536];
  for (ssize_t n; (n = ::read(fd, buffer, sizeof buffer)) > 0;) {
    crc = crc32(crc, reinterpret_cast<const Bytef*>(buffer), static_cast<uInt>(n));
  }
  ::close(fd);
  return static_cast<uint32_t>(crc);
}

// Small inputs are timed over several calls so the clock's own cost stays negligible.
int RepeatsFor(size_t size) { return static_cast<int>(std::max<size_t>(1, 65536 / std::max<size_t>(size, 1))); }

using korad::bench::Seconds;

void BM_CrcOfText(benchmark::State& state) {
  const std::string bytes = MakeBytes(static_cast<size_t>(state.range(0)));
  const int repeats = RepeatsFor(bytes.size());
  korad::Utility utility;
  double subject = 0, baseline = 0;
  for (auto _ : state) {
    subject += Seconds(repeats, [&] { return utility.CrcOfText(bytes); });
    baseline += Seconds(repeats, [&] { return BareCrc(bytes); });
  }
  state.counters["ratio_to_zlib"] = subject / baseline;
  state.counters["ns_per_call"] = subject * 1e9 / (static_cast<double>(state.iterations()) * repeats);
}
BENCHMARK(BM_CrcOfText)->Arg(64)->Arg(4096)->Arg(1 << 20);

void BM_CrcOfFile(benchmark::State& state) {
  const std::string bytes = MakeBytes(static_cast<size_t>(state.range(0)));
  std::string folder = (std::filesystem::temp_directory_path() / "korad-crc-bench-XXXXXX").string();
  if (!::mkdtemp(folder.data())) {
    state.SkipWithError("mkdtemp failed");
    return;
  }
  const std::string path = folder + "/data.bin";
  std::ofstream(path, std::ios::binary) << bytes;
  const int repeats = RepeatsFor(bytes.size());
  korad::Utility utility;
  double subject = 0, inMemory = 0, readLoop = 0;
  for (auto _ : state) {
    subject += Seconds(repeats, [&] { return utility.CrcOfFile(path); });
    inMemory += Seconds(repeats, [&] { return BareCrc(bytes); });
    readLoop += Seconds(repeats, [&] { return ReadAndCrc(path); });
  }
  state.counters["ratio_to_zlib"] = subject / inMemory;
  state.counters["ratio_to_read_crc"] = subject / readLoop;
  state.counters["ns_per_call"] = subject * 1e9 / (static_cast<double>(state.iterations()) * repeats);
  std::filesystem::remove_all(folder);
}
BENCHMARK(BM_CrcOfFile)->Arg(4096)->Arg(1 << 20);

}  // namespace

BENCHMARK_MAIN();
