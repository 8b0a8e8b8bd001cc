#include "platform/profile_cache.h"

#include <algorithm>

namespace korad {

ProfileCache& ProfileCache::OfProcess() {
  static ProfileCache cache;
  return cache;
}

bool ProfileCache::SameVersion(const Entry& entry, const FileInfo& info) {
  const FileStamp& a = entry.stamp;
  const FileStamp& b = info.stamp;
  return entry.size == info.size && a.device == b.device && a.inode == b.inode &&
         a.modifiedNanos == b.modifiedNanos && a.changedNanos == b.changedNanos;
}

ProfileCache::Document ProfileCache::Read(FileSystem& fileSystem, std::string_view fileName) {
  // The stamp is taken before the text is read: a change in between is then at worst
  // read twice, never missed.
  const std::optional<FileInfo> info = fileSystem.Stat(fileName);
  if (!info || info->isDirectory || !info->stamp.HasIdentity()) {
    return std::make_shared<const IniDocument>(IniDocument::Parse(fileSystem.ReadFile(fileName)));
  }
  const Key key{info->stamp.device, info->stamp.inode};
  std::shared_ptr<const Entry> entry = Find(key);
  if (entry && entry->stamp.settled && SameVersion(*entry, *info)) return entry->document;

  auto fresh = std::make_shared<Entry>();
  fresh->stamp = info->stamp;
  fresh->size = info->size;
  fresh->text = fileSystem.ReadFile(fileName);
  fresh->document = entry && entry->text == fresh->text
                        ? entry->document
                        : std::make_shared<const IniDocument>(IniDocument::Parse(fresh->text));
  Document document = fresh->document;
  Store(key, std::move(fresh));
  return document;
}

void ProfileCache::Written(FileSystem& fileSystem, std::string_view path, Document document, std::string text) {
  const std::optional<FileInfo> info = fileSystem.Stat(path);
  if (!info || !info->stamp.HasIdentity()) return;
  auto entry = std::make_shared<Entry>();
  entry->stamp = info->stamp;
  // The stat came after the rename: someone else's file may already stand there, so
  // the next reader compares the text once before it trusts this one.
  entry->stamp.settled = false;
  entry->size = info->size;
  entry->text = std::move(text);
  entry->document = std::move(document);
  Store({info->stamp.device, info->stamp.inode}, std::move(entry));
}

std::shared_ptr<const ProfileCache::Entry> ProfileCache::Find(const Key& key) {
  std::lock_guard lock(m_mutex);
  auto found = m_files.find(key);
  if (found == m_files.end()) return nullptr;
  found->second.lastUse = ++m_uses;
  return found->second.entry;
}

void ProfileCache::Store(const Key& key, std::shared_ptr<const Entry> entry) {
  std::lock_guard lock(m_mutex);
  m_files[key] = Slot{std::move(entry), ++m_uses};
  if (m_files.size() <= kMaxFiles) return;
  auto oldest = std::min_element(m_files.begin(), m_files.end(),
                                 [](const auto& a, const auto& b) { return a.second.lastUse < b.second.lastUse; });
  m_files.erase(oldest);
}

}  // namespace korad
