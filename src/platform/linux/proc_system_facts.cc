// System facts from /proc, statvfs, getifaddrs and uname.
#include <arpa/inet.h>
#include <dirent.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/statvfs.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "contracts/text.h"
#include "platform/linux/posix_error.h"
#include "platform/system_facts.h"

namespace korad {
namespace {

// /proc files report no size: read until the end.
std::optional<std::string> TryReadSmallFile(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return std::nullopt;
  std::string text;
  char buffer[4096];
  for (;;) {
    const ssize_t got = ::read(fd, buffer, sizeof buffer);
    if (got > 0) {
      text.append(buffer, static_cast<size_t>(got));
      continue;
    }
    if (got < 0 && errno == EINTR) continue;
    break;
  }
  ::close(fd);
  return text;
}

std::string ReadSmallFile(const std::string& path) {
  std::optional<std::string> text = TryReadSmallFile(path);
  if (!text) RaisePosixError("open", errno, path);
  return std::move(*text);
}

std::vector<std::string_view> Lines(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const size_t end = text.find('\n');
    lines.push_back(text.substr(0, end));
    if (end == std::string_view::npos) break;
    text.remove_prefix(end + 1);
  }
  return lines;
}

std::vector<std::string_view> Fields(std::string_view line) {
  std::vector<std::string_view> fields;
  size_t i = 0;
  while (i < line.size()) {
    while (i < line.size() && (line[i] == ' ' || line[i] == '\t')) ++i;
    const size_t start = i;
    while (i < line.size() && line[i] != ' ' && line[i] != '\t') ++i;
    if (i > start) fields.push_back(line.substr(start, i - start));
  }
  return fields;
}

uint64_t ToUnsigned(std::string_view text) {
  uint64_t value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

double ToDouble(std::string_view text) {
  double value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

// Mount table fields escape blanks, tabs, newlines and backslashes as \ooo.
std::string UnescapeMountField(std::string_view field) {
  std::string text;
  for (size_t i = 0; i < field.size(); ++i) {
    if (field[i] == '\\' && field.size() - i >= 4) {
      const std::string_view digits = field.substr(i + 1, 3);
      if (digits.find_first_not_of("01234567") == std::string_view::npos) {
        text += static_cast<char>((digits[0] - '0') * 64 + (digits[1] - '0') * 8 + (digits[2] - '0'));
        i += 3;
        continue;
      }
    }
    text += field[i];
  }
  return text;
}

// "KEY=value" or KEY="value" lines.
std::map<std::string, std::string, std::less<>> ParseOsRelease(std::string_view text) {
  std::map<std::string, std::string, std::less<>> fields;
  for (std::string_view line : Lines(text)) {
    const size_t equals = line.find('=');
    if (equals == std::string_view::npos || line.starts_with('#')) continue;
    std::string_view value = line.substr(equals + 1);
    if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front()) {
      value = value.substr(1, value.size() - 2);
    }
    std::string unquoted;
    for (size_t i = 0; i < value.size(); ++i) {
      if (value[i] == '\\' && i + 1 < value.size()) ++i;
      unquoted += value[i];
    }
    fields[std::string(line.substr(0, equals))] = std::move(unquoted);
  }
  return fields;
}

std::string AddressText(const sockaddr* address, const sockaddr* mask) {
  char text[INET6_ADDRSTRLEN] = {};
  int prefix = 0;
  if (address->sa_family == AF_INET) {
    ::inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(address)->sin_addr, text, sizeof text);
    if (mask) prefix = __builtin_popcount(reinterpret_cast<const sockaddr_in*>(mask)->sin_addr.s_addr);
  } else {
    ::inet_ntop(AF_INET6, &reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr, text, sizeof text);
    if (mask) {
      for (unsigned char byte : reinterpret_cast<const sockaddr_in6*>(mask)->sin6_addr.s6_addr) {
        prefix += __builtin_popcount(byte);
      }
    }
  }
  return std::string(text) + "/" + std::to_string(prefix);
}

std::string MacText(const sockaddr_ll* link) {
  std::string text;
  char part[4];
  for (int i = 0; i < link->sll_halen && i < 8; ++i) {
    std::snprintf(part, sizeof part, i == 0 ? "%02x" : ":%02x", link->sll_addr[i]);
    text += part;
  }
  return text;
}

class ProcSystemFacts final : public SystemFacts {
 public:
  CpuTimes ReadCpuTimes() override {
    const std::string text = ReadSmallFile("/proc/stat");
    for (std::string_view line : Lines(text)) {
      const std::vector<std::string_view> fields = Fields(line);
      if (fields.empty() || fields[0] != "cpu") continue;
      CpuTimes times;
      uint64_t* slots[] = {&times.user,    &times.nice, &times.system,  &times.idle,
                           &times.iowait,  &times.irq,  &times.softirq, &times.steal};
      for (size_t i = 0; i < std::size(slots) && i + 1 < fields.size(); ++i) *slots[i] = ToUnsigned(fields[i + 1]);
      return times;
    }
    return {};
  }

  LoadAverage ReadLoadAverage() override {
    // The fields are views into the text, which must outlive them.
    const std::string text = ReadSmallFile("/proc/loadavg");
    const std::vector<std::string_view> fields = Fields(text);
    LoadAverage load;
    if (fields.size() >= 3) {
      load.load1 = ToDouble(fields[0]);
      load.load5 = ToDouble(fields[1]);
      load.load15 = ToDouble(fields[2]);
    }
    return load;
  }

  ProcessorFacts ReadProcessor() override {
    ProcessorFacts processor;
    processor.count = static_cast<int32_t>(::sysconf(_SC_NPROCESSORS_ONLN));
    if (std::optional<std::string> text = TryReadSmallFile("/proc/cpuinfo")) {
      for (std::string_view line : Lines(*text)) {
        const size_t colon = line.find(':');
        if (colon == std::string_view::npos) continue;
        const std::string_view key = TrimBlanks(line.substr(0, colon));
        if (key == "model name" || key == "Model" || key == "cpu model") {
          processor.model = std::string(TrimBlanks(line.substr(colon + 1)));
          break;
        }
      }
    }
    return processor;
  }

  MemoryFacts ReadMemory() override {
    std::map<std::string_view, uint64_t, std::less<>> kilobytes;
    const std::string text = ReadSmallFile("/proc/meminfo");
    for (std::string_view line : Lines(text)) {
      const size_t colon = line.find(':');
      if (colon == std::string_view::npos) continue;
      const std::vector<std::string_view> fields = Fields(line.substr(colon + 1));
      if (!fields.empty()) kilobytes[line.substr(0, colon)] = ToUnsigned(fields[0]);
    }
    auto bytes = [&](std::string_view key) {
      auto it = kilobytes.find(key);
      return it == kilobytes.end() ? uint64_t{0} : it->second * 1024;
    };
    MemoryFacts memory;
    memory.total = bytes("MemTotal");
    memory.free = bytes("MemFree");
    memory.available = kilobytes.contains("MemAvailable")
                           ? bytes("MemAvailable")
                           : memory.free + bytes("Buffers") + bytes("Cached");
    memory.swapTotal = bytes("SwapTotal");
    memory.swapFree = bytes("SwapFree");
    return memory;
  }

  ProcessMemoryFacts ReadProcessMemory() override {
    ProcessMemoryFacts memory;
    const std::string text = ReadSmallFile("/proc/self/status");
    for (std::string_view line : Lines(text)) {
      const size_t colon = line.find(':');
      if (colon == std::string_view::npos) continue;
      const std::string_view key = line.substr(0, colon);
      const std::vector<std::string_view> fields = Fields(line.substr(colon + 1));
      if (fields.empty()) continue;
      const uint64_t bytes = ToUnsigned(fields[0]) * 1024;
      if (key == "VmRSS") memory.resident = bytes;
      if (key == "VmHWM") memory.peakResident = bytes;
      if (key == "VmSize") memory.virtualSize = bytes;
    }
    return memory;
  }

  std::vector<MountEntry> ReadMounts() override {
    std::vector<MountEntry> mounts;
    const std::string text = ReadSmallFile("/proc/self/mounts");
    for (std::string_view line : Lines(text)) {
      const std::vector<std::string_view> fields = Fields(line);
      if (fields.size() < 3) continue;
      mounts.push_back({UnescapeMountField(fields[0]), UnescapeMountField(fields[1]), std::string(fields[2])});
    }
    return mounts;
  }

  std::optional<FileSystemSpace> ReadSpace(std::string_view mountPoint) override {
    struct statvfs st;
    if (::statvfs(std::string(mountPoint).c_str(), &st) != 0) return std::nullopt;
    const uint64_t unit = st.f_frsize ? st.f_frsize : st.f_bsize;
    return FileSystemSpace{st.f_blocks * unit, st.f_bfree * unit, st.f_bavail * unit};
  }

  std::vector<ProcessEntry> ReadProcesses() override {
    std::vector<ProcessEntry> processes;
    DIR* folder = ::opendir("/proc");
    if (!folder) RaisePosixError("opendir", errno, "/proc");
    while (const dirent* entry = ::readdir(folder)) {
      const std::string_view name = entry->d_name;
      if (name.empty() || name.find_first_not_of("0123456789") != std::string_view::npos) continue;
      const std::string base = "/proc/" + std::string(name);
      std::optional<std::string> comm = TryReadSmallFile(base + "/comm");
      if (!comm) continue;  // ended meanwhile
      ProcessEntry process;
      process.pid = static_cast<int32_t>(ToUnsigned(name));
      process.name = comm->substr(0, comm->find('\n'));
      if (std::optional<std::string> commandLine = TryReadSmallFile(base + "/cmdline")) {
        const std::string first = commandLine->substr(0, commandLine->find('\0'));
        const size_t slash = first.find_last_of('/');
        process.programName = slash == std::string::npos ? first : first.substr(slash + 1);
      }
      processes.push_back(std::move(process));
    }
    ::closedir(folder);
    return processes;
  }

  std::vector<NetworkInterfaceFacts> ReadNetworkInterfaces() override {
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0) RaisePosixError("getifaddrs", errno, "");
    std::vector<NetworkInterfaceFacts> interfaces;
    auto find = [&](const char* name) -> NetworkInterfaceFacts& {
      for (NetworkInterfaceFacts& known : interfaces) {
        if (known.name == name) return known;
      }
      interfaces.push_back({});
      interfaces.back().name = name;
      return interfaces.back();
    };
    for (const ifaddrs* item = list; item; item = item->ifa_next) {
      if (!item->ifa_name) continue;
      NetworkInterfaceFacts& facts = find(item->ifa_name);
      facts.up = (item->ifa_flags & IFF_UP) != 0;
      facts.loopback = (item->ifa_flags & IFF_LOOPBACK) != 0;
      if (!item->ifa_addr) continue;
      switch (item->ifa_addr->sa_family) {
        case AF_INET: facts.ipv4Addresses.push_back(AddressText(item->ifa_addr, item->ifa_netmask)); break;
        case AF_INET6: facts.ipv6Addresses.push_back(AddressText(item->ifa_addr, item->ifa_netmask)); break;
        case AF_PACKET: facts.macAddress = MacText(reinterpret_cast<const sockaddr_ll*>(item->ifa_addr)); break;
        default: break;
      }
    }
    ::freeifaddrs(list);
    return interfaces;
  }

  OperatingSystemFacts ReadOperatingSystem() override {
    OperatingSystemFacts os;
    utsname names;
    if (::uname(&names) == 0) {
      os.hostName = names.nodename;
      os.kernelName = names.sysname;
      os.kernelRelease = names.release;
      os.kernelVersion = names.version;
      os.machine = names.machine;
    }
    std::optional<std::string> release = TryReadSmallFile("/etc/os-release");
    if (!release) release = TryReadSmallFile("/usr/lib/os-release");
    if (release) {
      auto fields = ParseOsRelease(*release);
      os.osName = fields["NAME"];
      os.osPrettyName = fields["PRETTY_NAME"];
      os.osId = fields["ID"];
      os.osVersionId = fields["VERSION_ID"];
    }
    return os;
  }
};

}  // namespace

std::shared_ptr<SystemFacts> MakeProcSystemFacts() { return std::make_shared<ProcSystemFacts>(); }

}  // namespace korad
