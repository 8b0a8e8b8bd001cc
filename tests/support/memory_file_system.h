// A file system held in memory, for tests whose subject is not Linux files: folders,
// names resolved ignoring case as the Linux one resolves them (the exact name wins, else
// the first equal name in byte order), the same masks, atomic writes, appends, renames,
// and times from the platform's clock. Each change is stamped at least a millisecond
// after the one before, so that a reader watching times sees it under a clock that a
// test holds still. Failures raise the numbers the Linux one raises
// (53, 76, 75). Install it for a scope with ScopedFileSystem.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "contracts/ole_date.h"
#include "platform/file_system.h"
#include "platform/platform.h"

namespace korad::testing {

class MemoryFileSystem final : public FileSystem {
 public:
  // Only the root folder "/" exists; relative paths start from it too.
  MemoryFileSystem() = default;

  std::optional<std::string> Resolve(std::string_view path) override;
  std::string ResolveForWrite(std::string_view path) override;
  bool Exists(std::string_view path) override;
  bool IsDirectory(std::string_view path) override;
  std::optional<FileInfo> Stat(std::string_view path) override;
  // "." and ".." taken away by name (there are no links here); the path when it exists
  // as written, letter for letter.
  std::optional<std::string> CanonicalPath(std::string_view path) override;
  std::string ReadFile(std::string_view path) override;
  // Hands the bytes over in pieces of at most 64 KiB, as the Linux one reads them.
  void ReadChunks(std::string_view path, const std::function<void(std::string_view)>& consumer) override;
  void WriteFileAtomic(std::string_view path, std::string_view data) override;
  void AppendFile(std::string_view path, std::string_view data) override;
  void RemoveFile(std::string_view path) override;
  void Rename(std::string_view from, std::string_view to) override;
  void CreateDirectories(std::string_view path) override;
  void SetFileTimes(std::string_view path, OleDate accessedUtc, OleDate modifiedUtc) override;
  std::vector<std::string> List(std::string_view folder, std::string_view mask) override;

 private:
  struct Node {
    bool isDirectory = false;
    std::string content;
    OleDate modifiedUtc;  // no access time: nothing reads one back
    std::map<std::string, std::unique_ptr<Node>> children;  // byte order, as the lookup needs
  };
  // Where a path leads: as far as its names resolve, the rest as written.
  struct Place {
    std::string path;
    Node* folder = nullptr;  // the folder that holds (or would hold) the last name
    Node* node = nullptr;    // the entry itself, when it exists
    std::string name;        // the last name, as found or as written
    size_t unresolved = 0;
  };
  Place Locate(std::string_view path);
  // The entry a missing place would raise for: 53 in an existing folder, 76 otherwise.
  [[noreturn]] static void RaiseMissing(const Place& place, const char* call);
  Node& FileOrRaise(std::string_view path, const char* call);
  Node& NewFile(std::string_view path, const char* call);
  // The caller holds m_mutex.
  OleDate Now();

  std::mutex m_mutex;
  int64_t m_lastStampMillis = 0;
  Node m_root{true, {}, {}, {}};
};

// Installs a file system as the platform's for the life of a scope; the next use after
// it ends makes the real one again.
template <class T = MemoryFileSystem>
class ScopedFileSystem {
 public:
  explicit ScopedFileSystem(std::shared_ptr<T> files = std::make_shared<T>()) : m_files(std::move(files)) {
    Platform::Current().SetFileSystem(m_files);
  }
  ~ScopedFileSystem() { Platform::Current().SetFileSystem(nullptr); }
  ScopedFileSystem(const ScopedFileSystem&) = delete;
  ScopedFileSystem& operator=(const ScopedFileSystem&) = delete;
  T& operator*() const { return *m_files; }
  T* operator->() const { return m_files.get(); }

 private:
  std::shared_ptr<T> m_files;
};

}  // namespace korad::testing
