#include "support/counting_file_system.h"

namespace korad::testing {

int CountingFileSystem::Count(const std::string& operation) const {
  std::lock_guard lock(m_mutex);
  const auto it = m_counts.find(operation);
  return it == m_counts.end() ? 0 : it->second;
}

int CountingFileSystem::Total() const {
  std::lock_guard lock(m_mutex);
  int total = 0;
  for (const auto& [operation, n] : m_counts) total += n;
  return total;
}

std::vector<std::string> CountingFileSystem::Changed() const {
  std::lock_guard lock(m_mutex);
  return m_changed;
}

std::vector<std::string> CountingFileSystem::Read() const {
  std::lock_guard lock(m_mutex);
  return m_read;
}

void CountingFileSystem::Clear() {
  std::lock_guard lock(m_mutex);
  m_counts.clear();
  m_changed.clear();
  m_read.clear();
}

void CountingFileSystem::Note(const char* operation, std::string_view path, Touch touch) {
  std::lock_guard lock(m_mutex);
  ++m_counts[operation];
  if (touch == Touch::Read) m_read.emplace_back(path);
  if (touch == Touch::Changed) m_changed.emplace_back(path);
}

std::optional<std::string> CountingFileSystem::Resolve(std::string_view path) {
  Note("Resolve");
  return FileSystemWrapper::Resolve(path);
}

std::string CountingFileSystem::ResolveForWrite(std::string_view path) {
  Note("ResolveForWrite");
  return FileSystemWrapper::ResolveForWrite(path);
}

bool CountingFileSystem::Exists(std::string_view path) {
  Note("Exists");
  return FileSystemWrapper::Exists(path);
}

bool CountingFileSystem::IsDirectory(std::string_view path) {
  Note("IsDirectory");
  return FileSystemWrapper::IsDirectory(path);
}

std::optional<FileInfo> CountingFileSystem::Stat(std::string_view path) {
  Note("Stat");
  return FileSystemWrapper::Stat(path);
}

std::string CountingFileSystem::ReadFile(std::string_view path) {
  Note("ReadFile", path, Touch::Read);
  return FileSystemWrapper::ReadFile(path);
}

void CountingFileSystem::ReadChunks(std::string_view path, const std::function<void(std::string_view)>& consumer) {
  Note("ReadChunks", path, Touch::Read);
  FileSystemWrapper::ReadChunks(path, consumer);
}

void CountingFileSystem::WriteFileAtomic(std::string_view path, std::string_view data) {
  Note("WriteFileAtomic", path, Touch::Changed);
  FileSystemWrapper::WriteFileAtomic(path, data);
}

void CountingFileSystem::AppendFile(std::string_view path, std::string_view data) {
  Note("AppendFile", path, Touch::Changed);
  FileSystemWrapper::AppendFile(path, data);
}

void CountingFileSystem::RemoveFile(std::string_view path) {
  Note("RemoveFile", path, Touch::Changed);
  FileSystemWrapper::RemoveFile(path);
}

void CountingFileSystem::Rename(std::string_view from, std::string_view to) {
  Note("Rename", to, Touch::Changed);
  FileSystemWrapper::Rename(from, to);
}

void CountingFileSystem::CreateDirectories(std::string_view path) {
  Note("CreateDirectories", path, Touch::Changed);
  FileSystemWrapper::CreateDirectories(path);
}

void CountingFileSystem::SetFileTimes(std::string_view path, OleDate accessedUtc, OleDate modifiedUtc) {
  Note("SetFileTimes", path, Touch::Changed);
  FileSystemWrapper::SetFileTimes(path, accessedUtc, modifiedUtc);
}

std::vector<std::string> CountingFileSystem::List(std::string_view folder, std::string_view mask) {
  Note("List");
  return FileSystemWrapper::List(folder, mask);
}

}  // namespace korad::testing
