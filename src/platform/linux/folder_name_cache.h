// The names in folders, kept while a folder stays unchanged, so that asking for a file
// that isn't there (the usual question of an idle tick) costs two stats, not a scan.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace korad {

class FolderNameCache {
 public:
  // A listing is kept only when the folder's last change is older than `trustAfter`:
  // a change made after the listing then gives the folder a later change time, whereas
  // a change within the same clock tick as the last one might not.
  explicit FolderNameCache(std::chrono::milliseconds trustAfter = std::chrono::seconds(2))
      : m_trustAfterNanos(trustAfter.count() * 1000000) {}

  // The entry of `folder` ("" is the working folder) named `name`: the exact name if
  // present, else the first in byte order of the names equal to it ignoring case.
  // nullopt when there is none or the folder can't be read; `folderExists`, when given,
  // tells the two apart.
  std::optional<std::string> Find(const std::string& folder, std::string_view name,
                                  bool* folderExists = nullptr);

 private:
  struct Listing {
    dev_t device = 0;
    ino_t inode = 0;
    int64_t changedNanos = 0;  // ctime: unlike mtime, no one can set it back
    std::vector<std::string> names;
  };
  static constexpr size_t kMaxFolders = 64;

  const int64_t m_trustAfterNanos;
  std::mutex m_mutex;
  std::unordered_map<std::string, Listing> m_listings;
};

}  // namespace korad
