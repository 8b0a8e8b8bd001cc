#include "service_file.h"

#include <unordered_set>

#include "contracts/text.h"
#include "platform/profile.h"

namespace korad::agent {

bool IsHostKey(std::string_view key) {
  for (std::string_view hostKey : kHostKeys) {
    if (EqualsNoCase(key, hostKey)) return true;
  }
  return false;
}

std::string ServiceFilePath(const std::string& home) { return home + "/BIN/MvAgent.ini"; }

SectionConfig ParseSection(std::string name, const std::vector<std::string>& lines) {
  SectionConfig section;
  section.name = std::move(name);
  std::unordered_set<std::string, NoCaseHash, NoCaseEqual> seen;
  for (const std::string& line : lines) {
    const std::string_view text = TrimBlanks(line);
    if (text.empty() || text.front() == ';' || text.front() == '#') continue;
    const size_t equals = text.find('=');
    if (equals == std::string_view::npos) continue;
    const std::string key(TrimBlanks(text.substr(0, equals)));
    if (key.empty() || !seen.insert(key).second) continue;  // the first of two equal keys wins
    // The value as the profile functions give it: trimmed, matching quotes dropped.
    std::string value(TrimBlanks(text.substr(equals + 1)));
    if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front()) {
      value = value.substr(1, value.size() - 2);
    }
    if (EqualsNoCase(key, "ClassID")) {
      section.classId = std::move(value);
    } else if (EqualsNoCase(key, "InitializeMethod")) {
      section.initializeMethod = std::move(value);
    } else if (EqualsNoCase(key, "ExecuteMethod")) {
      section.executeMethod = std::move(value);
    } else if (EqualsNoCase(key, "Frequency")) {
      section.frequency = std::move(value);
    } else if (EqualsNoCase(key, "Units")) {
      section.units = std::move(value);
    } else if (EqualsNoCase(key, "Start")) {
      section.start = std::move(value);
    } else {
      section.properties.emplace_back(key, std::move(value));
    }
  }
  return section;
}

std::vector<SectionConfig> ReadServiceFile(const std::string& path) {
  std::vector<SectionConfig> sections;
  std::unordered_set<std::string, NoCaseHash, NoCaseEqual> seen;
  for (std::string& name : GetPrivateProfileSectionNames(path)) {
    if (!seen.insert(name).second) continue;  // a second section of one name is never read
    const auto lines = GetPrivateProfileSection(name, path);
    if (!lines) continue;  // removed between the two reads
    SectionConfig section = ParseSection(std::move(name), *lines);
    if (!section.classId.empty()) sections.push_back(std::move(section));
  }
  return sections;
}

}  // namespace korad::agent
