// The service file, <home>/BIN/MvAgent.ini: one section per object the agent runs. The
// host reads its own keys (class id, methods, schedule); every other key of the section
// is a property of the object, set by name.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace korad::agent {

// Keys the host reads itself and does not pass to the object.
inline constexpr std::string_view kHostKeys[] = {"ClassID", "InitializeMethod", "ExecuteMethod",
                                                 "Frequency", "Units", "Start"};
bool IsHostKey(std::string_view key);

struct SectionConfig {
  std::string name;
  std::string classId;
  std::string initializeMethod;  // blank: none
  std::string executeMethod;     // blank: the object is made and initialised, then held
  std::string frequency;
  std::string units;
  std::string start;
  // The object's properties in file order (the first of two equal keys only).
  std::vector<std::pair<std::string, std::string>> properties;

  bool operator==(const SectionConfig&) const = default;
};

std::string ServiceFilePath(const std::string& home);

// The sections that name a class, in file order; sections without a ClassID (such as
// "Logging") are the host's own settings and are left out. Empty when the file is missing.
std::vector<SectionConfig> ReadServiceFile(const std::string& path);

// One section from its "key=value" lines; comment lines and lines without "=" are skipped.
SectionConfig ParseSection(std::string name, const std::vector<std::string>& lines);

}  // namespace korad::agent
