// Small POSIX file pieces shared by the file system, the registry store and the key
// file: an owned descriptor, whole-file reads and writes, an exclusive lock on a sidecar
// file, and the write-to-temporary-then-rename replacement. Failures raise through
// PosixError.
#pragma once

#include <unistd.h>

#include <optional>
#include <string>
#include <string_view>

namespace korad::locked_file {

// Owns a file descriptor; closes it on destruction.
class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : m_fd(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : m_fd(other.Release()) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept;
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;
  ~UniqueFd();

  int Get() const { return m_fd; }
  bool Valid() const { return m_fd >= 0; }
  int Release() {
    int fd = m_fd;
    m_fd = -1;
    return fd;
  }
  // Closes now, so that a failing close (a delayed write error) can be reported.
  int Close() { return ::close(Release()); }

 private:
  int m_fd = -1;
};

// The whole content of `path`; nullopt if it doesn't exist. Raises on any other failure.
std::optional<std::string> ReadIfExists(const std::string& path);

// Writes all of `data` to `fd`, retrying short writes; raises on failure.
void WriteAll(int fd, std::string_view data, const std::string& path);

// Creates `path` and its missing parents (mode 0777 less the umask).
void CreateDirectories(const std::string& path);

// Holds an exclusive flock on `lockPath` (created as needed, never renamed or removed)
// until destruction. Every open takes its own lock, so it excludes threads of this
// process as well as other processes.
class ExclusiveLock {
 public:
  explicit ExclusiveLock(const std::string& lockPath);

 private:
  UniqueFd m_fd;
};

// Writes `data` to `tempPath`, flushes it to disk and renames it over `path`, so a
// reader sees either the old content or the new one, never a part. The caller holds
// the lock that makes `tempPath` its own. On failure the temporary file is removed.
void ReplaceFile(const std::string& path, const std::string& tempPath, std::string_view data);

}  // namespace korad::locked_file
