// The profile functions over a given file system, so that tests can make the disk fail
// under them; the free functions of platform/profile.h use the platform's file system.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_system.h"
#include "platform/ini_document.h"
#include "platform/profile_cache.h"

namespace korad {

class ProfileStore {
 public:
  explicit ProfileStore(FileSystem& fileSystem) : m_fileSystem(fileSystem) {}

  // Readers take no lock: a writer replaces the file by a rename, so a reader sees the
  // old text or the new one, whole. A file that can't be read reads as missing. Readers
  // and writers share the parsed files of the process (ProfileCache).
  std::vector<std::string> SectionNames(std::string_view fileName);
  std::optional<std::vector<std::string>> Section(std::string_view section, std::string_view fileName);
  // The value trimmed and out of its matching quotes; nullopt when missing.
  std::optional<std::string> GetString(std::string_view section, std::string_view key,
                                       std::string_view fileName);

  // Writers read, change and replace the file under the lock of its folder (see
  // FolderLock), and leave the file alone when nothing changed. They raise the file
  // system's errors; the old file stays whole.
  void WriteString(std::string_view section, std::optional<std::string_view> key,
                   std::optional<std::string_view> value, std::string_view fileName);
  void WriteSection(std::string_view section, const std::vector<std::string>& lines,
                    std::string_view fileName);

 private:
  // The file's document, null when it is missing or can't be read.
  ProfileCache::Document Load(std::string_view fileName);
  void Update(std::string_view fileName, const std::function<bool(IniDocument&)>& change);

  FileSystem& m_fileSystem;
};

}  // namespace korad
