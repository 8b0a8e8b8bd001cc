#include "platform/linux/rotating_log_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace korad {
namespace {

// mkdir -p; existing folders are fine.
void MakeFolders(const std::string& path) {
  for (size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
    const std::string prefix = path.substr(0, slash);
    if (!prefix.empty()) mkdir(prefix.c_str(), 0755);
    if (slash == std::string::npos) break;
  }
}

}  // namespace

RotatingLogFile::RotatingLogFile(std::string folder, std::string stem)
    : m_folder(std::move(folder)), m_stem(std::move(stem)) {}

RotatingLogFile::~RotatingLogFile() { CloseLocked(); }

std::string RotatingLogFile::PathOf(int32_t index) const {
  std::string path = m_folder + "/" + m_stem;
  if (index > 0) path += "." + std::to_string(index);
  return path + ".log";
}

bool RotatingLogFile::Append(std::string_view record, const RotationLimits& limits) {
  std::lock_guard lock(m_mutex);
  if (m_recheck.exchange(false, std::memory_order_relaxed)) {
    m_openFailed = false;
    struct stat st {};
    if (m_fd >= 0 && (stat(PathOf(0).c_str(), &st) != 0 || st.st_ino != m_inode || st.st_dev != m_device)) {
      CloseLocked();
    }
  }
  if (!EnsureOpenLocked()) return false;
  if (limits.maxBytes > 0 && m_size > 0 && m_size + static_cast<int64_t>(record.size()) > limits.maxBytes) {
    RotateLocked(limits.maxFiles);
    if (!EnsureOpenLocked()) return false;
  }
  return WriteAllLocked(record);
}

bool RotatingLogFile::EnsureOpenLocked() {
  if (m_fd >= 0) return true;
  if (m_openFailed) return false;
  const std::string path = PathOf(0);
  constexpr int kFlags = O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC;
  int fd = open(path.c_str(), kFlags, 0644);
  if (fd < 0 && errno == ENOENT) {
    MakeFolders(m_folder);
    fd = open(path.c_str(), kFlags, 0644);
  }
  struct stat st {};
  if (fd < 0 || fstat(fd, &st) != 0) {
    if (fd >= 0) close(fd);
    m_openFailed = true;
    return false;
  }
  m_fd = fd;
  m_size = st.st_size;
  m_device = st.st_dev;
  m_inode = st.st_ino;
  return true;
}

void RotatingLogFile::CloseLocked() {
  if (m_fd >= 0) close(m_fd);
  m_fd = -1;
}

void RotatingLogFile::RotateLocked(int32_t maxFiles) {
  CloseLocked();
  // Files beyond the limit (left when the limit was lowered) go first, then each kept one
  // moves up a number; the oldest is overwritten by the rename.
  for (int32_t index = maxFiles + 1; unlink(PathOf(index).c_str()) == 0; ++index) {
  }
  if (maxFiles <= 0) {
    unlink(PathOf(0).c_str());
    return;
  }
  for (int32_t index = maxFiles - 1; index >= 0; --index) {
    std::rename(PathOf(index).c_str(), PathOf(index + 1).c_str());
  }
}

bool RotatingLogFile::WriteAllLocked(std::string_view record) {
  while (!record.empty()) {
    const ssize_t n = write(m_fd, record.data(), record.size());
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    m_size += n;
    record.remove_prefix(static_cast<size_t>(n));
  }
  return true;
}

}  // namespace korad
