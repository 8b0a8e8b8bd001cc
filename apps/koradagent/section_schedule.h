// When a section's ExecuteMethod runs: every Frequency Units (seconds, minutes, hours or
// days), and, when Start gives a time of day, on the grid of that time: the day's runs
// fall on Start, Start + interval, ... A section without Start runs at once and then
// every interval.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "contracts/ole_date.h"

namespace korad::agent {

struct SectionConfig;

struct SectionSchedule {
  std::chrono::milliseconds interval{30000};
  std::optional<std::chrono::milliseconds> startOfDay;  // local time of day
  // What was wrong with the section's keys and what was used instead, to be logged.
  std::vector<std::string> warnings;
};

// Frequency blank: 30 (what the server writes when it is left blank); Units blank:
// seconds. A bad value is replaced by the default and reported in `warnings`.
SectionSchedule ScheduleOf(const SectionConfig& section);

// Seconds in one unit, or nullopt for an unknown unit. Case-insensitive; singular and
// plural forms ("minute", "Minutes") and the usual short forms ("min", "s") are taken.
std::optional<double> SecondsPerUnit(const std::string& units);

// How long from `localNow` to the first run: 0 without a start time, else the time to
// the next point of the start time's grid.
std::chrono::milliseconds DelayToFirstRun(const SectionSchedule& schedule, OleDate localNow);

}  // namespace korad::agent
