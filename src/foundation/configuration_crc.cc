#include "foundation/configuration_crc.h"

#include <vector>

#include "contracts/text.h"
#include "foundation/section_readers.h"
#include "foundation/string_functions.h"
#include "platform/string_builder.h"
#include "platform/utility.h"

namespace korad {
namespace {

constexpr std::string_view kLogSource = "GetConfigurationCRC";

bool IsManagedModule(std::string_view path, const std::string& section) {
  if (section == "MvAgentMonitor") return false;  // the agent's own monitor
  const std::string classId = GetProfileValue(path, section, "ClassID");
  return EqualsNoCase(classId, "KORADevServices.ActionManager") ||
         EqualsNoCase(classId, "KORADevServices.MonitorManager");
}

std::vector<std::string> SortedSectionNames(std::string_view path) {
  SectionNameArray names;
  GetSectionNames(path, names);
  std::vector<std::string> sorted = names.value_or(std::vector<std::string>{});
  SortStrings(sorted);
  return sorted;
}

std::vector<std::string> SplitAtZero(const std::string& text) {
  std::vector<std::string> parts;
  size_t start = 0;
  for (;;) {
    const size_t end = text.find('\0', start);
    parts.push_back(text.substr(start, end == std::string::npos ? std::string::npos : end - start));
    if (end == std::string::npos) return parts;
    start = end + 1;
  }
}

}  // namespace

std::string GetConfigurationCRC(std::string_view path, const LogManagerRef& logManager) {
  auto log = [&](const std::string& text) {
    if (logManager) logManager->Log(text, kLogSource, logLevelDebug);
  };
  StringBuilder builder;
  log("Calculating configuration CRC from " + std::string(path));

  std::vector<std::string> modules;
  for (std::string& section : SortedSectionNames(path)) {
    if (IsManagedModule(path, section)) modules.push_back(std::move(section));
  }
  SortStrings(modules);

  for (const std::string& module : modules) {
    log("Getting configurations for " + module);
    const std::string source = GetProfileValue(path, module, "ConfigurationSource");
    log("Appending module " + module);
    builder.Append(module);
    for (const std::string& section : SortedSectionNames(source)) {
      log("Adding section " + section);
      builder.Append("[" + section + "]");
      std::vector<std::string> lines = SplitAtZero(ReadSectionText(source, section));
      SortStrings(lines);
      for (const std::string& line : lines) {
        const size_t equals = line.find('=');
        if (equals == std::string::npos) continue;
        if (UpperAscii(line.substr(0, equals)) == "LOGINFO") continue;
        log("Adding line '" + line + "'");
        builder.Append(TrimBlanks(line));
      }
    }
  }

  log("Calculating CRC on " + builder.Text());
  const Utility utility;
  return utility.CrcText(utility.CrcOfText(builder.Text()));
}

}  // namespace korad
