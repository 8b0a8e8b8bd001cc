#include "platform/linux/folder_name_cache.h"

#include <dirent.h>
#include <sys/stat.h>
#include <time.h>

#include "contracts/text.h"

namespace korad {
namespace {

int64_t Nanos(const struct timespec& t) { return static_cast<int64_t>(t.tv_sec) * 1000000000 + t.tv_nsec; }

std::optional<std::string> Match(const std::vector<std::string>& names, std::string_view name) {
  const std::string* best = nullptr;
  for (const std::string& candidate : names) {
    if (candidate == name) return candidate;
    if (EqualsNoCase(candidate, name) && (best == nullptr || candidate < *best)) best = &candidate;
  }
  return best ? std::optional<std::string>(*best) : std::nullopt;
}

bool ReadNames(const char* folder, std::vector<std::string>& names) {
  DIR* dir = ::opendir(folder);
  if (dir == nullptr) return false;
  while (const struct dirent* entry = ::readdir(dir)) names.emplace_back(entry->d_name);
  ::closedir(dir);
  return true;
}

}  // namespace

std::optional<std::string> FolderNameCache::Find(const std::string& folder, std::string_view name,
                                                 bool* folderExists) {
  const char* where = folder.empty() ? "." : folder.c_str();
  struct stat st;
  bool exists = ::stat(where, &st) == 0 && S_ISDIR(st.st_mode);
  if (folderExists) *folderExists = exists;
  if (!exists) return std::nullopt;
  const int64_t changed = Nanos(st.st_ctim);
  {
    std::lock_guard lock(m_mutex);
    auto it = m_listings.find(folder);
    if (it != m_listings.end() && it->second.device == st.st_dev && it->second.inode == st.st_ino &&
        it->second.changedNanos == changed) {
      return Match(it->second.names, name);
    }
  }

  struct timespec now;
  ::clock_gettime(CLOCK_REALTIME, &now);
  std::vector<std::string> names;
  if (!ReadNames(where, names)) return std::nullopt;
  std::optional<std::string> found = Match(names, name);
  if (Nanos(now) - changed >= m_trustAfterNanos) {
    std::lock_guard lock(m_mutex);
    if (m_listings.size() >= kMaxFolders) m_listings.clear();
    m_listings[folder] = Listing{st.st_dev, st.st_ino, changed, std::move(names)};
  }
  return found;
}

}  // namespace korad
