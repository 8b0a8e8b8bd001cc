// A file system that passes every call to another one, except those it was told to fail.
// Failed calls change nothing on the wrapped file system, which is what the real one
// promises for a failed atomic write, so a test can prove that a full disk or a refused
// rename during a save leaves the previous file whole.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "platform/file_system.h"

namespace korad {

class FaultInjectingFileSystem final : public FileSystem {
 public:
  explicit FaultInjectingFileSystem(std::shared_ptr<FileSystem> inner) : m_inner(std::move(inner)) {}

  // The next `count` calls of WriteFileAtomic and AppendFile whose path contains
  // `pathPart` (any path when empty) raise 61 "Disk full" and write nothing.
  void FailNextWrites(int count, std::string pathPart = {});
  // The next `count` renames, including the final step of WriteFileAtomic, raise
  // `number` and leave both names as they were.
  void FailNextRenames(int count, int32_t number = 70);
  // Faults raised so far.
  int FaultsRaised() const;

  std::optional<std::string> Resolve(std::string_view path) override { return m_inner->Resolve(path); }
  std::string ResolveForWrite(std::string_view path) override { return m_inner->ResolveForWrite(path); }
  bool Exists(std::string_view path) override { return m_inner->Exists(path); }
  bool IsDirectory(std::string_view path) override { return m_inner->IsDirectory(path); }
  std::optional<FileInfo> Stat(std::string_view path) override { return m_inner->Stat(path); }
  std::string ReadFile(std::string_view path) override { return m_inner->ReadFile(path); }
  void WriteFileAtomic(std::string_view path, std::string_view data) override;
  void AppendFile(std::string_view path, std::string_view data) override;
  void RemoveFile(std::string_view path) override { m_inner->RemoveFile(path); }
  void Rename(std::string_view from, std::string_view to) override;
  void CreateDirectories(std::string_view path) override { m_inner->CreateDirectories(path); }
  void SetModifiedTime(std::string_view path, OleDate utc) override { m_inner->SetModifiedTime(path, utc); }
  std::vector<std::string> List(std::string_view folder, std::string_view mask) override {
    return m_inner->List(folder, mask);
  }

 private:
  void MaybeFailWrite(std::string_view path);
  void MaybeFailRename(std::string_view path);

  std::shared_ptr<FileSystem> m_inner;
  mutable std::mutex m_mutex;
  int m_writeFaults = 0;
  std::string m_writePathPart;
  int m_renameFaults = 0;
  int32_t m_renameNumber = 70;
  int m_faultsRaised = 0;
};

}  // namespace korad
