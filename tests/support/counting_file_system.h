// A file system that hands every call to another one (the real one unless told) and
// counts the calls by operation, keeping the paths read and the paths changed, so a test
// can say what a pass or a tick asked of the disk.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/file_system_wrapper.h"

namespace korad::testing {

class CountingFileSystem final : public FileSystemWrapper {
 public:
  explicit CountingFileSystem(std::shared_ptr<FileSystem> target = MakeLinuxFileSystem())
      : FileSystemWrapper(std::move(target)) {}

  // Calls of an operation by its method's name: "Stat", "ReadFile", "List", ...
  int Count(const std::string& operation) const;
  int Total() const;
  // Paths given to WriteFileAtomic, AppendFile, RemoveFile, Rename (its target),
  // CreateDirectories and SetFileTimes.
  std::vector<std::string> Changed() const;
  // Paths given to ReadFile and ReadChunks.
  std::vector<std::string> Read() const;
  void Clear();

  std::optional<std::string> Resolve(std::string_view path) override;
  std::string ResolveForWrite(std::string_view path) override;
  bool Exists(std::string_view path) override;
  bool IsDirectory(std::string_view path) override;
  std::optional<FileInfo> Stat(std::string_view path) override;
  std::string ReadFile(std::string_view path) override;
  void ReadChunks(std::string_view path, const std::function<void(std::string_view)>& consumer) override;
  void WriteFileAtomic(std::string_view path, std::string_view data) override;
  void AppendFile(std::string_view path, std::string_view data) override;
  void RemoveFile(std::string_view path) override;
  void Rename(std::string_view from, std::string_view to) override;
  void CreateDirectories(std::string_view path) override;
  void SetFileTimes(std::string_view path, OleDate accessedUtc, OleDate modifiedUtc) override;
  std::vector<std::string> List(std::string_view folder, std::string_view mask) override;

 private:
  enum class Touch { None, Read, Changed };
  void Note(const char* operation, std::string_view path = {}, Touch touch = Touch::None);

  mutable std::mutex m_mutex;
  std::map<std::string, int, std::less<>> m_counts;
  std::vector<std::string> m_changed;
  std::vector<std::string> m_read;
};

}  // namespace korad::testing
