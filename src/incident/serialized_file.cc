#include "incident/serialized_file.h"

#include "contracts/error.h"
#include "contracts/text.h"
#include "foundation/file_functions.h"
#include "foundation/global_functions.h"
#include "incident/serialized_text.h"
#include "platform/file_system.h"
#include "platform/platform.h"

namespace korad {

SerializedFileFolder::SerializedFileFolder() {
  try {
    const std::string home = GetHomeDirectory();
    const bool endsInSeparator = !home.empty() && (home.back() == '/' || home.back() == '\\');
    m_defaultLocation = home + (endsInSeparator ? "Serialize" : "/Serialize");
  } catch (...) {
    // Without an application there is no home: the caller must set a location.
  }
  m_location = m_defaultLocation;
}

void SerializedFileFolder::SetLocation(std::string_view location) {
  if (NormalizeKey(location).empty()) {
    m_location = m_defaultLocation;
    return;
  }
  if (location.back() == '\\' || location.back() == '/') location.remove_suffix(1);
  m_location = location;
}

std::string SerializedFileFolder::FilePath(std::string_view prefix, std::string_view monitorId) const {
  return m_location + "/" + std::string(prefix) + StripSpaces(monitorId) + ".SER";
}

void SerializedFileFolder::Write(const std::string& path, std::string_view text) const {
  try {
    EnsureFolder(m_location);
  } catch (...) {
    // A folder that can't be made shows as a failed write below.
  }
  WriteSerializedFile(path, text);
}

std::optional<std::string> ReadSerializedFile(const std::string& path, const LogManagerRef& logManager,
                                              std::string_view lineHead, std::string_view category) {
  try {
    return Platform::Current().GetFileSystem().ReadFile(path);
  } catch (...) {
    const Error failure = CurrentExceptionAsError();
    if (failure.Number() == kErrFileNotFound || failure.Number() == kErrPathNotFound) return std::nullopt;
    if (logManager) {
      logManager->Log(std::string(lineHead) + "Failed load " + path + " (Error = " +
                          std::to_string(failure.Number()) + "/" + failure.Description() + ")",
                      category, logLevelError);
    }
    throw Error(failure.Number(), failure.Source(), failure.Description());
  }
}

}  // namespace korad
