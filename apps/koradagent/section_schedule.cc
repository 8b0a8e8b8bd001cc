#include "section_schedule.h"

#include <algorithm>
#include <cmath>

#include "contracts/text.h"
#include "contracts/value.h"
#include "service_file.h"

namespace korad::agent {
namespace {

constexpr double kDefaultFrequency = 30;
constexpr int64_t kMsPerDay = int64_t{86400} * 1000;

}  // namespace

std::optional<double> SecondsPerUnit(const std::string& units) {
  const std::string unit = LowerAscii(TrimBlanks(units));
  if (unit.empty() || unit == "seconds" || unit == "second" || unit == "secs" || unit == "sec" || unit == "s") {
    return 1.0;
  }
  if (unit == "minutes" || unit == "minute" || unit == "mins" || unit == "min" || unit == "m") return 60.0;
  if (unit == "hours" || unit == "hour" || unit == "hrs" || unit == "hr" || unit == "h") return 3600.0;
  if (unit == "days" || unit == "day" || unit == "d") return 86400.0;
  return std::nullopt;
}

SectionSchedule ScheduleOf(const SectionConfig& section) {
  SectionSchedule schedule;
  double frequency = kDefaultFrequency;
  if (!TrimBlanks(section.frequency).empty()) {
    const std::optional<double> number = ParseNumber(section.frequency);
    if (number && std::isfinite(*number) && *number > 0) {
      frequency = *number;
    } else {
      schedule.warnings.push_back("Frequency '" + section.frequency + "' is not a positive number; using " +
                                  FormatDouble(kDefaultFrequency));
    }
  }
  double unitSeconds = 1.0;
  if (const std::optional<double> perUnit = SecondsPerUnit(section.units)) {
    unitSeconds = *perUnit;
  } else {
    schedule.warnings.push_back("Units '" + section.units + "' is not seconds, minutes, hours or days; using seconds");
  }
  // At least a millisecond, at most a year: a wait of zero would spin, a longer one overflows nothing useful.
  const double ms = std::clamp(frequency * unitSeconds * 1000.0, 1.0, 366.0 * kMsPerDay);
  schedule.interval = std::chrono::milliseconds(static_cast<int64_t>(std::llround(ms)));

  if (!TrimBlanks(section.start).empty()) {
    const std::optional<OleDate> start = ParseDate(section.start);
    if (start) {
      const CivilTime t = start->ToCivil();
      schedule.startOfDay = std::chrono::milliseconds(((t.hour * 60 + t.minute) * 60 + t.second) * int64_t{1000} +
                                                      t.millisecond);
    } else {
      schedule.warnings.push_back("Start '" + section.start + "' is not a time of day; running at once");
    }
  }
  return schedule;
}

std::chrono::milliseconds DelayToFirstRun(const SectionSchedule& schedule, OleDate localNow) {
  if (!schedule.startOfDay) return std::chrono::milliseconds(0);
  const CivilTime now = localNow.ToCivil();
  const int64_t nowMs = ((now.hour * 60 + now.minute) * 60 + now.second) * int64_t{1000} + now.millisecond;
  const int64_t startMs = schedule.startOfDay->count();
  // Time since the latest start point: today's if it has passed, else yesterday's.
  const int64_t sinceStart = nowMs >= startMs ? nowMs - startMs : nowMs + kMsPerDay - startMs;
  // A section that runs less often than daily starts at the next start time of day.
  const int64_t period = std::min<int64_t>(schedule.interval.count(), kMsPerDay);
  const int64_t intoPeriod = sinceStart % period;
  return std::chrono::milliseconds(intoPeriod == 0 ? 0 : period - intoPeriod);
}

}  // namespace korad::agent
