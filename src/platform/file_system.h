// The file system. Paths may use "\" or "/" as separator; names of existing files and
// folders are resolved case-insensitively, since the agent's callers mix ".INI" and ".ini".
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "contracts/ole_date.h"

namespace korad {

// What tells one version of a file from another without reading it. Two stamps of one
// path with the same identity, size and times mean the same content only when the
// earlier one was `settled`: a change within the same tick of the file system's clock
// may leave size and times as they were. A file system that can't tell leaves the
// identity zero and `settled` false.
struct FileStamp {
  uint64_t device = 0;
  uint64_t inode = 0;
  int64_t modifiedNanos = 0;
  int64_t changedNanos = 0;  // the status change time: unlike mtime, no one can set it back
  bool settled = false;

  bool HasIdentity() const { return device != 0 || inode != 0; }
};

struct FileInfo {
  bool isDirectory = false;
  int64_t size = 0;
  OleDate modifiedUtc;  // last write time, UTC
  FileStamp stamp;
};

class FileSystem {
 public:
  virtual ~FileSystem() = default;

  // The native form of a path: every "\" becomes "/". Nothing else changes.
  static std::string NativePath(std::string_view path);

  // The existing path whose components match `path` case-insensitively (an exact match
  // wins over a case-insensitive one); nullopt if there is none. A path whose last
  // component doesn't exist resolves its folder and keeps the last name as written, so
  // that a file about to be created lands beside its mixed-case siblings.
  virtual std::optional<std::string> Resolve(std::string_view path) = 0;
  // Like Resolve, but never fails: the path as far as it resolves, the rest as written.
  virtual std::string ResolveForWrite(std::string_view path) = 0;

  // Errors read as "no": a missing file, a missing folder, a denied lookup.
  virtual bool Exists(std::string_view path) = 0;
  virtual bool IsDirectory(std::string_view path) = 0;
  virtual std::optional<FileInfo> Stat(std::string_view path) = 0;
  // The absolute path of an existing file or folder with ".", ".." and symbolic links
  // resolved and every name matched exactly, no case folded: the path a check of where a
  // program lives must look at. nullopt when there is nothing there.
  virtual std::optional<std::string> CanonicalPath(std::string_view path) = 0;

  // Whole-file read; raises 53 (file not found), 76 (path not found), 70 (denied).
  virtual std::string ReadFile(std::string_view path) = 0;
  // The file's bytes in order, handed to `consumer` piece by piece as they are read, so a
  // large file is never held whole. Raises as ReadFile does, before the first piece when
  // the file can't be opened.
  virtual void ReadChunks(std::string_view path, const std::function<void(std::string_view)>& consumer) = 0;
  // Writes to a temporary file in the same folder, flushes it and renames it over
  // `path`: a crash or a full disk leaves the old content whole. Raises on failure
  // (61 disk full, 70 denied, 76 path not found) and leaves no temporary file behind.
  virtual void WriteFileAtomic(std::string_view path, std::string_view data) = 0;
  // Appends to the file, creating it; for logs.
  virtual void AppendFile(std::string_view path, std::string_view data) = 0;

  virtual void RemoveFile(std::string_view path) = 0;                 // raises 53 if absent
  virtual void Rename(std::string_view from, std::string_view to) = 0;  // replaces `to`
  virtual void CreateDirectories(std::string_view path) = 0;
  // Sets the last access and last write times; raises 53 for a missing file. A file has
  // no creation time to set here.
  virtual void SetFileTimes(std::string_view path, OleDate accessedUtc, OleDate modifiedUtc) = 0;

  // Names (not paths) of the entries of `folder` matching `mask` case-insensitively,
  // "*" and "?" as wildcards ("*.SER", "MvI*.*"), sorted by name. A missing folder
  // yields nothing. Hidden names (a dot first) are left out: they are the temporaries
  // of atomic writes still under way, which no reader may take for the file.
  virtual std::vector<std::string> List(std::string_view folder, std::string_view mask) = 0;
};

// The real file system.
std::shared_ptr<FileSystem> MakeLinuxFileSystem();

// True if `name` matches the mask, case-insensitively; "*.*" matches names without a dot too.
bool MatchesMask(std::string_view name, std::string_view mask);

}  // namespace korad
