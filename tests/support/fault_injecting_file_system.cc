#include "support/fault_injecting_file_system.h"

#include "contracts/error.h"

namespace korad {

void FaultInjectingFileSystem::FailNextWrites(int count, std::string pathPart) {
  std::lock_guard lock(m_mutex);
  m_write = {count, std::move(pathPart), kErrDiskFull};
}

void FaultInjectingFileSystem::FailNextRenames(int count, int32_t number) {
  std::lock_guard lock(m_mutex);
  m_rename = {count, {}, number};
}

void FaultInjectingFileSystem::FailNextReads(int count, std::string pathPart, int32_t number) {
  std::lock_guard lock(m_mutex);
  m_read = {count, std::move(pathPart), number};
}

int FaultInjectingFileSystem::FaultsRaised() const {
  std::lock_guard lock(m_mutex);
  return m_faultsRaised;
}

void FaultInjectingFileSystem::MaybeFail(Fault& fault, const char* call, std::string_view path) {
  std::lock_guard lock(m_mutex);
  if (fault.count <= 0 || path.find(fault.pathPart) == std::string_view::npos) return;
  --fault.count;
  ++m_faultsRaised;
  throw Error(fault.number, "",
              RuntimeErrorText(fault.number) + ": " + call + "(" + std::string(path) + "): injected");
}

std::string FaultInjectingFileSystem::ReadFile(std::string_view path) {
  MaybeFail(m_read, "read", path);
  return FileSystemWrapper::ReadFile(path);
}

void FaultInjectingFileSystem::ReadChunks(std::string_view path,
                                          const std::function<void(std::string_view)>& consumer) {
  MaybeFail(m_read, "read", path);
  FileSystemWrapper::ReadChunks(path, consumer);
}

void FaultInjectingFileSystem::WriteFileAtomic(std::string_view path, std::string_view data) {
  MaybeFail(m_write, "write", path);
  MaybeFail(m_rename, "rename", path);
  FileSystemWrapper::WriteFileAtomic(path, data);
}

void FaultInjectingFileSystem::AppendFile(std::string_view path, std::string_view data) {
  MaybeFail(m_write, "write", path);
  FileSystemWrapper::AppendFile(path, data);
}

void FaultInjectingFileSystem::Rename(std::string_view from, std::string_view to) {
  MaybeFail(m_rename, "rename", from);
  FileSystemWrapper::Rename(from, to);
}

}  // namespace korad
