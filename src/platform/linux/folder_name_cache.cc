#include "platform/linux/folder_name_cache.h"

#include <dirent.h>
#include <sys/stat.h>

#include <cerrno>

#include "contracts/text.h"
#include "platform/linux/change_time.h"

namespace korad {
namespace {

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
  std::shared_ptr<const std::vector<std::string>> names = Names(folder, folderExists);
  if (!names) return std::nullopt;
  return Match(*names, name);
}

std::shared_ptr<const std::vector<std::string>> FolderNameCache::Names(const std::string& folder,
                                                                       bool* folderExists) {
  const char* where = folder.empty() ? "." : folder.c_str();
  const int64_t now = RealTimeNanos();
  struct stat st;
  bool exists = ::stat(where, &st) == 0;
  if (exists && !S_ISDIR(st.st_mode)) {
    exists = false;
    errno = ENOTDIR;
  }
  if (folderExists) *folderExists = exists;
  if (!exists) return nullptr;
  const int64_t changed = Nanos(st.st_ctim);
  {
    std::lock_guard lock(m_mutex);
    auto it = m_listings.find(folder);
    if (it != m_listings.end() && it->second.device == st.st_dev && it->second.inode == st.st_ino &&
        it->second.changedNanos == changed) {
      return it->second.names;
    }
  }

  auto names = std::make_shared<std::vector<std::string>>();
  if (!ReadNames(where, *names)) return nullptr;
  const bool trusted = m_trustAfterNanos ? now - changed >= *m_trustAfterNanos : ChangeTimeSettled(st, now);
  if (trusted) {
    std::lock_guard lock(m_mutex);
    if (m_listings.size() >= kMaxFolders) m_listings.clear();
    m_listings[folder] = Listing{st.st_dev, st.st_ino, changed, names};
  }
  return names;
}

}  // namespace korad
