#include "platform/linux/locked_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/linux/posix_error.h"

namespace korad::locked_file {

UniqueFd& UniqueFd::operator=(UniqueFd&& other) noexcept {
  if (this != &other) {
    if (m_fd >= 0) ::close(m_fd);
    m_fd = other.Release();
  }
  return *this;
}

UniqueFd::~UniqueFd() {
  if (m_fd >= 0) ::close(m_fd);
}

std::optional<std::string> ReadIfExists(const std::string& path) {
  UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!fd.Valid()) {
    if (errno == ENOENT) return std::nullopt;
    RaisePosixError("open", errno, path);
  }
  struct stat st {};
  if (::fstat(fd.Get(), &st) != 0) RaisePosixError("fstat", errno, path);
  std::string content;
  content.reserve(static_cast<size_t>(st.st_size));
  char buffer[16384];
  for (;;) {
    ssize_t n = ::read(fd.Get(), buffer, sizeof buffer);
    if (n < 0) {
      if (errno == EINTR) continue;
      RaisePosixError("read", errno, path);
    }
    if (n == 0) break;
    content.append(buffer, static_cast<size_t>(n));
  }
  return content;
}

void WriteAll(int fd, std::string_view data, const std::string& path) {
  while (!data.empty()) {
    ssize_t n = ::write(fd, data.data(), data.size());
    if (n < 0) {
      if (errno == EINTR) continue;
      RaisePosixError("write", errno, path);
    }
    data.remove_prefix(static_cast<size_t>(n));
  }
}

void CreateDirectories(const std::string& path) {
  if (path.empty()) return;
  size_t pos = 0;
  do {
    pos = path.find('/', pos + 1);
    const std::string prefix = path.substr(0, pos);
    if (::mkdir(prefix.c_str(), 0777) != 0 && errno != EEXIST) RaisePosixError("mkdir", errno, prefix);
  } while (pos != std::string::npos);
}

ExclusiveLock::ExclusiveLock(const std::string& lockPath)
    : m_fd(::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666)) {
  if (!m_fd.Valid()) RaisePosixError("open", errno, lockPath);
  while (::flock(m_fd.Get(), LOCK_EX) != 0) {
    if (errno != EINTR) RaisePosixError("flock", errno, lockPath);
  }
}

void ReplaceFile(const std::string& path, const std::string& tempPath, std::string_view data) {
  UniqueFd fd(::open(tempPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
  if (!fd.Valid()) RaisePosixError("open", errno, tempPath);
  try {
    WriteAll(fd.Get(), data, tempPath);
    if (::fsync(fd.Get()) != 0) RaisePosixError("fsync", errno, tempPath);
    if (::close(fd.Release()) != 0) RaisePosixError("close", errno, tempPath);
    if (::rename(tempPath.c_str(), path.c_str()) != 0) RaisePosixError("rename", errno, path);
  } catch (...) {
    ::unlink(tempPath.c_str());
    throw;
  }
}

}  // namespace korad::locked_file
