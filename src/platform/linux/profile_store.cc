#include "platform/linux/profile_store.h"

#include <cerrno>

#include "contracts/error.h"
#include "platform/linux/folder_lock.h"
#include "platform/platform.h"
#include "platform/profile.h"

namespace korad {
namespace {

std::string FolderOf(const std::string& path) {
  size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return {};
  return path.substr(0, slash == 0 ? 1 : slash);
}

std::string_view Unquoted(std::string_view value) {
  if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front()) {
    return value.substr(1, value.size() - 2);
  }
  return value;
}

// The profile functions answer failures through errno.
int ErrnoFor(const Error& error) {
  switch (error.Number()) {
    case kErrFileNotFound:
    case kErrPathNotFound: return ENOENT;
    case kErrPermissionDenied: return EACCES;
    case kErrDiskFull: return ENOSPC;
    case kErrFileAlreadyExists: return EEXIST;
    default: return EIO;
  }
}

template <class Write>
bool Answer(Write write) {
  try {
    ProfileStore store(Platform::Current().GetFileSystem());
    write(store);
    return true;
  } catch (const Error& error) {
    errno = ErrnoFor(error);
  } catch (const std::bad_alloc&) {
    errno = ENOMEM;
  } catch (...) {
    errno = EIO;
  }
  return false;
}

}  // namespace

ProfileCache::Document ProfileStore::Load(std::string_view fileName) {
  try {
    return ProfileCache::OfProcess().Read(m_fileSystem, fileName);
  } catch (const Error&) {
    return nullptr;
  }
}

std::vector<std::string> ProfileStore::SectionNames(std::string_view fileName) {
  ProfileCache::Document document = Load(fileName);
  return document ? document->SectionNames() : std::vector<std::string>{};
}

std::optional<std::vector<std::string>> ProfileStore::Section(std::string_view section,
                                                              std::string_view fileName) {
  ProfileCache::Document document = Load(fileName);
  return document ? document->SectionLines(section) : std::nullopt;
}

std::optional<std::string> ProfileStore::GetString(std::string_view section, std::string_view key,
                                                   std::string_view fileName) {
  ProfileCache::Document document = Load(fileName);
  if (!document) return std::nullopt;
  std::optional<std::string> value = document->Value(section, key);
  if (!value) return std::nullopt;
  return std::string(Unquoted(*value));
}

void ProfileStore::WriteString(std::string_view section, std::optional<std::string_view> key,
                               std::optional<std::string_view> value, std::string_view fileName) {
  Update(fileName, [&](IniDocument& document) {
    if (!key) return document.DeleteSection(section);
    if (!value) return document.DeleteKey(section, *key);
    return document.SetValue(section, *key, *value);
  });
}

void ProfileStore::WriteSection(std::string_view section, const std::vector<std::string>& lines,
                                std::string_view fileName) {
  Update(fileName, [&](IniDocument& document) { return document.ReplaceSection(section, lines); });
}

void ProfileStore::Update(std::string_view fileName,
                          const std::function<bool(IniDocument&)>& change) {
  FolderLock lock(FolderOf(m_fileSystem.ResolveForWrite(fileName)));
  // Resolved again under the lock: another writer may just have created the file.
  std::string path = m_fileSystem.ResolveForWrite(fileName);
  ProfileCache& cache = ProfileCache::OfProcess();
  IniDocument document;
  try {
    document = *cache.Read(m_fileSystem, path);
  } catch (const Error& error) {
    // A missing file starts empty; one that exists but can't be read must not be replaced.
    if (error.Number() != kErrFileNotFound) throw;
  }
  if (!change(document)) return;
  std::string text = document.Serialize();
  m_fileSystem.WriteFileAtomic(path, text);
  cache.Written(m_fileSystem, path, std::make_shared<const IniDocument>(std::move(document)), std::move(text));
}

std::vector<std::string> GetPrivateProfileSectionNames(std::string_view fileName) {
  return ProfileStore(Platform::Current().GetFileSystem()).SectionNames(fileName);
}

std::optional<std::vector<std::string>> GetPrivateProfileSection(std::string_view section,
                                                                 std::string_view fileName) {
  return ProfileStore(Platform::Current().GetFileSystem()).Section(section, fileName);
}

std::string GetPrivateProfileString(std::string_view section, std::string_view key,
                                    std::string_view defaultValue, std::string_view fileName) {
  std::optional<std::string> value =
      ProfileStore(Platform::Current().GetFileSystem()).GetString(section, key, fileName);
  return value ? std::move(*value) : std::string(defaultValue);
}

bool WritePrivateProfileString(std::string_view section, std::optional<std::string_view> key,
                               std::optional<std::string_view> value, std::string_view fileName) {
  return Answer([&](ProfileStore& store) { store.WriteString(section, key, value, fileName); });
}

bool WritePrivateProfileSection(std::string_view section, const std::vector<std::string>& lines,
                                std::string_view fileName) {
  return Answer([&](ProfileStore& store) { store.WriteSection(section, lines, fileName); });
}

}  // namespace korad
