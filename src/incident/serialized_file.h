// Where the state and form serializers keep their files, and how they read and replace
// them: one folder (home + "\Serialize" unless told otherwise), a missing file read as a
// first run, and a file replaced whole or not at all.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "contracts/interfaces.h"

namespace korad {

class SerializedFileFolder {
 public:
  // The default folder; empty without an application, and the owner must be told one.
  SerializedFileFolder();

  const std::string& Location() const noexcept { return m_location; }
  // Blank restores the default; one trailing separator is dropped.
  void SetLocation(std::string_view location);
  // Location + "/" + prefix + the monitor id without blanks + ".SER".
  std::string FilePath(std::string_view prefix, std::string_view monitorId) const;
  // Creates the folder as needed and replaces the file with `text`.
  void Write(const std::string& path, std::string_view text) const;

 private:
  std::string m_defaultLocation;
  std::string m_location;
};

// The file's text; nullopt when it doesn't exist, which is a first run. Any other failure
// is logged as "<lineHead>Failed load <path> (Error = <number>/<description>)" at level 2
// under `category` when there is a log manager, and raised again.
std::optional<std::string> ReadSerializedFile(const std::string& path, const LogManagerRef& logManager,
                                              std::string_view lineHead, std::string_view category);

}  // namespace korad
