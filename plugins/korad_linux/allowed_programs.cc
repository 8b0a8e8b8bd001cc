#include "korad_linux/allowed_programs.h"

#include <algorithm>

#include "korad_linux/monitor_support.h"
#include "platform/file_system.h"
#include "platform/platform.h"

namespace korad {

AllowedPrograms::AllowedPrograms(const MonitorKeys& keys) {
  const std::vector<std::string> entries = keys.List("AllowedPrograms");
  if (entries.empty()) keys.Invalid("AllowedPrograms", keys.Text("AllowedPrograms"), "a list of programs");
  FileSystem& fileSystem = Platform::Current().GetFileSystem();
  for (const std::string& entry : entries) {
    if (entry.front() != '/') keys.Invalid("AllowedPrograms", entry, "an absolute path");
    const std::optional<std::string> resolved = fileSystem.CanonicalPath(entry);
    if (!resolved) continue;
    if (entry.back() == '/') {
      m_folders.push_back(*resolved == "/" ? *resolved : *resolved + "/");
    } else {
      m_programs.push_back(*resolved);
    }
  }
}

bool AllowedPrograms::Allows(std::string_view program) const {
  if (std::find(m_programs.begin(), m_programs.end(), program) != m_programs.end()) return true;
  return std::any_of(m_folders.begin(), m_folders.end(),
                     [&](const std::string& folder) { return program.starts_with(folder); });
}

}  // namespace korad
