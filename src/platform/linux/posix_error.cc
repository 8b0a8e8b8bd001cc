#include "platform/linux/posix_error.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace korad {
namespace {

// A missing file and a missing folder raise different numbers, and errno doesn't say which.
bool FolderExists(std::string_view path) {
  size_t slash = path.find_last_of('/');
  if (slash == std::string_view::npos) return true;  // relative to the working folder
  std::string folder(path.substr(0, slash == 0 ? 1 : slash));
  struct stat st;
  return ::stat(folder.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

int32_t NumberFor(int err, std::string_view path) {
  switch (err) {
    case ENOENT: return FolderExists(path) ? kErrFileNotFound : kErrPathNotFound;
    case ENOTDIR: return kErrPathNotFound;
    case EACCES:
    case EPERM: return kErrPermissionDenied;
    case ENOSPC:
    case EDQUOT:
    case EFBIG: return kErrDiskFull;
    case EEXIST: return kErrFileAlreadyExists;
    default: return kErrPathFileAccess;
  }
}

}  // namespace

Error PosixError(std::string_view call, int err, std::string_view path) {
  int32_t number = NumberFor(err, path);
  char buffer[256];
  const char* text = ::strerror_r(err, buffer, sizeof buffer);  // GNU form: may return a static text
  std::string description = RuntimeErrorText(number);
  description.append(": ").append(call).append("(").append(path).append("): ").append(text);
  return Error(number, "", std::move(description));
}

void RaisePosixError(std::string_view call, int err, std::string_view path) {
  throw PosixError(call, err, path);
}

}  // namespace korad
