// Parsed ini files shared by every reader and writer of the process, so that reading one
// section costs that section, not a parse of the whole file. Every use compares the file's
// stamp (FileStamp) with the one the parse was made from, so a change by anyone is seen
// at the next use: a write through another spelling of the name or by another process, a
// rename over the file, a write in place. While the file's last change is too recent for
// its stamp to be trusted, each use reads the file again and parses only if the text
// differs. Files are known by device and inode, whatever name reached them.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

#include "platform/file_system.h"
#include "platform/ini_document.h"

namespace korad {

class ProfileCache {
 public:
  using Document = std::shared_ptr<const IniDocument>;

  // The cache of the process.
  static ProfileCache& OfProcess();

  // The file as it is now. Raises what FileSystem::ReadFile raises (53 for a missing
  // file). A file system that gives no stamps is read and parsed on every use.
  Document Read(FileSystem& fileSystem, std::string_view fileName);
  // What a writer has just written to `path`, so that the next reader needn't parse it.
  void Written(FileSystem& fileSystem, std::string_view path, Document document, std::string text);

 private:
  struct Entry {
    FileStamp stamp;
    int64_t size = 0;
    std::string text;
    Document document;
  };
  struct Key {
    uint64_t device;
    uint64_t inode;
    bool operator==(const Key&) const = default;
  };
  struct KeyHash {
    size_t operator()(const Key& key) const noexcept { return std::hash<uint64_t>()(key.inode * 31 + key.device); }
  };
  struct Slot {
    std::shared_ptr<const Entry> entry;
    uint64_t lastUse = 0;
  };
  // A few dozen ini files is what an agent has; tests make many more.
  static constexpr size_t kMaxFiles = 64;

  static bool SameVersion(const Entry& entry, const FileInfo& info);
  std::shared_ptr<const Entry> Find(const Key& key);
  void Store(const Key& key, std::shared_ptr<const Entry> entry);

  std::mutex m_mutex;
  std::unordered_map<Key, Slot, KeyHash> m_files;
  uint64_t m_uses = 0;
};

}  // namespace korad
