#include "support/memory_file_system.h"

#include <algorithm>
#include <vector>

#include "contracts/error.h"
#include "contracts/text.h"
#include "platform/clock.h"

namespace korad::testing {
namespace {

constexpr size_t kPiece = 64 * 1024;

[[noreturn]] void Raise(int32_t number, const char* call, std::string_view path) {
  throw Error(number, "", RuntimeErrorText(number) + ": " + call + "(" + std::string(path) + ")");
}

std::string Join(std::string path, std::string_view name) {
  if (!path.empty() && path.back() != '/') path.push_back('/');
  return path.append(name);
}

bool NameOrder(const std::string& a, const std::string& b) {
  const std::string la = LowerAscii(a), lb = LowerAscii(b);
  return la != lb ? la < lb : a < b;
}

}  // namespace

OleDate MemoryFileSystem::Now() {
  const int64_t now = Platform::Current().GetClock().UtcNow().ToUnixMillis();
  m_lastStampMillis = std::max(now, m_lastStampMillis + 1);
  return OleDate::FromUnixMillis(m_lastStampMillis);
}

MemoryFileSystem::Place MemoryFileSystem::Locate(std::string_view path) {
  const std::string native = NativePath(path);
  const std::vector<std::string_view> parts = SplitNonEmpty(native, '/');
  Place place;
  place.path = !native.empty() && native[0] == '/' ? "/" : "";
  Node* current = &m_root;
  size_t next = 0;
  for (; next < parts.size() && current->isDirectory; ++next) {
    auto found = current->children.find(std::string(parts[next]));
    if (found == current->children.end()) {
      found = std::find_if(current->children.begin(), current->children.end(), [&](const auto& child) {
        return child.first.size() == parts[next].size() && LowerAscii(child.first) == LowerAscii(parts[next]);
      });
    }
    if (found == current->children.end()) break;
    place.folder = current;
    place.name = found->first;
    place.path = Join(place.path, found->first);
    current = found->second.get();
  }
  place.unresolved = parts.size() - next;
  if (place.unresolved == 0) {
    place.node = current;
  } else {
    place.folder = place.unresolved == 1 && current->isDirectory ? current : nullptr;
    place.name = std::string(parts.back());
    for (; next < parts.size(); ++next) place.path = Join(place.path, parts[next]);
  }
  if (native.size() > 1 && native.back() == '/' && place.path.back() != '/') place.path.push_back('/');
  return place;
}

void MemoryFileSystem::RaiseMissing(const Place& place, const char* call) {
  Raise(place.folder ? kErrFileNotFound : kErrPathNotFound, call, place.path);
}

MemoryFileSystem::Node& MemoryFileSystem::FileOrRaise(std::string_view path, const char* call) {
  const Place place = Locate(path);
  if (!place.node) RaiseMissing(place, call);
  if (place.node->isDirectory) Raise(kErrPathFileAccess, call, place.path);
  return *place.node;
}

MemoryFileSystem::Node& MemoryFileSystem::NewFile(std::string_view path, const char* call) {
  const Place place = Locate(path);
  if (!place.folder) Raise(kErrPathNotFound, call, place.path);
  if (place.node && place.node->isDirectory) Raise(kErrPathFileAccess, call, place.path);
  auto& slot = place.folder->children[place.name];
  if (!slot) slot = std::make_unique<Node>();
  return *slot;
}

std::optional<std::string> MemoryFileSystem::Resolve(std::string_view path) {
  std::lock_guard lock(m_mutex);
  Place place = Locate(path);
  if (place.unresolved > 1) return std::nullopt;
  return std::move(place.path);
}

std::string MemoryFileSystem::ResolveForWrite(std::string_view path) {
  std::lock_guard lock(m_mutex);
  return Locate(path).path;
}

bool MemoryFileSystem::Exists(std::string_view path) { return Stat(path).has_value(); }

bool MemoryFileSystem::IsDirectory(std::string_view path) {
  const std::optional<FileInfo> info = Stat(path);
  return info && info->isDirectory;
}

std::optional<FileInfo> MemoryFileSystem::Stat(std::string_view path) {
  std::lock_guard lock(m_mutex);
  const Place place = Locate(path);
  if (!place.node) return std::nullopt;
  return FileInfo{place.node->isDirectory, static_cast<int64_t>(place.node->content.size()), place.node->modifiedUtc};
}

std::optional<std::string> MemoryFileSystem::CanonicalPath(std::string_view path) {
  std::vector<std::string_view> kept;
  const std::string native = NativePath(path);
  for (std::string_view part : SplitNonEmpty(native, '/')) {
    if (part == ".") continue;
    if (part == "..") {
      if (!kept.empty()) kept.pop_back();
      continue;
    }
    kept.push_back(part);
  }
  std::string canonical;
  for (std::string_view part : kept) canonical.append("/").append(part);
  if (canonical.empty()) canonical = "/";
  std::lock_guard lock(m_mutex);
  const Place place = Locate(canonical);
  if (!place.node || place.path != canonical) return std::nullopt;
  return canonical;
}

std::string MemoryFileSystem::ReadFile(std::string_view path) {
  std::lock_guard lock(m_mutex);
  return FileOrRaise(path, "open").content;
}

void MemoryFileSystem::ReadChunks(std::string_view path, const std::function<void(std::string_view)>& consumer) {
  // A copy, so that the consumer may call back in.
  const std::string content = ReadFile(path);
  for (size_t at = 0; at < content.size(); at += kPiece) {
    consumer(std::string_view(content).substr(at, kPiece));
  }
}

void MemoryFileSystem::WriteFileAtomic(std::string_view path, std::string_view data) {
  std::lock_guard lock(m_mutex);
  Node& file = NewFile(path, "rename");
  file.content.assign(data);
  file.modifiedUtc = Now();
}

void MemoryFileSystem::AppendFile(std::string_view path, std::string_view data) {
  std::lock_guard lock(m_mutex);
  Node& file = NewFile(path, "open");
  file.content.append(data);
  file.modifiedUtc = Now();
}

void MemoryFileSystem::RemoveFile(std::string_view path) {
  std::lock_guard lock(m_mutex);
  const Place place = Locate(path);
  FileOrRaise(path, "unlink");
  place.folder->children.erase(place.name);
}

void MemoryFileSystem::Rename(std::string_view from, std::string_view to) {
  std::lock_guard lock(m_mutex);
  const Place source = Locate(from);
  if (!source.node) RaiseMissing(source, "rename");
  const Place target = Locate(to);
  if (!target.folder) Raise(kErrPathNotFound, "rename", target.path);
  if (!source.folder) Raise(kErrPathFileAccess, "rename", source.path);  // the root stays
  if (target.node == source.node) return;
  if (target.node && target.node->isDirectory != source.node->isDirectory) {
    Raise(kErrPathFileAccess, "rename", target.path);
  }
  std::unique_ptr<Node> moved = std::move(source.folder->children[source.name]);
  source.folder->children.erase(source.name);
  target.folder->children[target.name] = std::move(moved);
}

void MemoryFileSystem::CreateDirectories(std::string_view path) {
  std::lock_guard lock(m_mutex);
  Place place = Locate(path);
  if (place.node && place.node->isDirectory) return;
  // Down from the deepest folder that exists, making each missing one.
  const std::string native = NativePath(place.path);
  Node* current = &m_root;
  for (std::string_view part : SplitNonEmpty(native, '/')) {
    auto& slot = current->children[std::string(part)];
    if (!slot) slot = std::make_unique<Node>(Node{true, {}, Now(), {}});
    if (!slot->isDirectory) Raise(kErrPathNotFound, "mkdir", native);
    current = slot.get();
  }
}

void MemoryFileSystem::SetFileTimes(std::string_view path, OleDate accessedUtc, OleDate modifiedUtc) {
  std::lock_guard lock(m_mutex);
  const Place place = Locate(path);
  if (!place.node) RaiseMissing(place, "utimensat");
  place.node->modifiedUtc = modifiedUtc;
}

std::vector<std::string> MemoryFileSystem::List(std::string_view folder, std::string_view mask) {
  std::lock_guard lock(m_mutex);
  std::vector<std::string> names;
  const Place place = Locate(folder);
  if (!place.node || !place.node->isDirectory) return names;
  for (const auto& [name, node] : place.node->children) {
    if (!name.starts_with('.') && MatchesMask(name, mask)) names.push_back(name);
  }
  std::sort(names.begin(), names.end(), NameOrder);
  return names;
}

}  // namespace korad::testing
