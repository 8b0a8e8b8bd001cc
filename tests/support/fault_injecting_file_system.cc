#include "support/fault_injecting_file_system.h"

#include "contracts/error.h"

namespace korad {

void FaultInjectingFileSystem::FailNextWrites(int count, std::string pathPart) {
  std::lock_guard lock(m_mutex);
  m_writeFaults = count;
  m_writePathPart = std::move(pathPart);
}

void FaultInjectingFileSystem::FailNextRenames(int count, int32_t number) {
  std::lock_guard lock(m_mutex);
  m_renameFaults = count;
  m_renameNumber = number;
}

int FaultInjectingFileSystem::FaultsRaised() const {
  std::lock_guard lock(m_mutex);
  return m_faultsRaised;
}

void FaultInjectingFileSystem::MaybeFailWrite(std::string_view path) {
  std::lock_guard lock(m_mutex);
  if (m_writeFaults <= 0 || path.find(m_writePathPart) == std::string_view::npos) return;
  --m_writeFaults;
  ++m_faultsRaised;
  throw Error(kErrDiskFull, "", RuntimeErrorText(kErrDiskFull) + ": write(" + std::string(path) +
                                    "): No space left on device (injected)");
}

void FaultInjectingFileSystem::MaybeFailRename(std::string_view path) {
  std::lock_guard lock(m_mutex);
  if (m_renameFaults <= 0) return;
  --m_renameFaults;
  ++m_faultsRaised;
  throw Error(m_renameNumber, "", RuntimeErrorText(m_renameNumber) + ": rename(" + std::string(path) +
                                      "): injected");
}

void FaultInjectingFileSystem::WriteFileAtomic(std::string_view path, std::string_view data) {
  MaybeFailWrite(path);
  MaybeFailRename(path);
  m_inner->WriteFileAtomic(path, data);
}

void FaultInjectingFileSystem::AppendFile(std::string_view path, std::string_view data) {
  MaybeFailWrite(path);
  m_inner->AppendFile(path, data);
}

void FaultInjectingFileSystem::Rename(std::string_view from, std::string_view to) {
  MaybeFailRename(from);
  m_inner->Rename(from, to);
}

}  // namespace korad
