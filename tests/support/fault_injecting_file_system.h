// A file system that passes every call to another one, except those it was told to fail.
// Failed calls change nothing on the wrapped file system, which is what the real one
// promises for a failed atomic write, so a test can prove that a full disk or a refused
// rename during a save leaves the previous file whole, and that a failed read reaches
// the caller.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "platform/file_system_wrapper.h"

namespace korad {

class FaultInjectingFileSystem final : public FileSystemWrapper {
 public:
  explicit FaultInjectingFileSystem(std::shared_ptr<FileSystem> inner) : FileSystemWrapper(std::move(inner)) {}

  // The next `count` calls of WriteFileAtomic and AppendFile whose path contains
  // `pathPart` (any path when empty) raise 61 "Disk full" and write nothing.
  void FailNextWrites(int count, std::string pathPart = {});
  // The next `count` renames, including the final step of WriteFileAtomic, raise
  // `number` and leave both names as they were.
  void FailNextRenames(int count, int32_t number = 70);
  // The next `count` calls of ReadFile and ReadChunks whose path contains `pathPart`
  // raise `number` (75, as an I/O error does, unless told otherwise) and read nothing.
  void FailNextReads(int count, std::string pathPart = {}, int32_t number = 75);
  // Faults raised so far.
  int FaultsRaised() const;

  std::string ReadFile(std::string_view path) override;
  void ReadChunks(std::string_view path, const std::function<void(std::string_view)>& consumer) override;
  void WriteFileAtomic(std::string_view path, std::string_view data) override;
  void AppendFile(std::string_view path, std::string_view data) override;
  void Rename(std::string_view from, std::string_view to) override;

 private:
  struct Fault {
    int count = 0;
    std::string pathPart;
    int32_t number = 0;
  };
  void MaybeFail(Fault& fault, const char* call, std::string_view path);

  mutable std::mutex m_mutex;
  Fault m_write{0, {}, 61};
  Fault m_rename{0, {}, 70};
  Fault m_read{0, {}, 75};
  int m_faultsRaised = 0;
};

}  // namespace korad
