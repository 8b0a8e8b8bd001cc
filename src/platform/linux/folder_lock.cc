#include "platform/linux/folder_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

#include "platform/linux/posix_error.h"

namespace korad {

FolderLock::FolderLock(const std::string& folder) {
  const std::string& where = folder.empty() ? std::string(".") : folder;
  do {
    m_fd = ::open(where.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  } while (m_fd < 0 && errno == EINTR);
  if (m_fd < 0) {
    if (errno == ENOENT || errno == ENOTDIR) return;
    RaisePosixError("open", errno, where);
  }
  while (::flock(m_fd, LOCK_EX) != 0) {
    if (errno == EINTR) continue;
    int err = errno;
    ::close(m_fd);
    m_fd = -1;
    RaisePosixError("flock", err, where);
  }
}

FolderLock::~FolderLock() {
  if (m_fd >= 0) ::close(m_fd);  // closing the last descriptor releases the lock
}

}  // namespace korad
