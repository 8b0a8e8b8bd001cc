// A file system that hands every call to another one. A subclass overrides only the calls
// it means to change (to count them, to fail them) and the rest reach the target as they
// were made.
#pragma once

#include <memory>
#include <utility>

#include "platform/file_system.h"

namespace korad {

class FileSystemWrapper : public FileSystem {
 public:
  explicit FileSystemWrapper(std::shared_ptr<FileSystem> target) : m_target(std::move(target)) {}

  std::optional<std::string> Resolve(std::string_view path) override { return m_target->Resolve(path); }
  std::string ResolveForWrite(std::string_view path) override { return m_target->ResolveForWrite(path); }
  bool Exists(std::string_view path) override { return m_target->Exists(path); }
  bool IsDirectory(std::string_view path) override { return m_target->IsDirectory(path); }
  std::optional<FileInfo> Stat(std::string_view path) override { return m_target->Stat(path); }
  std::optional<std::string> CanonicalPath(std::string_view path) override { return m_target->CanonicalPath(path); }
  std::string ReadFile(std::string_view path) override { return m_target->ReadFile(path); }
  void ReadChunks(std::string_view path, const std::function<void(std::string_view)>& consumer) override {
    m_target->ReadChunks(path, consumer);
  }
  void WriteFileAtomic(std::string_view path, std::string_view data) override { m_target->WriteFileAtomic(path, data); }
  void AppendFile(std::string_view path, std::string_view data) override { m_target->AppendFile(path, data); }
  void RemoveFile(std::string_view path) override { m_target->RemoveFile(path); }
  void Rename(std::string_view from, std::string_view to) override { m_target->Rename(from, to); }
  void CreateDirectories(std::string_view path) override { m_target->CreateDirectories(path); }
  void SetFileTimes(std::string_view path, OleDate accessedUtc, OleDate modifiedUtc) override {
    m_target->SetFileTimes(path, accessedUtc, modifiedUtc);
  }
  std::vector<std::string> List(std::string_view folder, std::string_view mask) override {
    return m_target->List(folder, mask);
  }

 private:
  std::shared_ptr<FileSystem> m_target;
};

}  // namespace korad
