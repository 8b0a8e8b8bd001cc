// Facts about the machine: processor time, load, memory, mounted file systems and
// their space, processes, network interfaces, kernel and operating system release.
// Each read is a fresh look; nothing is cached. Tests replace the service with fixed
// numbers (Platform::SetSystemFacts).
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace korad {

// Cumulative processor time of all processors since boot, in clock ticks.
struct CpuTimes {
  uint64_t user = 0;
  uint64_t nice = 0;
  uint64_t system = 0;
  uint64_t idle = 0;
  uint64_t iowait = 0;
  uint64_t irq = 0;
  uint64_t softirq = 0;
  uint64_t steal = 0;

  uint64_t Total() const noexcept { return user + nice + system + idle + iowait + irq + softirq + steal; }
  // Time not spent idle or waiting for I/O.
  uint64_t Busy() const noexcept { return Total() - idle - iowait; }
};

// The busy share of processor time between two samples, 0 to 100; nullopt when no
// time passed between them or the later one is older (a reboot in between).
std::optional<double> CpuBusyPercent(const CpuTimes& earlier, const CpuTimes& later);

struct LoadAverage {
  double load1 = 0;
  double load5 = 0;
  double load15 = 0;
};

struct ProcessorFacts {
  int32_t count = 0;   // processors online
  std::string model;   // the first processor's model name; empty if the kernel doesn't say
};

// Bytes.
struct MemoryFacts {
  uint64_t total = 0;
  uint64_t free = 0;
  // What can be given to programs without swapping: the kernel's estimate, or free plus
  // buffers and page cache on kernels that make none.
  uint64_t available = 0;
  uint64_t swapTotal = 0;
  uint64_t swapFree = 0;
};

// The memory of the calling process, in bytes.
struct ProcessMemoryFacts {
  uint64_t resident = 0;
  uint64_t peakResident = 0;
  uint64_t virtualSize = 0;
};

struct MountEntry {
  std::string device;
  std::string mountPoint;
  std::string fileSystemType;
};

// Bytes; `available` is what an unprivileged user may still write.
struct FileSystemSpace {
  uint64_t total = 0;
  uint64_t free = 0;
  uint64_t available = 0;

  // The free share as df shows it: available over (used + available), 0 to 100.
  double FreePercent() const noexcept;
};

struct ProcessEntry {
  int32_t pid = 0;
  std::string name;         // the kernel's short name (15 characters at most)
  std::string programName;  // the last component of the first argument; empty for kernel threads
};

struct NetworkInterfaceFacts {
  std::string name;
  bool up = false;
  bool loopback = false;
  std::string macAddress;                  // "aa:bb:cc:dd:ee:ff"; empty if none
  std::vector<std::string> ipv4Addresses;  // "192.0.2.1/24"
  std::vector<std::string> ipv6Addresses;  // "fe80::1/64"
};

struct OperatingSystemFacts {
  std::string hostName;
  std::string kernelName;     // "Linux"
  std::string kernelRelease;  // "6.1.0-18-amd64"
  std::string kernelVersion;  // "#1 SMP PREEMPT_DYNAMIC Debian ..."
  std::string machine;        // "x86_64"
  std::string osName;         // os-release NAME
  std::string osPrettyName;   // os-release PRETTY_NAME
  std::string osId;           // os-release ID
  std::string osVersionId;    // os-release VERSION_ID
};

class SystemFacts {
 public:
  virtual ~SystemFacts() = default;

  // Raise the runtime error of the failed read (53, 70, ...) when the source can't be read.
  virtual CpuTimes ReadCpuTimes() = 0;
  virtual LoadAverage ReadLoadAverage() = 0;
  virtual ProcessorFacts ReadProcessor() = 0;
  virtual MemoryFacts ReadMemory() = 0;
  virtual ProcessMemoryFacts ReadProcessMemory() = 0;
  // The mount table as the kernel shows it to this process, pseudo file systems included.
  virtual std::vector<MountEntry> ReadMounts() = 0;
  // Space of the file system mounted at `mountPoint`; nullopt when it can't be asked.
  virtual std::optional<FileSystemSpace> ReadSpace(std::string_view mountPoint) = 0;
  // Every process; those that end while being read are left out.
  virtual std::vector<ProcessEntry> ReadProcesses() = 0;
  virtual std::vector<NetworkInterfaceFacts> ReadNetworkInterfaces() = 0;
  // The os-release fields are empty when neither /etc/os-release nor /usr/lib/os-release exists.
  virtual OperatingSystemFacts ReadOperatingSystem() = 0;
};

// True if the process goes by `name`: its short name, or, for names longer than the
// kernel keeps, the short name as a prefix and the program name in full. Case counts.
bool ProcessHasName(const ProcessEntry& process, std::string_view name);

// /proc, statvfs, getifaddrs and uname.
std::shared_ptr<SystemFacts> MakeProcSystemFacts();

}  // namespace korad
