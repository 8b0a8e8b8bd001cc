// Saving and loading a monitor state of 100,000 items against writing and reading the
// same bytes raw, measured in the same run, each pair interleaved so drift hits both.
// Counters:
//   ratio_to_raw_write   XMLSerializer.Save / open-write-fsync-close-rename of the same bytes
//                        (the durability the save promises)
//   ratio_to_raw_read    XMLSerializer.Load into an empty state / open-read-close of the file
//   ms_save, ms_load     the call's own time; ms_raw the baseline's
//   file_mb              size of the state file
//   ms_floor             BM_Load only: the file's lines split into key and value strings and
//                        put in a reserved std::unordered_map: what any load that gives each
//                        item its own strings can't go below (the state keeps two maps)
//   ratio_floor_to_raw   that floor / the raw read
//   ratio_to_floor       BM_Load only: the load / that floor
// BM_Load/1 loads into a state that holds the file's items already (the engine's case:
// every pass reloads its state, so the items are removed first); BM_Load/2 loads with a
// log manager that drops every line, which prices the trace lines a load builds.
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "foundation/log_manager.h"
#include "incident/incident_state.h"
#include "incident/xml_serializer.h"
#include "tests/support/temp_folder.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kItems = 100'000;
constexpr int kConfigurations = 50;

template <class F>
double Seconds(F&& call) {
  const auto start = Clock::now();
  call();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

using korad::testing::TempFolder;

// What monitors keep: counters, short texts, dates (two items each, with their twin),
// now and then a text of several lines.
std::shared_ptr<korad::IncidentState> MakeState() {
  auto state = std::make_shared<korad::IncidentState>();
  const korad::OleDate base = *korad::OleDate::FromCivil(2024, 3, 5, 10, 0, 0);
  int items = 0;
  for (int i = 0; items < kItems; ++i) {
    state->SetConfigMoniker("Config" + std::to_string(i % kConfigurations));
    const std::string key = "Item" + std::to_string(i);
    switch (i % 10) {
      case 0:
        state->Add(key + "Seen", korad::Value(base.AddSeconds(i)));
        items += 2;
        continue;
      case 1:
        state->Add(key, korad::Value("/dev/sda" + std::to_string(i) + " at 87% used, 12 GiB free"));
        break;
      case 2:
        state->Add(key, korad::Value("process list\r\nsshd 1 0.0\r\ncron 2 0.1"));
        break;
      case 3:
        state->Add("mv" + key, korad::Value(base.AddSeconds(-i)));
        break;
      default:
        state->Add(key, korad::Value(std::to_string(i * 37)));
    }
    ++items;
  }
  return state;
}

std::vector<std::string> Configurations() {
  std::vector<std::string> names;
  for (int i = 0; i < kConfigurations; ++i) names.push_back("Config" + std::to_string(i));
  return names;
}

// The save's durability: a temporary file written, flushed to disk and renamed over.
void RawAtomicWrite(const std::string& path, const std::string& data) {
  const std::string temp = path + ".tmp";
  const int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  benchmark::DoNotOptimize(::write(fd, data.data(), data.size()));
  ::fsync(fd);
  ::close(fd);
  ::rename(temp.c_str(), path.c_str());
}

std::string RawRead(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat st;
  ::fstat(fd, &st);
  std::string data(static_cast<size_t>(st.st_size), '\0');
  benchmark::DoNotOptimize(::read(fd, data.data(), data.size()));
  ::close(fd);
  return data;
}

std::string ReadWhole(const std::string& path) { return RawRead(path); }

// The floor of a load: each line's key and value in strings of their own, in a map.
using FloorMap = std::unordered_map<std::string, std::string>;
void FloorLoad(const std::string& text, FloorMap& map) {
  map.reserve(static_cast<size_t>(std::count(text.begin(), text.end(), '\n')));
  std::string_view rest(text);
  while (!rest.empty()) {
    const size_t end = rest.find("\r\n");
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 2);
    const size_t equals = line.find('=');
    if (equals == std::string_view::npos) continue;
    map.emplace(std::string(line.substr(0, equals)), std::string(line.substr(equals + 1)));
  }
}

void BM_Save(benchmark::State& state) {
  TempFolder folder;
  if (folder.Path().empty()) return state.SkipWithError("mkdtemp failed");
  korad::XMLSerializer serializer;
  serializer.SetSerializeLocation(folder.Path());
  serializer.SetCurrentConfigs(Configurations());
  std::shared_ptr<korad::IncidentState> incidentState = MakeState();
  serializer.Save(incidentState, "Bench");
  const std::string bytes = ReadWhole(serializer.FilePath("Bench"));
  if (bytes.empty()) return state.SkipWithError("nothing was saved");
  const std::string rawPath = folder.Path() + "/Raw.SER";

  double save = 0, raw = 0;
  for (auto _ : state) {
    save += Seconds([&] { serializer.Save(incidentState, "Bench"); });
    raw += Seconds([&] { RawAtomicWrite(rawPath, bytes); });
  }
  const double n = static_cast<double>(state.iterations());
  state.counters["ratio_to_raw_write"] = save / raw;
  state.counters["ms_save"] = save * 1e3 / n;
  state.counters["ms_raw"] = raw * 1e3 / n;
  state.counters["file_mb"] = static_cast<double>(bytes.size()) / 1e6;
}

void BM_Load(benchmark::State& state) {
  TempFolder folder;
  if (folder.Path().empty()) return state.SkipWithError("mkdtemp failed");
  korad::XMLSerializer serializer;
  serializer.SetSerializeLocation(folder.Path());
  serializer.SetCurrentConfigs(Configurations());
  {
    std::shared_ptr<korad::IncidentState> source = MakeState();
    serializer.Save(source, "Bench");
  }
  const std::string path = serializer.FilePath("Bench");
  const std::string bytes = ReadWhole(path);
  const size_t size = bytes.size();
  if (size == 0) return state.SkipWithError("nothing was saved");
  const bool reload = state.range(0) == 1;
  const bool traced = state.range(0) == 2;

  double load = 0, raw = 0, floor = 0;
  std::shared_ptr<korad::IncidentState> kept = std::make_shared<korad::IncidentState>();
  if (reload) serializer.Load(kept, "Bench");
  for (auto _ : state) {
    state.PauseTiming();
    std::shared_ptr<korad::IncidentState> target = kept;
    if (!reload) {
      target = std::make_shared<korad::IncidentState>();
      if (traced) target->SetLogManager(std::make_shared<korad::EmptyLogManager>());
    }
    state.ResumeTiming();
    // Each monitor reloads under the moniker it last ran, so items of the others stay.
    load += Seconds([&] { serializer.Load(target, "Bench"); });
    raw += Seconds([&] { benchmark::DoNotOptimize(RawRead(path)); });
    FloorMap floorMap;
    floor += Seconds([&] { FloorLoad(bytes, floorMap); });
    benchmark::DoNotOptimize(floorMap.size());
    state.PauseTiming();
    floorMap = FloorMap();
    if (target->Dictionary().Count() == 0) state.SkipWithError("nothing was loaded");
    if (!reload) target.reset();  // the destruction is not the load's
    state.ResumeTiming();
  }
  const double n = static_cast<double>(state.iterations());
  state.counters["ratio_to_raw_read"] = load / raw;
  state.counters["ms_load"] = load * 1e3 / n;
  state.counters["ms_raw"] = raw * 1e3 / n;
  state.counters["ms_floor"] = floor * 1e3 / n;
  state.counters["ratio_floor_to_raw"] = floor / raw;
  state.counters["ratio_to_floor"] = load / floor;
  state.counters["file_mb"] = static_cast<double>(size) / 1e6;
}

BENCHMARK(BM_Save)->Unit(benchmark::kMillisecond)->Iterations(20);
BENCHMARK(BM_Load)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->Iterations(20);

}  // namespace

BENCHMARK_MAIN();
