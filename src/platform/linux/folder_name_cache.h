// The names in folders, kept while a folder stays unchanged, so that asking for a file
// that isn't there (the usual question of an idle tick) costs two stats, not a scan.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace korad {

class FolderNameCache {
 public:
  // A listing is kept only once the folder's last change is settled (ChangeTimeSettled):
  // a change made after the listing then gives the folder a later change time, whereas a
  // change within the same clock tick as the last one might not. Tests may set a fixed
  // window instead.
  explicit FolderNameCache(std::optional<std::chrono::milliseconds> trustAfter = std::nullopt)
      : m_trustAfterNanos(trustAfter ? std::optional<int64_t>(trustAfter->count() * 1000000) : std::nullopt) {}

  // The entry of `folder` ("" is the working folder) named `name`: the exact name if
  // present, else the first in byte order of the names equal to it ignoring case.
  // nullopt when there is none or the folder can't be read; `folderExists`, when given,
  // tells the two apart.
  std::optional<std::string> Find(const std::string& folder, std::string_view name,
                                  bool* folderExists = nullptr);
  // The names in `folder`, "." and ".." included, in no particular order; null with
  // errno set when it can't be read.
  std::shared_ptr<const std::vector<std::string>> Names(const std::string& folder,
                                                        bool* folderExists = nullptr);

 private:
  struct Listing {
    dev_t device = 0;
    ino_t inode = 0;
    int64_t changedNanos = 0;  // ctime: unlike mtime, no one can set it back
    std::shared_ptr<const std::vector<std::string>> names;
  };
  static constexpr size_t kMaxFolders = 64;

  const std::optional<int64_t> m_trustAfterNanos;
  std::mutex m_mutex;
  std::unordered_map<std::string, Listing> m_listings;
};

}  // namespace korad
