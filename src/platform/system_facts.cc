#include "platform/system_facts.h"

namespace korad {

std::optional<double> CpuBusyPercent(const CpuTimes& earlier, const CpuTimes& later) {
  if (later.Total() <= earlier.Total() || later.Busy() < earlier.Busy()) return std::nullopt;
  const double total = static_cast<double>(later.Total() - earlier.Total());
  const double busy = static_cast<double>(later.Busy() - earlier.Busy());
  const double percent = busy * 100.0 / total;
  return percent > 100.0 ? 100.0 : percent;
}

double FileSystemSpace::FreePercent() const noexcept {
  const uint64_t used = total > free ? total - free : 0;
  const uint64_t usable = used + available;
  if (usable == 0) return 0.0;
  return static_cast<double>(available) * 100.0 / static_cast<double>(usable);
}

bool ProcessHasName(const ProcessEntry& process, std::string_view name) {
  constexpr size_t kShortNameLimit = 15;
  if (name.empty()) return false;
  if (name.size() <= kShortNameLimit) return process.name == name || process.programName == name;
  return process.name == name.substr(0, kShortNameLimit) && process.programName == name;
}

}  // namespace korad
