// System facts that a test sets: every read answers what the test put in, and CPU
// samples are handed out in turn. Install with ScopedSystemFacts.
#pragma once

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "contracts/error.h"
#include "platform/platform.h"
#include "platform/system_facts.h"

namespace korad::testing {

class FakeSystemFacts final : public SystemFacts {
 public:
  // Samples handed out oldest first; the last one stays once the others are used up.
  std::deque<CpuTimes> cpuSamples;
  LoadAverage load;
  ProcessorFacts processor{4, "Test CPU"};
  MemoryFacts memory;
  ProcessMemoryFacts processMemory;
  std::vector<MountEntry> mounts;
  // Space by mount point; a mount without an entry can't be asked.
  std::vector<std::pair<std::string, FileSystemSpace>> space;
  std::vector<ProcessEntry> processes;
  std::vector<NetworkInterfaceFacts> interfaces;
  OperatingSystemFacts operatingSystem;
  int cpuReads = 0;
  std::vector<std::string> spaceReads;

  CpuTimes ReadCpuTimes() override {
    ++cpuReads;
    if (cpuSamples.empty()) RaiseLibraryError("no CPU sample");
    CpuTimes sample = cpuSamples.front();
    if (cpuSamples.size() > 1) cpuSamples.pop_front();
    return sample;
  }
  LoadAverage ReadLoadAverage() override { return load; }
  ProcessorFacts ReadProcessor() override { return processor; }
  MemoryFacts ReadMemory() override { return memory; }
  ProcessMemoryFacts ReadProcessMemory() override { return processMemory; }
  std::vector<MountEntry> ReadMounts() override { return mounts; }
  std::optional<FileSystemSpace> ReadSpace(std::string_view mountPoint) override {
    spaceReads.emplace_back(mountPoint);
    for (const auto& [point, facts] : space) {
      if (point == mountPoint) return facts;
    }
    return std::nullopt;
  }
  std::vector<ProcessEntry> ReadProcesses() override { return processes; }
  std::vector<NetworkInterfaceFacts> ReadNetworkInterfaces() override { return interfaces; }
  OperatingSystemFacts ReadOperatingSystem() override { return operatingSystem; }

  // A mounted file system with its space in megabytes.
  void Mount(std::string device, std::string point, std::string type, uint64_t totalMB, uint64_t availableMB) {
    constexpr uint64_t kMB = 1024 * 1024;
    mounts.push_back({std::move(device), point, std::move(type)});
    space.emplace_back(point, FileSystemSpace{totalMB * kMB, availableMB * kMB, availableMB * kMB});
  }
};

// Installs fake facts as the platform's for the life of a scope; the next use after it
// ends makes the machine's again.
class ScopedSystemFacts {
 public:
  explicit ScopedSystemFacts(std::shared_ptr<FakeSystemFacts> facts = std::make_shared<FakeSystemFacts>())
      : m_facts(std::move(facts)) {
    Platform::Current().SetSystemFacts(m_facts);
  }
  ~ScopedSystemFacts() { Platform::Current().SetSystemFacts(nullptr); }
  ScopedSystemFacts(const ScopedSystemFacts&) = delete;
  ScopedSystemFacts& operator=(const ScopedSystemFacts&) = delete;
  FakeSystemFacts& operator*() const { return *m_facts; }
  FakeSystemFacts* operator->() const { return m_facts.get(); }

 private:
  std::shared_ptr<FakeSystemFacts> m_facts;
};

}  // namespace korad::testing
